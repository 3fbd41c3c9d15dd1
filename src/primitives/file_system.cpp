#include "primitives/file_system.h"

#include "platform/windows_api.h"
#include "primitives/scope_guard.h"
#include "primitives/wide_text.h"

#include <algorithm>
#include <cctype>

namespace {

constexpr DWORD finalPathLimit = 512;
constexpr DWORD finalPathPrefixLength = 4; // "\\?\"

bool isPlainSubdirectory(const WIN32_FIND_DATAW &entry) {
    return (entry.dwFileAttributes | FILE_ATTRIBUTE_DIRECTORY) == FILE_ATTRIBUTE_DIRECTORY &&
           entry.cFileName[0] != '.';
}

std::string terminatedText(const WCHAR *text) {
    return narrow(text, std::char_traits<WCHAR>::length(text));
}

} // namespace

bool isDirectory(const std::string &path) {
    return ::PathIsDirectoryW(widen(path).c_str()) != 0;
}

bool fileExists(const std::string &path) {
    return ::PathFileExistsW(widen(path).c_str()) != 0;
}

std::string ownModulePath() {
    char buffer[MAX_PATH] = {}; // a path that is cut still ends in a zero
    return ::GetModuleFileNameA(nullptr, buffer, MAX_PATH) != 0 ? buffer : "";
}

bool isExecutableName(const std::string &path) {
    std::string name = path;
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char character) {
        return static_cast<char>(std::tolower(character));
    });
    return name.ends_with(".exe") || name.ends_with(".bat");
}

bool hasReparseAttribute(const std::string &path) {
    // Not compared with INVALID_FILE_ATTRIBUTES, which has all bits set: a missing path counts as a
    // link. Contract: docs/compatibility.md.
    return (::GetFileAttributesW(widen(path).c_str()) & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

std::string resolveFinalPath(const std::string &path) {
    const HANDLE file = ::CreateFileW(widen(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return "";
    const ScopeGuard closeFile([file] { ::CloseHandle(file); });
    WCHAR buffer[finalPathLimit];
    const DWORD length = ::GetFinalPathNameByHandleW(file, buffer, finalPathLimit,
                                                     FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    if (length <= finalPathPrefixLength || length >= finalPathLimit)
        return "";
    return narrow(buffer + finalPathPrefixLength, length - finalPathPrefixLength);
}

std::string linkTargetName(const std::string &path) {
    std::string target = resolveFinalPath(path);
    target.erase(target.find_last_not_of('\\') + 1);
    return target.substr(target.rfind('\\') + 1);
}

std::vector<std::string> listDirectories(const std::string &path) {
    WCHAR fullPath[MAX_PATH];
    const DWORD length = ::GetFullPathNameW(widen(path).c_str(), MAX_PATH, fullPath, nullptr);
    if (length == 0 || length >= MAX_PATH)
        return {};
    const std::basic_string<WCHAR> pattern = fullPath + widen("\\*");
    WIN32_FIND_DATAW entry;
    const HANDLE search = ::FindFirstFileW(pattern.c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE)
        return {};
    const ScopeGuard closeSearch([search] { ::FindClose(search); });
    std::vector<std::string> names;
    do {
        if (isPlainSubdirectory(entry))
            names.push_back(terminatedText(entry.cFileName));
    } while (::FindNextFileW(search, &entry) != 0);
    return names;
}
