#include "stand_in/child_start.h"

#include "stand_in/command_line.h"
#include "stand_in/paths.h"
#include "stand_in/streams.h"
#include "stand_in/variables.h"

#include <linux/close_range.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace {

constexpr std::string_view commandLineEntry = "ZQHOST_COMMAND_LINE=";

// All that a child needs before its program, while it borrows this process's memory.
struct Plan {
    std::string program;
    std::vector<std::string> arguments;
    std::vector<std::string> environment;
    std::vector<char *> argumentPointers;
    std::vector<char *> environmentPointers;
    std::array<int, 3> standardStreams{STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
    std::array<std::shared_ptr<stand_in::Stream>, 3> inherited; // open until the child has a copy
    stand_in::Descriptor devNull;
    bool newConsole = false;
};

bool isForChildren(const std::string &entry) {
    constexpr std::string_view own[] = {
        "ZQHOST_SERVICE_MANAGER=", "ZQHOST_FAIL=", "ZQHOST_CALL_LOG=", commandLineEntry};
    return std::none_of(std::begin(own), std::end(own),
                        [&entry](std::string_view start) { return entry.starts_with(start); });
}

std::vector<std::string> childEnvironment(LPVOID block, const std::string &commandLine) {
    auto entries =
        block ? *static_cast<stand_in::EnvironmentBlock *>(block) : stand_in::allVariables();
    std::erase_if(entries, [](const std::string &entry) { return !isForChildren(entry); });
    entries.push_back(std::string(commandLineEntry) + commandLine);
    return entries;
}

std::vector<char *> pointersTo(std::vector<std::string> &texts) {
    std::vector<char *> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string &text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// A stream that isn't inherited is /dev/null, and so are all with a console of its own, as there is
// none that could be shown.
void planStandardStreams(Plan &plan, const STARTUPINFOW &startup, bool inheritHandles) {
    const bool areGiven = inheritHandles && (startup.dwFlags & STARTF_USESTDHANDLES) != 0;
    if (!areGiven && !plan.newConsole)
        return;
    plan.devNull = stand_in::Descriptor(::open("/dev/null", O_RDWR | O_CLOEXEC));
    plan.standardStreams.fill(plan.devNull.get());
    if (!areGiven)
        return;
    const HANDLE handles[] = {startup.hStdInput, startup.hStdOutput, startup.hStdError};
    for (std::size_t stream = 0; stream < std::size(handles); ++stream) {
        const auto object =
            std::dynamic_pointer_cast<stand_in::Stream>(stand_in::lookUp(handles[stream]));
        if (object && stand_in::isInheritable(handles[stream]))
            plan.standardStreams[stream] = object->descriptor();
        plan.inherited[stream] = object;
    }
}

// False if there is no such program.
bool makePlan(Plan &plan, LPCWSTR commandLine, LPVOID environment) {
    std::string text = stand_in::toNarrow(commandLine);
    plan.program = stand_in::findProgram(text);
    plan.arguments = stand_in::splitCommandLine(text);
    plan.environment = childEnvironment(environment, text);
    plan.argumentPointers = pointersTo(plan.arguments);
    plan.environmentPointers = pointersTo(plan.environment);
    return !plan.program.empty();
}

bool takeStandardStreams(const Plan &plan) {
    // Copied out of the way first, as one may be the place of another.
    std::array<int, 3> copies{};
    bool taken = true;
    for (std::size_t stream = 0; stream < copies.size(); ++stream)
        copies[stream] = ::fcntl(plan.standardStreams[stream], F_DUPFD_CLOEXEC, 3);
    for (std::size_t stream = 0; stream < copies.size(); ++stream)
        taken = taken && ::dup2(copies[stream], static_cast<int>(stream)) != -1;
    return taken;
}

// In the child. Ends with the error number as exit status if the program can't be started.
[[noreturn]] void becomeProgram(const Plan &plan, const stand_in::Tether &tether) {
    if (tether.tie(::getpid()) && takeStandardStreams(plan) &&
        ::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC) == 0) {
        if (plan.newConsole)
            ::setsid();
        std::signal(SIGPIPE, SIG_DFL);
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0)
            ::execve(plan.program.c_str(), plan.argumentPointers.data(),
                     plan.environmentPointers.data());
    }
    ::_exit(errno);
}

// The child borrows the memory of this process, whose thread waits until the program takes
// over. No signal may come between but the one that reports the program: a handler would run in
// the wrong process, and a traced child would stop for a tracer that waits.
pid_t startTraced(const Plan &plan, const stand_in::Tether &tether) {
    sigset_t allButTrap, before;
    sigfillset(&allButTrap);
    sigdelset(&allButTrap, SIGTRAP);
    ::pthread_sigmask(SIG_SETMASK, &allButTrap, &before);
    const pid_t child = ::vfork();
    if (child == 0)
        becomeProgram(plan, tether);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return child;
}

// Waits until the child is at its program's first instruction, and lets signals through to it from
// there on. Returns 0, or the error number of what went wrong; the child is reaped then.
int awaitProgram(pid_t child, stand_in::Descriptor &descriptor) {
    int status = 0;
    ::waitpid(child, &status, __WALL);
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    if (WIFSTOPPED(status) && WSTOPSIG(status) == SIGTRAP)
        descriptor = stand_in::Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
    if (!descriptor) { // the host gave up while loading the program
        if (WIFSTOPPED(status) && ::kill(child, SIGKILL) == 0)
            ::waitpid(child, nullptr, __WALL);
        return ENOEXEC;
    }
    std::uint64_t noSignals = 0;
    ::ptrace(PTRACE_SETSIGMASK, child, reinterpret_cast<void *>(sizeof noSignals), &noSignals);
    return 0;
}

} // namespace

DWORD stand_in::startHeld(LPCWSTR commandLine, LPVOID environment, const STARTUPINFOW &startup,
                          bool inheritHandles, bool newConsole, const Tether &tether,
                          std::shared_ptr<Process> &process) {
    Plan plan;
    plan.newConsole = newConsole;
    planStandardStreams(plan, startup, inheritHandles);
    if (!makePlan(plan, commandLine, environment))
        return ERROR_FILE_NOT_FOUND;
    const pid_t child = startTraced(plan, tether);
    Descriptor descriptor;
    const int hostError = child == -1 ? errno : awaitProgram(child, descriptor);
    if (hostError != 0) // a file that may not be executed is no program
        return lastErrorOf(hostError == EACCES ? ENOEXEC : hostError);
    process = std::make_shared<Process>(child, std::move(descriptor));
    return ERROR_SUCCESS;
}
