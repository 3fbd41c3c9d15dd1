#include "stand_in/faults.h"
#include "stand_in/handles.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string_view>

namespace {

struct ErrorText {
    DWORD error;
    std::string_view text;
};

// Of the errors with which the creation of a process fails.
constexpr ErrorText texts[] = {
    {ERROR_FILE_NOT_FOUND, "The system cannot find the file specified.\r\n"},
    {ERROR_ACCESS_DENIED, "Access is denied.\r\n"},
    {ERROR_GEN_FAILURE, "A device attached to the system is not functioning.\r\n"},
    {ERROR_BAD_EXE_FORMAT, "%1 is not a valid Win32 application.\r\n"},
};

} // namespace

DWORD FormatMessageW(DWORD flags, LPCVOID, DWORD message, DWORD, LPWSTR buffer, DWORD, void *) {
    if (stand_in::fails("FormatMessageW",
                        flags != (FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                                  FORMAT_MESSAGE_FROM_SYSTEM)))
        return 0;
    const auto *found =
        std::find_if(std::begin(texts), std::end(texts),
                     [message](const ErrorText &text) { return text.error == message; });
    if (found == std::end(texts))
        return static_cast<DWORD>(stand_in::resultOf(ERROR_MR_MID_NOT_FOUND));
    auto *text = static_cast<LPWSTR>(std::calloc(found->text.size() + 1, sizeof(WCHAR)));
    std::copy(found->text.begin(), found->text.end(), text);
    // With an allocated buffer, the parameter is the place of the pointer to it.
    *reinterpret_cast<LPWSTR *>(buffer) = text;
    return static_cast<DWORD>(found->text.size());
}

HLOCAL LocalFree(HLOCAL memory) {
    if (stand_in::fails("LocalFree"))
        return memory;
    std::free(memory);
    return nullptr;
}
