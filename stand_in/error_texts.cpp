#include "stand_in/faults.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string_view>

namespace {

struct ErrorText {
    DWORD error;
    std::u16string_view text;
};

constexpr ErrorText texts[] = {
    {ERROR_SUCCESS, u"The operation completed successfully."},
    {ERROR_FILE_NOT_FOUND, u"The system cannot find the file specified."},
    {ERROR_PATH_NOT_FOUND, u"The system cannot find the path specified."},
    {ERROR_ACCESS_DENIED, u"Access is denied."},
    {ERROR_INVALID_HANDLE, u"The handle is invalid."},
    {ERROR_NOT_ENOUGH_MEMORY,
     u"Not enough memory resources are available to process this command."},
    {ERROR_NO_MORE_FILES, u"There are no more files."},
    {ERROR_GEN_FAILURE, u"A device attached to the system is not functioning."},
    {ERROR_SHARING_VIOLATION, u"The process cannot access the file because it is being used by "
                              u"another process."},
    {ERROR_NOT_SUPPORTED, u"The request is not supported."},
    {ERROR_INVALID_PARAMETER, u"The parameter is incorrect."},
    {ERROR_BROKEN_PIPE, u"The pipe has been ended."},
    {ERROR_DISK_FULL, u"There is not enough space on the disk."},
    {ERROR_INSUFFICIENT_BUFFER, u"The data area passed to a system call is too small."},
    {ERROR_INVALID_NAME, u"The filename, directory name, or volume label syntax is incorrect."},
    {ERROR_BAD_EXE_FORMAT, u"%1 is not a valid Win32 application."},
    {ERROR_FILENAME_EXCED_RANGE, u"The filename or extension is too long."},
    {ERROR_PIPE_BUSY, u"All pipe instances are busy."},
    {ERROR_NO_DATA, u"The pipe is being closed."},
    {ERROR_PIPE_NOT_CONNECTED, u"No process is on the other end of the pipe."},
    {ERROR_MR_MID_NOT_FOUND, u"The system cannot find message text for message number 0x%1 in the "
                             u"message file for %2."},
    {ERROR_PIPE_CONNECTED, u"There is a process on other end of the pipe."},
    {ERROR_NO_TOKEN, u"An attempt was made to reference a token that does not exist."},
    {ERROR_FAILED_SERVICE_CONTROLLER_CONNECT,
     u"The service process could not connect to the service controller."},
    {ERROR_NO_SUCH_LOGON_SESSION,
     u"A specified logon session does not exist. It may already have been terminated."},
    {ERROR_PRIVILEGE_NOT_HELD, u"A required privilege is not held by the client."},
    {ERROR_INVALID_THREAD_ID, u"Invalid thread identifier."},
};

constexpr std::u16string_view lineEnd = u"\r\n";

} // namespace

DWORD FormatMessageW(DWORD flags, LPCVOID source, DWORD message, DWORD, LPWSTR buffer, DWORD,
                     void *arguments) {
    if (stand_in::fails("FormatMessageW"))
        return 0;
    const auto *found =
        std::find_if(std::begin(texts), std::end(texts),
                     [message](const ErrorText &text) { return text.error == message; });
    DWORD error = ERROR_SUCCESS;
    if (flags != (FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS |
                  FORMAT_MESSAGE_FROM_SYSTEM) ||
        source || arguments)
        error = ERROR_NOT_SUPPORTED;
    else if (found == std::end(texts))
        error = ERROR_MR_MID_NOT_FOUND;
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return 0;
    }
    const std::size_t length = found->text.size() + lineEnd.size();
    auto *text = static_cast<LPWSTR>(std::calloc(length + 1, sizeof(WCHAR)));
    std::copy(lineEnd.begin(), lineEnd.end(),
              std::copy(found->text.begin(), found->text.end(), text));
    // With an allocated buffer, the parameter is the place of the pointer to it.
    *reinterpret_cast<LPWSTR *>(buffer) = text;
    return static_cast<DWORD>(length);
}

HLOCAL LocalFree(HLOCAL memory) {
    if (stand_in::fails("LocalFree"))
        return memory;
    std::free(memory);
    return nullptr;
}
