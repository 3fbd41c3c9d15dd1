#include "support/host.h"
#include "support/installation_tree.h"

#include <cstdlib>
#include <cwchar>
#include <stdexcept>
#include <windows.h>

namespace testing_support {
namespace {

// As the C runtime splits it again: backslashes count only before a quote.
std::string quoted(const std::string &argument) {
    std::string result = "\"";
    std::size_t backslashes = 0;
    for (const char each : argument) {
        if (each == '"')
            result.append(backslashes + 1, '\\');
        backslashes = each == '\\' ? backslashes + 1 : 0;
        result += each;
    }
    return result.append(backslashes, '\\') + "\"";
}

std::wstring toWide(const std::string &text) {
    std::wstring wide(text.size(), L'\0'); // at least as long as needed
    const auto size = static_cast<int>(text.size());
    wide.resize(static_cast<std::size_t>(
        ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), size)));
    return wide;
}

std::string toUtf8(const std::wstring &wide) {
    std::string text(3 * wide.size(), '\0');
    const auto size = static_cast<int>(text.size());
    text.resize(static_cast<std::size_t>(
        ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), text.data(),
                              size, nullptr, nullptr)));
    return text;
}

} // namespace

HostProcess::HostProcess(const std::filesystem::path &program,
                         const std::vector<std::string> &arguments, const std::string &streams) {
    std::string line = quoted(program.string());
    for (const std::string &argument : arguments)
        line.append(" ").append(quoted(argument));

    // Only the three files are inherited: the caller's own streams may be pipes of a test runner.
    for (const DWORD own : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE})
        ::SetHandleInformation(::GetStdHandle(own), HANDLE_FLAG_INHERIT, 0);
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    const auto open = [&](const std::string &file, DWORD access) {
        return ::CreateFileA(file.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inheritable,
                             OPEN_ALWAYS, 0, nullptr);
    };
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = open(streams + ".in", GENERIC_READ);
    startup.hStdOutput = open(streams + ".out", FILE_APPEND_DATA);
    startup.hStdError = open(streams + ".err", FILE_APPEND_DATA);
    PROCESS_INFORMATION information{};
    const BOOL created = ::CreateProcessW(nullptr, toWide(line).data(), nullptr, nullptr, TRUE, 0,
                                          nullptr, nullptr, &startup, &information);
    const DWORD error = ::GetLastError();
    for (HANDLE handle : {startup.hStdInput, startup.hStdOutput, startup.hStdError})
        ::CloseHandle(handle);
    if (!created)
        throw std::runtime_error("can't start " + line + ": error " + std::to_string(error));
    ::CloseHandle(information.hThread);
    processHandle = information.hProcess;
    processId = information.dwProcessId;
}

HostProcess::~HostProcess() {
    ::CloseHandle(processHandle);
}

std::optional<std::uint32_t> HostProcess::wait(std::chrono::milliseconds limit) {
    DWORD code = 0;
    if (::WaitForSingleObject(processHandle, static_cast<DWORD>(limit.count())) == WAIT_OBJECT_0 &&
        ::GetExitCodeProcess(processHandle, &code))
        exitCode = code;
    return exitCode;
}

bool isRunning(std::uint32_t pid) {
    const HANDLE process = ::OpenProcess(SYNCHRONIZE, FALSE, pid);
    const bool running = process && ::WaitForSingleObject(process, 0) == WAIT_TIMEOUT;
    ::CloseHandle(process);
    return running;
}

void endProcess(std::uint32_t pid) {
    const HANDLE process = ::OpenProcess(PROCESS_TERMINATE, FALSE, pid);
    ::TerminateProcess(process, 137);
    ::CloseHandle(process);
}

void runShell(const std::string &line) {
    // Wine gives no handle to a Linux program, so the line leaves a file when it is through.
    static int count = 0;
    const std::string done =
        "/tmp/shell_" + std::to_string(::GetCurrentProcessId()) + "_" + std::to_string(++count);
    std::string command = "Z:\\bin\\sh -c " + quoted(line + " && : > " + done);
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information{};
    ::CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                     &startup, &information);
    std::error_code error;
    if (!waitUntil([&] { return std::filesystem::remove(hostPath(done), error); }))
        throw std::runtime_error("failed: " + line);
}

std::string ownCommandLine() {
    return ::GetCommandLineA();
}

std::string ownUser() {
    return std::getenv("USERNAME");
}

// Wide, as the C library's copy is in the process's code page.
std::vector<std::string> ownEnvironment() {
    std::vector<std::string> entries;
    WCHAR *block = ::GetEnvironmentStringsW();
    for (const WCHAR *entry = block; *entry; entry += std::wcslen(entry) + 1)
        entries.push_back(toUtf8(entry));
    ::FreeEnvironmentStringsW(block);
    return entries;
}

std::string variable(const std::string &name) {
    for (const std::string &entry : ownEnvironment())
        if (entry.starts_with(name + "="))
            return entry.substr(name.size() + 1);
    return "";
}

void setVariable(const std::string &name, const std::string &value) {
    ::SetEnvironmentVariableW(toWide(name).c_str(),
                              value.empty() ? nullptr : toWide(value).c_str());
}

const bool onWindows = true;

std::uint32_t visibleExitCode(std::uint32_t code) {
    return code;
}

std::string consoleUserName() {
    return ownUser();
}

std::string consoleUserId() {
    return ownUser();
}

void hideFolder(const std::filesystem::path &path) {
    ::SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_HIDDEN);
}

} // namespace testing_support
