#include "stand_in/descriptor.h"
#include "stand_in/faults.h"
#include "stand_in/handles.h"
#include "stand_in/named_pipes.h"
#include "stand_in/paths.h"

#include <dirent.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

namespace {

// The bits that Wine keeps in the attribute and that the host has nothing of its own for.
constexpr DWORD keptAttributeBits = 0x27;

struct File final : stand_in::Object {
    explicit File(stand_in::Descriptor opened) : descriptor(std::move(opened)) {}
    const stand_in::Descriptor descriptor;
};

struct CloseDirectory {
    void operator()(DIR *directory) const { ::closedir(directory); }
};

class Search final : public stand_in::Object {
public:
    Search(std::string path, DIR *directory) : m_path(std::move(path)), m_directory(directory) {}
    DWORD next(WIN32_FIND_DATAW &data);

private:
    std::string m_path;
    std::unique_ptr<DIR, CloseDirectory> m_directory;
};

DWORD keptAttributes(const std::string &path) {
    char text[16] = {};
    if (::lgetxattr(path.c_str(), "user.DOSATTRIB", text, sizeof text - 1) <= 0)
        return 0;
    return static_cast<DWORD>(std::strtoul(text, nullptr, 0)) & keptAttributeBits;
}

DWORD linkAttributes(const std::string &path) {
    struct stat target;
    const bool toDirectory = ::stat(path.c_str(), &target) == 0 && S_ISDIR(target.st_mode);
    return FILE_ATTRIBUTE_REPARSE_POINT |
           (toDirectory ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE);
}

DWORD attributesOf(const std::string &path) {
    struct stat status;
    if (::lstat(path.c_str(), &status) != 0)
        return INVALID_FILE_ATTRIBUTES;
    if (S_ISLNK(status.st_mode))
        return linkAttributes(path);
    return (S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_ARCHIVE) |
           keptAttributes(path);
}

DWORD Search::next(WIN32_FIND_DATAW &data) {
    const dirent *entry = ::readdir(m_directory.get());
    if (!entry)
        return ERROR_NO_MORE_FILES;
    const std::string path = m_path + '/' + entry->d_name;
    // The type spares a call for each of what may be thousands of entries.
    if (entry->d_type == DT_DIR)
        data.dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY | keptAttributes(path);
    else if (entry->d_type == DT_REG)
        data.dwFileAttributes = FILE_ATTRIBUTE_ARCHIVE;
    else
        data.dwFileAttributes = attributesOf(path);
    const std::u16string name = stand_in::toWide(entry->d_name);
    *std::copy_n(name.begin(), std::min<std::size_t>(name.size(), MAX_PATH - 1), data.cFileName) =
        0;
    return ERROR_SUCCESS;
}

// Follows links.
bool statPath(LPCWSTR path, struct stat &status) {
    const std::string hostPath = stand_in::toHost(path);
    return ::stat(hostPath.c_str(), &status) == 0 ||
           stand_in::outcome(stand_in::lastErrorOf(errno, hostPath));
}

// What the calls return that fill a buffer with a text: its length, or the size it needs.
DWORD giveText(const std::u16string &text, LPWSTR buffer, DWORD size) {
    const auto length = static_cast<DWORD>(text.size());
    if (length >= size)
        return length + 1;
    *std::copy(text.begin(), text.end(), buffer) = 0;
    return length;
}

HANDLE insertOr(DWORD error, std::shared_ptr<stand_in::Object> object) {
    return stand_in::outcome(error) ? stand_in::insert(std::move(object)) : INVALID_HANDLE_VALUE;
}

HANDLE openFile(const std::string &path, DWORD flags) {
    // Without waiting, as a FIFO would have us wait for its other end.
    stand_in::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status;
    DWORD error = ERROR_SUCCESS;
    if (!file || ::fstat(file.get(), &status) != 0)
        error = stand_in::lastErrorOf(errno, path);
    else if (S_ISDIR(status.st_mode) && (flags & FILE_FLAG_BACKUP_SEMANTICS) == 0)
        error = ERROR_ACCESS_DENIED;
    return insertOr(error, std::make_shared<File>(std::move(file)));
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
    if (stand_in::fails("_fsopen") || share != _SH_DENYNO)
        return nullptr;
    return std::fopen(stand_in::toHost(stand_in::toWide(path).c_str()).c_str(), mode);
}

DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size) {
    if (stand_in::fails("GetModuleFileNameA"))
        return 0;
    char path[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", path, sizeof path);
    if (module || length < 0 || size == 0)
        return static_cast<DWORD>(stand_in::outcome(ERROR_INVALID_PARAMETER));
    const std::string text = stand_in::toGuest(std::string(path, static_cast<std::size_t>(length)));
    const auto copied = static_cast<DWORD>(text.copy(buffer, size - 1));
    buffer[copied] = 0;
    if (copied == text.size())
        return copied;
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
}

DWORD GetFileAttributesW(LPCWSTR path) {
    if (stand_in::fails("GetFileAttributesW"))
        return INVALID_FILE_ATTRIBUTES;
    const std::string hostPath = stand_in::toHost(path);
    const DWORD attributes = attributesOf(hostPath);
    if (attributes == INVALID_FILE_ATTRIBUTES)
        SetLastError(stand_in::lastErrorOf(errno, hostPath));
    return attributes;
}

HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD, LPSECURITY_ATTRIBUTES, DWORD disposition,
                   DWORD flags, HANDLE templateFile) {
    if (stand_in::fails("CreateFileW"))
        return INVALID_HANDLE_VALUE;
    if (access != GENERIC_READ || disposition != OPEN_EXISTING || templateFile)
        return insertOr(ERROR_NOT_SUPPORTED, nullptr);
    if (!stand_in::isPipePath(path))
        return openFile(stand_in::toHost(path), flags);
    std::shared_ptr<stand_in::Object> client;
    const DWORD error = stand_in::openPipe(path, client);
    return insertOr(error, std::move(client));
}

