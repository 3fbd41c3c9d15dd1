#include "support/wine.h"

#include "support/files.h"
#include "support/host.h"

#include <algorithm>
#include <regex>
#include <windows.h>

namespace testing_support::wine {
namespace {

template <class Function> Function *imported(const char *library, const char *name) {
    const HMODULE module = ::GetModuleHandleA(library);
    return reinterpret_cast<Function *>(reinterpret_cast<void *>(::GetProcAddress(module, name)));
}

// For the host's shell, in which `\` would be no separator.
std::string quoted(std::string text) {
    std::replace(text.begin(), text.end(), '\\', '/');
    return "'" + text + "'";
}

std::string hostsPath(const std::filesystem::path &path) {
    using UnixFileName = char *(const WCHAR *);
    char *const text =
        imported<UnixFileName>("kernel32.dll", "wine_get_unix_file_name")(path.c_str());
    const std::string result = quoted(text != nullptr ? text : "");
    ::HeapFree(::GetProcessHeap(), 0, text);
    return result;
}

// Wine returns no handle of a program of the host, so the line leaves its status in a file.
bool runShell(const std::string &line) {
    static int count = 0;
    const std::filesystem::path status =
        temporaryRoot() /
        ("shell_" + std::to_string(::GetCurrentProcessId()) + "_" + std::to_string(++count));
    std::string command = "Z:\\bin\\sh -c \"" + line + "; echo $? >" + hostsPath(status) + "\"";
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information{};
    ::CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                     &startup, &information);
    std::string text;
    waitUntil([&] { return (text = readFile(status)).ends_with('\n'); });
    std::filesystem::remove(status);
    return text == "0\n";
}

} // namespace

bool isHere() {
    return imported<void()>("ntdll.dll", "wine_get_version") != nullptr;
}

bool makeLink(const std::filesystem::path &link, const std::filesystem::path &target) {
    return runShell("ln -s " +
                    (target.is_absolute() ? hostsPath(target) : quoted(target.string())) + " " +
                    hostsPath(link));
}

bool typeLinkCommand(const std::string &command) {
    std::smatch path;
    if (std::regex_match(command, path, std::regex("mklink /J (\\S+) (\\S+)")))
        return makeLink(path.str(1), path.str(2));
    if (std::regex_match(command, path, std::regex("rmdir (\\S+\\\\current)")))
        return runShell("rm " + hostsPath(path.str(1)));
    return false;
}

void removeTree(const std::filesystem::path &folder) {
    runShell("rm -rf " + hostsPath(folder));
}

void forgetLatestService() {
    const DWORD none = 1000000; // no service has this number
    ::RegSetKeyValueA(HKEY_LOCAL_MACHINE, "System\\CurrentControlSet\\Control\\ServiceCurrent",
                      nullptr, REG_DWORD, &none, sizeof none);
}

} // namespace testing_support::wine
