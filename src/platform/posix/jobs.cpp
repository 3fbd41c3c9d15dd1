#include "platform/posix/faults.h"
#include "platform/posix/paths.h"
#include "platform/posix/processes.h"
#include "platform/posix/tether.h"

#include <atomic>
#include <cerrno>
#include <vector>

namespace {

constexpr DWORD servedLimits =
    JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_SILENT_BREAKAWAY_OK;

class Job final : public host::Object {
public:
    void killOnClose() { m_killsOnClose = true; }
    DWORD assign(const host::Process &process);

private:
    std::atomic<bool> m_killsOnClose{false};
    std::mutex m_lock;
    std::vector<host::Tether> m_members;
};

DWORD Job::assign(const host::Process &process) {
    if (process.hasEnded())
        return ERROR_ACCESS_DENIED;
    if (!m_killsOnClose)
        return ERROR_SUCCESS;
    host::Tether member;
    if (!member || !member.tie(process.id()))
        return host::lastErrorOf(errno);
    const std::lock_guard guard(m_lock);
    m_members.push_back(std::move(member));
    return ERROR_SUCCESS;
}

} // namespace

HANDLE CreateJobObjectW(LPSECURITY_ATTRIBUTES, LPCWSTR name) {
    if (host::fails("CreateJobObjectW"))
        return nullptr;
    if (name) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    return host::insert(std::make_shared<Job>());
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
