#include "stand_in/processes.h"

#include "stand_in/command_line.h"
#include "stand_in/faults.h"
#include "stand_in/paths.h"
#include "stand_in/tether.h"
#include "stand_in/tokens.h"
#include "stand_in/variables.h"

#include <linux/close_range.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace {

constexpr DWORD knownFlags = CREATE_SUSPENDED | CREATE_NEW_CONSOLE | CREATE_UNICODE_ENVIRONMENT |
                             CREATE_BREAKAWAY_FROM_JOB | CREATE_NO_WINDOW;
constexpr std::size_t longestCommandLine = 32767;
constexpr std::string_view commandLineEntry = "ZQHOST_COMMAND_LINE=";

// The first thread of a child. It stays suspended for as long as its creator traces it, and is
// tethered meanwhile, as the host would let it run once its tracer is gone.
class InitialThread final : public stand_in::Object {
public:
    InitialThread(std::shared_ptr<stand_in::Process> process, stand_in::Tether tether)
        : m_process(std::move(process)), m_tether(std::move(tether)) {}
    DWORD wait(DWORD milliseconds) override { return m_process->wait(milliseconds); }
    DWORD resume();

private:
    const std::shared_ptr<stand_in::Process> m_process;
    const stand_in::Tether m_tether;
    std::atomic<bool> m_suspended{true};
};

// All that a child needs before its program, while it borrows this process's memory.
struct Plan {
    std::string program;
    std::vector<std::string> arguments;
    std::vector<std::string> environment;
    std::vector<char *> argumentPointers;
    std::vector<char *> environmentPointers;
    std::array<int, 3> standardStreams{STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
    std::array<std::shared_ptr<stand_in::Stream>, 3> inherited; // so that they stay open until then
    stand_in::Descriptor devNull;
    std::shared_ptr<stand_in::Token> token;
    bool newSession = false;

    bool switchesUser() const { return token && token->user().id != ::geteuid(); }
};

DWORD InitialThread::resume() {
    if (!m_suspended.exchange(false))
        return 0;
    if (::ptrace(PTRACE_DETACH, m_process->id(), nullptr, nullptr) != 0) {
        SetLastError(stand_in::lastErrorOf(errno));
        m_suspended = true;
        return static_cast<DWORD>(-1);
    }
    m_tether.untie();
    return 1;
}

bool isForChildren(const std::string &entry) {
    constexpr std::string_view own[] = {
        "ZQHOST_SERVICE_MANAGER=", "ZQHOST_FAIL=", "ZQHOST_CALL_LOG=", commandLineEntry};
    for (const std::string_view start : own)
        if (entry.compare(0, start.size(), start) == 0)
            return false;
    return true;
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

// A handle that can't be inherited leaves its stream empty.
void planStandardStreams(Plan &plan, const STARTUPINFOW &startup) {
    plan.devNull = stand_in::Descriptor(::open("/dev/null", O_RDWR | O_CLOEXEC));
    const HANDLE handles[] = {startup.hStdInput, startup.hStdOutput, startup.hStdError};
    for (std::size_t stream = 0; stream < std::size(handles); ++stream) {
        const auto object =
            std::dynamic_pointer_cast<stand_in::Stream>(stand_in::lookUp(handles[stream]));
        const bool usable =
            object && object->descriptor() >= 0 && stand_in::isInheritable(handles[stream]);
        plan.standardStreams[stream] = usable ? object->descriptor() : plan.devNull.get();
        plan.inherited[stream] = object;
    }
}

DWORD makePlan(Plan &plan, LPCWSTR commandLine, BOOL inheritHandles, LPVOID environment,
               const STARTUPINFOW &startup) {
    if (std::u16string_view(commandLine).size() >= longestCommandLine)
        return ERROR_FILENAME_EXCED_RANGE;
    std::string text = stand_in::toUtf8(commandLine);
    if (const DWORD error = stand_in::findProgram(text, plan.program))
        return error;
    plan.arguments = stand_in::splitCommandLine(text);
    plan.environment = childEnvironment(environment, text);
    plan.argumentPointers = pointersTo(plan.arguments);
    plan.environmentPointers = pointersTo(plan.environment);
    if ((startup.dwFlags & STARTF_USESTDHANDLES) != 0 && inheritHandles)
        planStandardStreams(plan, startup);
    return ERROR_SUCCESS;
}

bool takeStandardStreams(const Plan &plan) {
    // Copied out of the way first, as one may be the place of another.
    std::array<int, 3> copies{};
    for (std::size_t stream = 0; stream < copies.size(); ++stream) {
        copies[stream] = ::fcntl(plan.standardStreams[stream], F_DUPFD_CLOEXEC, 3);
        if (copies[stream] == -1)
            return false;
    }
    for (std::size_t stream = 0; stream < copies.size(); ++stream)
        if (::dup2(copies[stream], static_cast<int>(stream)) == -1)
            return false;
    return true;
}

// Straight to the host: the C library would take all threads of the creator along.
bool becomeUser(const stand_in::User &user) {
    return ::syscall(SYS_setgroups, user.groups.size(), user.groups.data()) == 0 &&
           ::syscall(SYS_setresgid, user.group, user.group, user.group) == 0 &&
           ::syscall(SYS_setresuid, user.id, user.id, user.id) == 0;
}

// In the child. Ends with the error number as exit status if the program can't be started.
[[noreturn]] void becomeProgram(const Plan &plan, const stand_in::Tether &tether) {
    if (tether.tie(::getpid()) && takeStandardStreams(plan) &&
        (!plan.switchesUser() || becomeUser(plan.token->user())) &&
        ::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC) == 0) {
        if (plan.newSession)
            ::setsid();
        std::signal(SIGPIPE, SIG_DFL);
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0)
            ::execve(plan.program.c_str(), plan.argumentPointers.data(),
                     plan.environmentPointers.data());
    }
    ::_exit(errno);
}

