#include "stand_in/processes.h"

#include "stand_in/child_start.h"
#include "stand_in/faults.h"
#include "stand_in/paths.h"
#include "stand_in/tether.h"
#include "stand_in/tokens.h"

#include <sys/ptrace.h>
#include <sys/wait.h>

#include <string>

namespace {

constexpr DWORD knownFlags = CREATE_SUSPENDED | CREATE_NEW_CONSOLE | CREATE_UNICODE_ENVIRONMENT |
                             CREATE_BREAKAWAY_FROM_JOB | CREATE_NO_WINDOW;

// The first thread of a child. It stays suspended for as long as its creator traces it, and is
// tethered meanwhile: the host would let it run once its tracer is gone. PTRACE_O_EXITKILL comes
// too late, as it can't be set before the child has stopped.
class InitialThread final : public stand_in::Object {
public:
    InitialThread(std::shared_ptr<stand_in::Process> process, stand_in::Tether tether)
        : m_process(std::move(process)), m_tether(std::move(tether)) {}
    DWORD resume();

private:
    const std::shared_ptr<stand_in::Process> m_process;
    const stand_in::Tether m_tether;
};

DWORD InitialThread::resume() {
    const bool resumed = ::ptrace(PTRACE_DETACH, m_process->id(), nullptr, nullptr) == 0;
    m_tether.untie();
    return resumed ? 1 : static_cast<DWORD>(-1);
}

bool isUnserved(LPCWSTR application, LPCWSTR currentDirectory, DWORD flags,
                const STARTUPINFOW &startup) {
    return application || currentDirectory || (flags & ~knownFlags) != 0 ||
           startup.cb != sizeof startup;
}

BOOL start(LPWSTR commandLine, BOOL inheritHandles, DWORD flags, LPVOID environment,
           const STARTUPINFOW &startup, PROCESS_INFORMATION &information, bool byLinkedToken) {
    stand_in::note(stand_in::toNarrow(commandLine) + " is created with flags " +
                   std::to_string(flags) + ", " + std::to_string(startup.dwFlags) + " and " +
                   std::to_string(startup.wShowWindow) + (inheritHandles ? ", inheriting" : "") +
                   (startup.lpDesktop ? ", " + stand_in::toNarrow(startup.lpDesktop) : "") +
                   (byLinkedToken ? ", linked token" : ""));
    stand_in::Tether tether;
    std::shared_ptr<stand_in::Process> process;
    const DWORD error =
        stand_in::startHeld(commandLine, environment, startup, inheritHandles != FALSE,
                            (flags & CREATE_NEW_CONSOLE) != 0, tether, process);
    if (error != ERROR_SUCCESS)
        return stand_in::resultOf(error);
    const auto thread = std::make_shared<InitialThread>(process, std::move(tether));
    if ((flags & CREATE_SUSPENDED) == 0)
        thread->resume();
    information = {stand_in::insert(process), stand_in::insert(thread),
                   static_cast<DWORD>(process->id())};
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
    return !stand_in::fails("CreateProcessW",
                            isUnserved(application, currentDirectory, flags, *startup)) &&
           start(commandLine, inheritHandles, flags, environment, *startup, *information,
                 /*byLinkedToken=*/false);
}

BOOL CreateProcessAsUserW(HANDLE token, LPCWSTR application, LPWSTR commandLine,
                          LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL inheritHandles,
                          DWORD flags, LPVOID environment, LPCWSTR currentDirectory,
                          STARTUPINFOW *startup, PROCESS_INFORMATION *information) {
    if (stand_in::fails("CreateProcessAsUserW",
                        isUnserved(application, currentDirectory, flags, *startup)))
        return FALSE;
    const auto user = stand_in::find<stand_in::Token>(token);
    return user && start(commandLine, inheritHandles, flags, environment, *startup, *information,
                         user->isLinked);
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
