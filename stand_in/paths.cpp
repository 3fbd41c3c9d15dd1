#include "stand_in/paths.h"

#include "stand_in/variables.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <sstream>
#include <vector>

namespace {

// The folder that is drive C:.
std::string driveC() {
    return stand_in::variable("ZQHOST_DRIVE_C")
        .value_or(stand_in::variable("HOME").value_or("") + "/.local/share/zqhost/drive_c");
}

std::string currentDirectory() {
    char buffer[PATH_MAX] = {};
    return ::getcwd(buffer, sizeof buffer) ? stand_in::toGuest(buffer) : "Z:";
}

// The names of a path below its drive, without those that "." and ".." take away.
std::vector<std::string> resolvedNames(const std::string &rest) {
    std::vector<std::string> names;
    std::istringstream parts(rest);
    for (std::string name; std::getline(parts, name, '\\');)
        if (name == ".." && !names.empty())
            names.pop_back();
        else if (!name.empty() && name != "." && name != "..")
            names.push_back(name);
    if (!names.empty()) // the system drops dots and spaces at the end
        names.back().erase(names.back().find_last_not_of(" .") + 1);
    return names;
}

} // namespace

std::string stand_in::fullPath(std::string path) {
    std::replace(path.begin(), path.end(), '/', '\\');
    if (path.find(':') != 1)
        path = (path[0] == '\\' ? "Z:" : currentDirectory() + '\\') + path;
    const std::vector<std::string> names = resolvedNames(path.substr(2));
    std::string full = path.substr(0, 2);
    for (const std::string &name : names)
        full += '\\' + name;
    if (names.empty() || path.back() == '\\')
        full += '\\';
    return full;
}

std::string stand_in::toHost(const std::string &path) {
    std::string full = fullPath(path);
    if (full.size() >= MAX_PATH)
        return "";
    std::replace(full.begin(), full.end(), '\\', '/');
    switch (std::toupper(static_cast<unsigned char>(full[0]))) {
    case 'C':
        return driveC() + full.substr(2);
    case 'Z':
        return full.substr(2);
    default:
        return "";
    }
}

std::string stand_in::toGuest(std::string hostPath) {
    std::replace(hostPath.begin(), hostPath.end(), '/', '\\');
    return "Z:" + hostPath;
}
