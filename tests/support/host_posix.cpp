#include "support/host.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <pwd.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace testing_support {

HostProcess::HostProcess(const std::filesystem::path &program,
                         const std::vector<std::string> &arguments, const std::string &streams) {
    std::vector<char *> pointers{const_cast<char *>(program.c_str())};
    for (const std::string &argument : arguments)
        pointers.push_back(const_cast<char *>(argument.c_str()));
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    const auto open = [&](int stream, const std::string &file, int flags) {
        ::posix_spawn_file_actions_addopen(&actions, stream, file.c_str(), flags | O_CREAT, 0600);
    };
    open(0, streams + ".in", O_RDONLY);
    open(1, streams + ".out", O_WRONLY | O_APPEND);
    open(2, streams + ".err", O_WRONLY | O_APPEND);
    pid_t pid = 0;
    const int error =
        ::posix_spawn(&pid, program.c_str(), &actions, nullptr, pointers.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::runtime_error("can't start " + program.string());
    processId = static_cast<std::uint32_t>(pid);
}

HostProcess::~HostProcess() = default;

std::optional<std::uint32_t> HostProcess::wait(std::chrono::milliseconds limit) {
    const auto ended = [this] {
        int status = 0;
        if (!exitCode && ::waitpid(static_cast<pid_t>(processId), &status, WNOHANG) > 0)
            exitCode = static_cast<std::uint32_t>(WIFEXITED(status) ? WEXITSTATUS(status)
                                                                    : 128 + WTERMSIG(status));
        return exitCode.has_value();
    };
    waitUntil(ended, limit);
    return exitCode;
}

bool isRunning(std::uint32_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    std::getline(file, text);
    const std::size_t state = text.rfind(')') + 2; // behind the name, which may hold anything
    return state < text.size() && text[state] != 'Z' && text[state] != 'X';
}

void endProcess(std::uint32_t pid) {
    ::kill(static_cast<pid_t>(pid), SIGKILL);
}

void runShell(const std::string &line) {
    if (std::system(line.c_str()) != 0)
        throw std::runtime_error("failed: " + line);
}

std::string ownCommandLine() {
    const char *line = std::getenv("ZQHOST_COMMAND_LINE");
    return line ? line : "";
}

std::string ownUser() {
    return std::to_string(::getuid());
}

std::vector<std::string> ownEnvironment() {
    std::vector<std::string> entries;
    for (char **entry = environ; *entry; ++entry)
        entries.emplace_back(*entry);
    return entries;
}

std::string variable(const std::string &name) {
    const char *value = std::getenv(name.c_str());
    return value ? value : "";
}

void setVariable(const std::string &name, const std::string &value) {
    value.empty() ? ::unsetenv(name.c_str()) : ::setenv(name.c_str(), value.c_str(), 1);
}

const bool onWindows = false;

std::uint32_t visibleExitCode(std::uint32_t code) {
    return code & 0xFF;
}

std::string consoleUserName() {
    return ::getuid() == 0 ? "nobody" : ::getpwuid(::getuid())->pw_name;
}

std::string consoleUserId() {
    return ::getuid() == 0 ? "65534" : ownUser();
}

void hideFolder(const std::filesystem::path &path) {
    if (::setxattr(path.c_str(), "user.DOSATTRIB", "0x2", 3, 0) != 0)
        throw std::runtime_error("no attributes for " + path.string());
}

} // namespace testing_support