// The child borrows the memory of this process, whose thread stands still until the program takes
// over. No signal may come between but the one that tells of the program: a handler would run in
// the wrong process, and a traced child would stop for a tracer that stands still.
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

void killAndReap(pid_t child) {
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, __WALL);
}

// Waits until the child is at its program's first instruction, and lets signals through to it from
// there on. Gives 0, or the error number of what went wrong; the child is reaped then.
int awaitProgram(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, __WALL) == -1)
        if (errno != EINTR)
            return errno;
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    if (WIFSIGNALED(status))
        return ECANCELED;
    if (WSTOPSIG(status) != SIGTRAP) { // the host gave up amid loading the program
        killAndReap(child);
        return ENOEXEC;
    }
    std::uint64_t noSignals = 0;
    ::ptrace(PTRACE_SETSIGMASK, child, reinterpret_cast<void *>(sizeof noSignals), &noSignals);
    return 0;
}

DWORD startError(int hostError, const Plan &plan) {
    struct stat status;
    // A file without any right to be executed isn't a program here.
    if (hostError == EACCES && ::stat(plan.program.c_str(), &status) == 0 &&
        (status.st_mode & 0111) == 0 && ::access(plan.program.c_str(), R_OK) == 0)
        return ERROR_BAD_EXE_FORMAT;
    if (hostError == EPERM && plan.switchesUser())
        return ERROR_PRIVILEGE_NOT_HELD;
    return stand_in::lastErrorOf(hostError);
}

