#include "support/files.h"
#include "support/host.h"

#include <cstdlib>
#include <regex>
#include <stdexcept>
#include <windows.h>

// The narrow calls take UTF-8: the manifest of each program says so.
namespace testing_support {
namespace {

// As the C runtime splits it again, for arguments that don't both need quotes and end in a
// backslash.
std::string quoted(const std::string &argument) {
    if (!argument.empty() && argument.find_first_of(" \"") == argument.npos)
        return argument;
    return '"' + std::regex_replace(argument, std::regex("(\\\\*)\""), "$1$1\\\"") + '"';
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
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = open(streams + ".in", GENERIC_READ);
    startup.hStdOutput = open(streams + ".out", FILE_APPEND_DATA);
    startup.hStdError = open(streams + ".err", FILE_APPEND_DATA);
    PROCESS_INFORMATION information{};
    const BOOL created = ::CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                          nullptr, &startup, &information);
    for (HANDLE handle :
         {startup.hStdInput, startup.hStdOutput, startup.hStdError, information.hThread})
        ::CloseHandle(handle);
    if (!created)
        throw std::runtime_error("can't start " + line);
    process = reinterpret_cast<std::intptr_t>(information.hProcess);
}

HostProcess::~HostProcess() {
    ::CloseHandle(reinterpret_cast<HANDLE>(process));
}

std::optional<std::uint32_t> HostProcess::wait(std::chrono::milliseconds limit) {
    const auto handle = reinterpret_cast<HANDLE>(process);
    DWORD code = 0;
    if (::WaitForSingleObject(handle, static_cast<DWORD>(limit.count())) == WAIT_OBJECT_0 &&
        ::GetExitCodeProcess(handle, &code))
        exitCode = code;
    return exitCode;
}

void HostProcess::kill() {
    ::TerminateProcess(reinterpret_cast<HANDLE>(process), 137);
}

bool runShell(const std::string &line) {
    // Wine gives no handle to a Linux program, so the line leaves its status in a file.
    static int count = 0;
    const std::string status =
        "/tmp/shell_" + std::to_string(::GetCurrentProcessId()) + "_" + std::to_string(++count);
    std::string command = "Z:\\bin\\sh -c \"(" + line + "); echo $? >" + status + "\"";
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information{};
    ::CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                     &startup, &information);
    std::string text;
    waitUntil([&] { return (text = readFile(hostPath(status))).ends_with('\n'); });
    std::filesystem::remove(hostPath(status));
    return text == "0\n";
}

std::string ownCommandLine() {
    return ::GetCommandLineA();
}

std::size_t ownPipes() {
    std::size_t count = 0;
    for (ULONG_PTR value = 4; value < 4096; value += 4)
        count += ::GetFileType(reinterpret_cast<HANDLE>(value)) == FILE_TYPE_PIPE ? 1u : 0u;
    return count;
}

char **ownEnvironment() {
    return _environ;
}

} // namespace testing_support
