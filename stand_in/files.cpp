#include "stand_in/descriptor.h"
#include "stand_in/faults.h"
#include "stand_in/handles.h"
#include "stand_in/named_pipes.h"
#include "stand_in/paths.h"

#include <dirent.h>
#include <sys/auxv.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>

namespace {

struct File final : stand_in::Object {
    explicit File(stand_in::Descriptor opened) : descriptor(std::move(opened)) {}
    const stand_in::Descriptor descriptor;
};

struct CloseDirectory {
    void operator()(DIR *directory) const { ::closedir(directory); }
};

class Search final : public stand_in::Object {
public:
    explicit Search(std::string path)
        : m_path(std::move(path)), m_directory(::opendir(m_path.c_str())) {}
    DWORD next(WIN32_FIND_DATAW &data);

private:
    std::string m_path;
    std::unique_ptr<DIR, CloseDirectory> m_directory;
};

// The kind of a file, as directory entries have it; DT_UNKNOWN, errno set, if there is none.
int kindOf(const std::string &path) {
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0 ? static_cast<int>(IFTODT(status.st_mode))
                                               : static_cast<int>(DT_UNKNOWN);
}

DWORD attributesOf(int kind) {
    return kind == DT_DIR   ? FILE_ATTRIBUTE_DIRECTORY
           : kind == DT_LNK ? FILE_ATTRIBUTE_REPARSE_POINT
                            : FILE_ATTRIBUTE_ARCHIVE;
}

DWORD Search::next(WIN32_FIND_DATAW &data) {
    if (!m_directory)
        return ERROR_PATH_NOT_FOUND;
    const dirent *entry = ::readdir(m_directory.get());
    if (!entry)
        return ERROR_NO_MORE_FILES;
    const std::string path = m_path + '/' + entry->d_name;
    // Some file systems don't give the kind with the entry.
    data.dwFileAttributes =
        attributesOf(entry->d_type != DT_UNKNOWN ? entry->d_type : kindOf(path));
    const std::u16string name = stand_in::toWide(entry->d_name);
    *std::copy(name.begin(), name.end(), data.cFileName) = 0;
    return ERROR_SUCCESS;
}

// Follows links.
bool statPath(LPCWSTR path, struct stat &status) {
    return ::stat(stand_in::toHost(stand_in::toNarrow(path)).c_str(), &status) == 0 ||
           stand_in::resultOf(stand_in::lastErrorOf(errno));
}

// The result of a call that fills a buffer with a text: its length, or the size it needs.
DWORD fillBuffer(const std::string &text, LPWSTR buffer, DWORD size) {
    const auto length = static_cast<DWORD>(text.size());
    if (length >= size)
        return length + 1;
    *std::copy(text.begin(), text.end(), buffer) = 0;
    return length;
}

HANDLE openFile(const std::string &path) {
    // Without waiting, as a FIFO would make it wait for its other end.
    stand_in::Descriptor file(
        ::open(stand_in::toHost(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    const DWORD error = file ? ERROR_SUCCESS : stand_in::lastErrorOf(errno);
    return stand_in::handleOrInvalid(error, std::make_shared<File>(std::move(file)));
}

} // namespace

BOOL PathIsDirectoryW(LPCWSTR path) {
    struct stat status;
    return !stand_in::fails("PathIsDirectoryW") && statPath(path, status) &&
           S_ISDIR(status.st_mode);
}

BOOL PathFileExistsW(LPCWSTR path) {
    struct stat status;
    return !stand_in::fails("PathFileExistsW") && statPath(path, status);
}

std::FILE *_fsopen(const char *path, const char *mode, int share) {
    if (stand_in::fails("_fsopen", share != _SH_DENYNO))
        return nullptr;
    return std::fopen(stand_in::toHost(path).c_str(), mode);
}

DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size) {
    if (stand_in::fails("GetModuleFileNameA", module != nullptr))
        return 0;
    // The path by which it was started: links in it are not resolved.
    const std::string path =
        stand_in::fullPath(reinterpret_cast<const char *>(::getauxval(AT_EXECFN)));
    const auto copied = static_cast<DWORD>(path.copy(buffer, size - 1));
    buffer[copied] = 0;
    return copied == path.size() ? copied : size;
}

DWORD GetFileAttributesW(LPCWSTR path) {
    if (stand_in::fails("GetFileAttributesW"))
        return INVALID_FILE_ATTRIBUTES;
    const std::string hostPath = stand_in::toHost(stand_in::toNarrow(path));
    const int kind = kindOf(hostPath);
    return stand_in::resultOf(kind != DT_UNKNOWN ? ERROR_SUCCESS : stand_in::lastErrorOf(errno))
               ? attributesOf(kind)
               : INVALID_FILE_ATTRIBUTES;
}

HANDLE CreateFileW(LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES,
                   DWORD disposition, DWORD flags, HANDLE templateFile) {
    const std::string path = stand_in::toNarrow(name);
    const bool isPipe = stand_in::isPipePath(path);
    if (stand_in::fails(
            "CreateFileW",
            access != GENERIC_READ || disposition != OPEN_EXISTING || templateFile ||
                (!isPipe && (share != FILE_SHARE_READ || flags != FILE_FLAG_BACKUP_SEMANTICS))))
        return INVALID_HANDLE_VALUE;
    if (!isPipe)
        return openFile(path);
    std::shared_ptr<stand_in::Object> client;
    const DWORD error = stand_in::openPipe(path, client);
    return stand_in::handleOrInvalid(error, std::move(client));
}

DWORD GetFinalPathNameByHandleW(HANDLE file, LPWSTR buffer, DWORD size, DWORD flags) {
    if (stand_in::fails("GetFinalPathNameByHandleW",
                        flags != (FILE_NAME_NORMALIZED | VOLUME_NAME_DOS)))
        return 0;
    const auto opened = stand_in::find<File>(file);
    if (!opened)
        return 0;
    char path[PATH_MAX] = {};
    const std::string link = "/proc/self/fd/" + std::to_string(opened->descriptor.get());
    [[maybe_unused]] const ssize_t length = ::readlink(link.c_str(), path, sizeof path - 1);
    return fillBuffer("\\\\?\\" + stand_in::toGuest(path), buffer, size);
}

DWORD GetFullPathNameW(LPCWSTR path, DWORD size, LPWSTR buffer, LPWSTR *filePart) {
    if (stand_in::fails("GetFullPathNameW", filePart != nullptr))
        return 0;
    return fillBuffer(stand_in::fullPath(stand_in::toNarrow(path)), buffer, size);
}

HANDLE FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW *data) {
    const std::string path = stand_in::toNarrow(pattern);
    if (stand_in::fails("FindFirstFileW", !path.ends_with("\\*")))
        return INVALID_HANDLE_VALUE;
    const std::string hostPath = stand_in::toHost(path);
    const auto search = std::make_shared<Search>(hostPath.substr(0, hostPath.rfind('/') + 1));
    return stand_in::handleOrInvalid(search->next(*data), search);
}

BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW *data) {
    if (stand_in::fails("FindNextFileW"))
        return FALSE;
    const auto found = stand_in::find<Search>(search);
    return found && stand_in::resultOf(found->next(*data));
}

BOOL FindClose(HANDLE search) {
    return !stand_in::fails("FindClose") && stand_in::find<Search>(search) &&
           stand_in::erase(search);
}
