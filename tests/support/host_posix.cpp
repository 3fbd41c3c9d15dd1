#include "support/host.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <set>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace testing_support {

HostProcess::HostProcess(const std::filesystem::path &program,
                         const std::vector<std::string> &arguments, const std::string &streams) {
    std::vector<char *> pointers{const_cast<char *>(program.c_str())};
    for (const std::string &argument : arguments)
        pointers.push_back(const_cast<char *>(argument.c_str()));
    pointers.push_back(nullptr);

    const std::string files[] = {streams + ".in", streams + ".out", streams + ".err"};

    process = ::fork();
    if (process == -1)
        throw std::runtime_error("can't start " + program.string());
    if (process != 0)
        return;
    for (int stream = 0; stream < 3; ++stream)
        ::dup2(::open(files[stream].c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0600),
               stream);
    ::execv(program.c_str(), pointers.data());
    std::_Exit(127);
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

Platform platform() {
    return Platform::StandIn;
}

std::filesystem::path ownFolder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

std::filesystem::path temporaryRoot() {
    return "/tmp";
}

void clearAttributes(const std::filesystem::path &) {}

void makeLink(const std::filesystem::path &link, const std::filesystem::path &target) {
    std::filesystem::create_directories(link.parent_path());
    std::filesystem::create_symlink(target, link);
}

void removeTree(const std::filesystem::path &folder) {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

std::string ownCommandLine() {
    const char *line = std::getenv("ZQHOST_COMMAND_LINE");
    return line ? line : "";
}

std::size_t ownPipes() {
    std::set<ino_t> pipes;
    struct stat status;
    for (int descriptor = 0; descriptor < 1024; ++descriptor)
        if (::fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode))
            pipes.insert(status.st_ino);
    return pipes.size();
}

char **ownEnvironment() {
    return environ;
}

} // namespace testing_support
