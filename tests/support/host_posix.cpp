#include "support/host.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <set>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
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
    const std::string files[] = {streams + ".in", streams + ".out", streams + ".err"};
    for (int stream = 0; stream < 3; ++stream) {
        const int access = stream == 0 ? O_RDONLY : O_WRONLY | O_APPEND;
        ::posix_spawn_file_actions_addopen(&actions, stream, files[stream].c_str(),
                                           access | O_CREAT, 0600);
    }
    pid_t pid = 0;
    const int error =
        ::posix_spawn(&pid, program.c_str(), &actions, nullptr, pointers.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::runtime_error("can't start " + program.string());
    process = pid;
}

HostProcess::~HostProcess() = default;

std::optional<std::uint32_t> HostProcess::wait(std::chrono::milliseconds limit) {
    const auto ended = [this] {
        int status = 0;
        if (!exitCode && ::waitpid(static_cast<pid_t>(process), &status, WNOHANG) > 0)
            exitCode = static_cast<std::uint32_t>(WIFEXITED(status) ? WEXITSTATUS(status)
                                                                    : 128 + WTERMSIG(status));
        return exitCode.has_value();
    };
    waitUntil(ended, limit);
    return exitCode;
}

void HostProcess::kill() {
    if (!exitCode)
        ::kill(static_cast<pid_t>(process), SIGKILL);
}

bool runShell(const std::string &line) {
    return std::system(line.c_str()) == 0;
}

std::string ownCommandLine() {
    const char *line = std::getenv("ZQHOST_COMMAND_LINE");
    return line ? line : "";
}

std::size_t ownPipes() {
    std::set<std::string> pipes;
    std::error_code gone; // the directory's own descriptor leads nowhere in the end
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
        if (const auto target = std::filesystem::read_symlink(entry, gone).string();
            target.starts_with("pipe:"))
            pipes.insert(target);
    return pipes.size();
}

char **ownEnvironment() {
    return environ;
}

} // namespace testing_support
