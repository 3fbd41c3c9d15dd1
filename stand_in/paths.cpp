#include "stand_in/paths.h"

#include "stand_in/variables.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <memory>
#include <vector>

namespace {

bool startsWith(const std::string &text, std::string_view start) {
    return std::string_view(text).substr(0, start.size()) == start;
}

bool hasDrive(const std::string &path) {
    return path.size() >= 2 && path[1] == ':' &&
           std::isalpha(static_cast<unsigned char>(path[0])) != 0;
}

// The folder that is drive C:.
std::string driveC() {
    if (const auto folder = stand_in::variable("ZQHOST_DRIVE_C"))
        return *folder;
    return stand_in::variable("HOME").value_or("") + "/.local/share/zqhost/drive_c";
}

std::string realPath(const std::string &path) {
    const std::unique_ptr<char, void (*)(void *)> real(::realpath(path.c_str(), nullptr),
                                                       std::free);
    return real ? real.get() : path;
}

std::string currentDirectory() {
    char buffer[PATH_MAX];
    return ::getcwd(buffer, sizeof buffer) ? stand_in::toGuest(buffer) : "Z:\\";
}

// The names of a path below its drive, without those that "." and ".." take away.
std::vector<std::string> resolvedNames(std::string_view rest) {
    std::vector<std::string> names;
    while (!rest.empty()) {
        const std::string name(rest.substr(0, rest.find('\\')));
        rest.remove_prefix(std::min(name.size() + 1, rest.size()));
        if (name == ".." && !names.empty())
            names.pop_back();
        else if (!name.empty() && name != "." && name != "..")
            names.push_back(name);
    }
    return names;
}

std::string resolved(const std::string &drive, std::string_view rest) {
    std::string path = drive;
    for (const std::string &name : resolvedNames(rest))
        path += '\\' + name;
    if (path == drive || rest.back() == '\\')
        path += '\\';
    return path;
}

void appendUtf8(std::string &text, char32_t point) {
    const auto put = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
    const auto putRest = [&put, point](int shift) { put(0x80 | ((point >> shift) & 0x3F)); };
    if (point < 0x80)
        return put(point);
    if (point < 0x800) {
        put(0xC0 | (point >> 6));
    } else {
        if (point < 0x10000) {
            put(0xE0 | (point >> 12));
        } else {
            put(0xF0 | (point >> 18));
            putRest(12);
        }
        putRest(6);
    }
    putRest(0);
}

// Takes one code point off the text; a byte that begins none stands for itself.
char32_t takePoint(std::string_view &text) {
    const auto byteAt = [&text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const char32_t first = byteAt(0);
    const std::size_t length = first < 0xC0 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    bool whole = length > 1 && length <= text.size();
    char32_t point = first & (0x7Fu >> length);
    for (std::size_t at = 1; whole && at < length; ++at) {
        whole = (byteAt(at) & 0xC0) == 0x80;
        point = (point << 6) | (byteAt(at) & 0x3F);
    }
    constexpr char32_t least[] = {0, 0, 0x80, 0x800, 0x10000}; // by the length
    whole = whole && point >= least[length] && point <= 0x10FFFF;
    text.remove_prefix(whole ? length : 1);
    return whole ? point : first;
}

} // namespace

std::string stand_in::toUtf8(std::u16string_view text) {
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        char32_t point = text[at];
        const char32_t next = at + 1 < text.size() ? text[at + 1] : 0;
        if ((point & 0xFC00) == 0xD800 && (next & 0xFC00) == 0xDC00) {
            point = 0x10000 + ((point & 0x3FF) << 10) + (next & 0x3FF);
            ++at;
        }
        appendUtf8(result, point);
    }
    return result;
}

std::u16string stand_in::toWide(std::string_view text) {
    std::u16string result;
    while (!text.empty()) {
        const char32_t point = takePoint(text);
        if (point >= 0x10000) {
            result.push_back(static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10)));
            result.push_back(static_cast<char16_t>(0xDC00 + (point & 0x3FF)));
        } else {
            result.push_back(static_cast<char16_t>(point));
        }
    }
    return result;
}

std::string stand_in::fullPath(LPCWSTR path) {
    std::string text = toUtf8(path);
    std::replace(text.begin(), text.end(), '/', '\\');
    if (startsWith(text, "\\\\?\\"))
        text.erase(0, 4);
    if (text.empty())
        return text;
    if (!hasDrive(text))
        text = (text[0] == '\\' ? "Z:" : currentDirectory() + '\\') + text;
    return resolved(text.substr(0, 2), std::string_view(text).substr(2));
}

std::string stand_in::toHost(LPCWSTR path) {
    const std::string full = fullPath(path);
    if (full.empty())
        return full;
    const int drive = std::toupper(static_cast<unsigned char>(full[0]));
    if (drive != 'C' && drive != 'Z')
        return "";
    std::string rest = full.substr(2);
    std::replace(rest.begin(), rest.end(), '\\', '/');
    return drive == 'C' ? driveC() + rest : rest;
}

std::string stand_in::toGuest(const std::string &hostPath) {
    const std::string folder = realPath(driveC());
    const bool below = hostPath == folder || startsWith(hostPath, folder + '/');
    std::string path = below ? "C:" + hostPath.substr(folder.size()) : "Z:" + hostPath;
    std::replace(path.begin(), path.end(), '/', '\\');
    return path.size() == 2 ? path + '\\' : path;
}

DWORD stand_in::lastErrorOf(int hostError) {
    switch (hostError) {
    case ENOENT:
        return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
    case ELOOP:
        return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EROFS:
        return ERROR_ACCESS_DENIED;
    case EAGAIN:
    case ENOMEM:
    case EMFILE:
    case ENFILE:
        return ERROR_NOT_ENOUGH_MEMORY;
    case ETXTBSY:
        return ERROR_SHARING_VIOLATION;
    case ENOSPC:
        return ERROR_DISK_FULL;
    case ENOEXEC:
        return ERROR_BAD_EXE_FORMAT;
    case ENAMETOOLONG:
    case E2BIG:
        return ERROR_FILENAME_EXCED_RANGE;
    case EPIPE:
    case ECONNRESET:
        return ERROR_NO_DATA;
    default:
        return ERROR_GEN_FAILURE;
    }
}

DWORD stand_in::lastErrorOf(int hostError, const std::string &hostPath) {
    if (hostError != ENOENT)
        return lastErrorOf(hostError);
    // Windows tells a missing file from a missing folder on the way to it.
    const std::string parent = hostPath.substr(0, hostPath.find_last_of('/') + 1);
    struct stat status;
    return ::stat(parent.c_str(), &status) == 0 ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
}