DWORD GetFinalPathNameByHandleW(HANDLE file, LPWSTR buffer, DWORD size, DWORD flags) {
    if (stand_in::fails("GetFinalPathNameByHandleW"))
        return 0;
    const auto opened = stand_in::find<File>(file);
    if (!opened)
        return 0;
    if (flags != (FILE_NAME_NORMALIZED | VOLUME_NAME_DOS))
        return static_cast<DWORD>(stand_in::outcome(ERROR_NOT_SUPPORTED));
    char path[PATH_MAX];
    const std::string link = "/proc/self/fd/" + std::to_string(opened->descriptor.get());
    const ssize_t length = ::readlink(link.c_str(), path, sizeof path);
    if (length < 0)
        return static_cast<DWORD>(stand_in::outcome(stand_in::lastErrorOf(errno)));
    const std::string text = stand_in::toGuest(std::string(path, static_cast<std::size_t>(length)));
    const DWORD given = giveText(stand_in::toWide("\\\\?\\" + text), buffer, size);
    if (given > size)
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return given;
}

DWORD GetFullPathNameW(LPCWSTR path, DWORD size, LPWSTR buffer, LPWSTR *filePart) {
    if (stand_in::fails("GetFullPathNameW"))
        return 0;
    if (filePart)
        return static_cast<DWORD>(stand_in::outcome(ERROR_NOT_SUPPORTED));
    const std::string full = stand_in::fullPath(path);
    if (full.empty())
        return static_cast<DWORD>(stand_in::outcome(ERROR_INVALID_NAME));
    return giveText(stand_in::toWide(full), buffer, size);
}

HANDLE FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW *data) {
    if (stand_in::fails("FindFirstFileW"))
        return INVALID_HANDLE_VALUE;
    std::u16string directory(pattern);
    if (directory.size() < 2 || directory.substr(directory.size() - 2) != u"\\*")
        return insertOr(ERROR_NOT_SUPPORTED, nullptr);
    directory.pop_back();
    const std::string path = stand_in::toHost(directory.c_str());
    DIR *opened = ::opendir(path.c_str());
    if (!opened)
        return insertOr(errno == ENOENT ? ERROR_PATH_NOT_FOUND : stand_in::lastErrorOf(errno),
                        nullptr);
    const auto search = std::make_shared<Search>(path, opened);
    return insertOr(search->next(*data), search);
}

BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW *data) {
    if (stand_in::fails("FindNextFileW"))
        return FALSE;
    const auto found = stand_in::find<Search>(search);
    return found && stand_in::outcome(found->next(*data));
}

BOOL FindClose(HANDLE search) {
    return !stand_in::fails("FindClose") && stand_in::find<Search>(search) &&
           stand_in::erase(search);
}

BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD size, LPDWORD read, LPVOID overlapped) {
    if (stand_in::fails("ReadFile"))
        return FALSE;
    *read = 0;
    if (overlapped)
        return stand_in::outcome(ERROR_NOT_SUPPORTED);
    const auto stream = stand_in::find<stand_in::Stream>(file);
    return stream && stand_in::outcome(stream->read(buffer, size, *read));
}

BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD size, LPDWORD written, LPVOID overlapped) {
    if (stand_in::fails("WriteFile"))
        return FALSE;
    *written = 0;
    if (overlapped)
        return stand_in::outcome(ERROR_NOT_SUPPORTED);
    const auto stream = stand_in::find<stand_in::Stream>(file);
    return stream && stand_in::outcome(stream->write(buffer, size, *written));
}
