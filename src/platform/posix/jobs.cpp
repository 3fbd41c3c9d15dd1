#include "platform/posix/faults.h"
#include "platform/posix/paths.h"
#include "platform/posix/processes.h"

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>

// A job has a keeper: a process that holds the job's members and kills them once the other end of
// its socket is gone, however the launcher came to its end.

namespace {

constexpr DWORD servedLimits =
    JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_SILENT_BREAKAWAY_OK;
constexpr std::size_t mostMembers = 16;

// One message's room for a descriptor.
union Control {
    cmsghdr header;
    char bytes[CMSG_SPACE(sizeof(int))];
};

msghdr messageOf(iovec &data, Control &control) {
    msghdr message{};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = &control;
    message.msg_controllen = sizeof control;
    return message;
}

bool sendDescriptor(int socket, int descriptor) {
    char byte = 0;
    iovec data{&byte, 1};
    Control control{};
    const msghdr message = messageOf(data, control);
    control.header.cmsg_len = CMSG_LEN(sizeof descriptor);
    control.header.cmsg_level = SOL_SOCKET;
    control.header.cmsg_type = SCM_RIGHTS;
    std::memcpy(CMSG_DATA(&control.header), &descriptor, sizeof descriptor);
    return ::sendmsg(socket, &message, MSG_NOSIGNAL) == 1;
}

// -1 at the end of the socket.
int receiveDescriptor(int socket) {
    char byte;
    iovec data{&byte, 1};
    Control control{};
    msghdr message = messageOf(data, control);
    int descriptor = -1;
    if (::recvmsg(socket, &message, 0) == 1 && CMSG_FIRSTHDR(&message))
        std::memcpy(&descriptor, CMSG_DATA(&control.header), sizeof descriptor);
    return descriptor;
}

// In the keeper, which is forked out of a process with threads: plain calls of the host only.
[[noreturn]] void keep(int socket) {
    ::setsid();
    ::prctl(PR_SET_NAME, "zqhost-job");
    [[maybe_unused]] const int atRoot = ::chdir("/");
    // Nothing else stays open, above all not the launcher's output.
    ::dup2(socket, STDIN_FILENO);
    ::close_range(STDIN_FILENO + 1, ~0U, 0);

    int members[mostMembers];
    std::size_t count = 0;
    for (int member; (member = receiveDescriptor(STDIN_FILENO)) >= 0;) {
        const char taken = count < mostMembers ? 1 : 0;
        if (taken)
            members[count++] = member;
        ::send(STDIN_FILENO, &taken, 1, MSG_NOSIGNAL);
    }
    for (std::size_t member = 0; member < count; ++member)
        ::syscall(SYS_pidfd_send_signal, members[member], SIGKILL, nullptr, 0);
    ::_exit(0);
}

class Job final : public host::Object {
public:
    Job(pid_t keeper, host::Descriptor socket) : m_keeper(keeper), m_socket(std::move(socket)) {}
    ~Job() override;

    void killOnClose() { m_killsOnClose = true; }
    DWORD assign(const host::Process &process);

private:
    const pid_t m_keeper;
    host::Descriptor m_socket;
    std::mutex m_lock;
    std::atomic<bool> m_killsOnClose{false};
};

Job::~Job() {
    m_socket.reset();
    while (::waitpid(m_keeper, nullptr, 0) == -1 && errno == EINTR)
        ;
}

DWORD Job::assign(const host::Process &process) {
    if (process.hasEnded())
        return ERROR_ACCESS_DENIED;
    if (!m_killsOnClose)
        return ERROR_SUCCESS;
    const std::lock_guard guard(m_lock);
    char taken = 0;
    if (!sendDescriptor(m_socket.get(), process.descriptor()))
        return host::lastErrorOf(errno);
    while (::recv(m_socket.get(), &taken, 1, 0) == -1 && errno == EINTR)
        ;
    return taken ? ERROR_SUCCESS : ERROR_NOT_ENOUGH_MEMORY;
}

// Signals stay blocked in the keeper: it ends by its socket alone.
pid_t forkKeeper(int socket) {
    sigset_t all, before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t keeper = ::fork();
    if (keeper == 0)
        keep(socket);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return keeper;
}

} // namespace

HANDLE CreateJobObjectW(LPSECURITY_ATTRIBUTES, LPCWSTR name) {
    if (host::fails("CreateJobObjectW"))
        return nullptr;
    int ends[2];
    if (name || ::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        SetLastError(name ? ERROR_NOT_SUPPORTED : host::lastErrorOf(errno));
        return nullptr;
    }
    host::Descriptor own(ends[0]);
    const host::Descriptor other(ends[1]);
    const pid_t keeper = forkKeeper(other.get());
    if (keeper == -1) {
        SetLastError(host::lastErrorOf(errno));
        return nullptr;
    }
    return host::insert(std::make_shared<Job>(keeper, std::move(own)));
}

BOOL SetInformationJobObject(HANDLE job, JOBOBJECTINFOCLASS informationClass, LPVOID information,
                             DWORD size) {
    if (host::fails("SetInformationJobObject"))
        return FALSE;
    const auto found = host::find<Job>(job);
    if (!found)
        return FALSE;
    if (informationClass != JobObjectExtendedLimitInformation)
        return host::outcome(ERROR_NOT_SUPPORTED);
    const auto *limits = static_cast<const JOBOBJECT_EXTENDED_LIMIT_INFORMATION *>(information);
    if (size != sizeof *limits || limits->BasicLimitInformation.LimitFlags != servedLimits)
        return host::outcome(ERROR_INVALID_PARAMETER);
    found->killOnClose();
    return TRUE;
}

BOOL AssignProcessToJobObject(HANDLE job, HANDLE process) {
    if (host::fails("AssignProcessToJobObject"))
        return FALSE;
    const auto foundJob = host::find<Job>(job);
    const auto foundProcess = host::find<host::Process>(process);
    return foundJob && foundProcess && host::outcome(foundJob->assign(*foundProcess));
}