// Leaves the child traced by this thread, held at its program's first instruction.
DWORD startHeld(const Plan &plan, const stand_in::Tether &tether,
                std::shared_ptr<stand_in::Process> &process) {
    const pid_t child = tether ? startTraced(plan, tether) : -1;
    if (child == -1)
        return stand_in::lastErrorOf(errno);
    if (const int hostError = awaitProgram(child))
        return startError(hostError, plan);
    stand_in::Descriptor descriptor(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
    if (!descriptor) {
        const int hostError = errno;
        killAndReap(child);
        return stand_in::lastErrorOf(hostError);
    }
    process = std::make_shared<stand_in::Process>(child, std::move(descriptor));
    return ERROR_SUCCESS;
}

BOOL start(Plan plan, LPCWSTR application, LPWSTR commandLine, BOOL inheritHandles, DWORD flags,
           LPVOID environment, LPCWSTR currentDirectory, const STARTUPINFOW &startup,
           PROCESS_INFORMATION &information) {
    if (application || currentDirectory || !commandLine || (flags & ~knownFlags) != 0)
        return stand_in::outcome(ERROR_NOT_SUPPORTED);
    plan.newSession = (flags & CREATE_NEW_CONSOLE) != 0;
    DWORD error = makePlan(plan, commandLine, inheritHandles, environment, startup);
    stand_in::Tether tether;
    std::shared_ptr<stand_in::Process> process;
    if (error == ERROR_SUCCESS)
        error = startHeld(plan, tether, process);
    if (error != ERROR_SUCCESS)
        return stand_in::outcome(error);
    const auto thread = std::make_shared<InitialThread>(process, std::move(tether));
    if ((flags & CREATE_SUSPENDED) == 0)
        thread->resume();
    const auto id = static_cast<DWORD>(process->id());
    information = {stand_in::insert(process), stand_in::insert(thread), id, id};
    return TRUE;
}

} // namespace

DWORD stand_in::Process::wait(DWORD milliseconds) {
    return awaitEvents(m_descriptor.get(), POLLIN, milliseconds) != 0 ? WAIT_OBJECT_0
                                                                      : WAIT_TIMEOUT;
}

DWORD stand_in::Process::exitCode() {
    const std::lock_guard guard(m_lock);
    if (m_exitCode != STILL_ACTIVE)
        return m_exitCode;
    siginfo_t ended{};
    const auto pidfd = static_cast<id_t>(m_descriptor.get());
    if (::waitid(P_PIDFD, pidfd, &ended, WEXITED | WNOHANG) == 0 && ended.si_pid == m_id)
        m_exitCode = static_cast<DWORD>(ended.si_status + (ended.si_code == CLD_EXITED ? 0 : 128));
    return m_exitCode;
}

BOOL CreateProcessW(LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES,
                    LPSECURITY_ATTRIBUTES, BOOL inheritHandles, DWORD flags, LPVOID environment,
                    LPCWSTR currentDirectory, STARTUPINFOW *startup,
                    PROCESS_INFORMATION *information) {
    if (stand_in::fails("CreateProcessW"))
        return FALSE;
    return start({}, application, commandLine, inheritHandles, flags, environment, currentDirectory,
                 *startup, *information);
}

BOOL CreateProcessAsUserW(HANDLE token, LPCWSTR application, LPWSTR commandLine,
                          LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL inheritHandles,
                          DWORD flags, LPVOID environment, LPCWSTR currentDirectory,
                          STARTUPINFOW *startup, PROCESS_INFORMATION *information) {
    if (stand_in::fails("CreateProcessAsUserW"))
        return FALSE;
    Plan plan;
    plan.token = stand_in::find<stand_in::Token>(token);
    return plan.token && start(std::move(plan), application, commandLine, inheritHandles, flags,
                               environment, currentDirectory, *startup, *information);
}

DWORD ResumeThread(HANDLE thread) {
    if (stand_in::fails("ResumeThread"))
        return static_cast<DWORD>(-1);
    const auto found = stand_in::find<InitialThread>(thread);
    return found ? found->resume() : static_cast<DWORD>(-1);
}

BOOL GetExitCodeProcess(HANDLE process, LPDWORD exitCode) {
    if (stand_in::fails("GetExitCodeProcess"))
        return FALSE;
    const auto found = stand_in::find<stand_in::Process>(process);
    if (found)
        *exitCode = found->exitCode();
    return found != nullptr;
}

DWORD GetCurrentProcessId() {
    return static_cast<DWORD>(::getpid());
}

int _putenv_s(const char *name, const char *value) {
    if (stand_in::fails("_putenv_s"))
        return EINVAL;
    const std::lock_guard guard(stand_in::environmentLock());
    // An empty value takes the variable away.
    const int result = *value ? ::setenv(name, value, 1) : ::unsetenv(name);
    return result == 0 ? 0 : errno;
}
