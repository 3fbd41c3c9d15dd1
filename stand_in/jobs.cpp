#include "stand_in/faults.h"
#include "stand_in/paths.h"
#include "stand_in/processes.h"
#include "stand_in/tether.h"

#include <atomic>
#include <cerrno>
#include <vector>

namespace {

constexpr DWORD servedLimits =
    JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_SILENT_BREAKAWAY_OK;

class Job final : public stand_in::Object {
public:
    void killOnClose() { m_killsOnClose = true; }
    DWORD assign(const stand_in::Process &process);

private:
    std::atomic<bool> m_killsOnClose{false};
    std::mutex m_lock;
    std::vector<stand_in::Tether> m_members;
};

DWORD Job::assign(const stand_in::Process &process) {
    if (process.hasEnded())
        return ERROR_ACCESS_DENIED;
    if (!m_killsOnClose)
        return ERROR_SUCCESS;
    stand_in::Tether member;
    if (!member || !member.tie(process.id()))
        return stand_in::lastErrorOf(errno);
    const std::lock_guard guard(m_lock);
    m_members.push_back(std::move(member));
    return ERROR_SUCCESS;
}

} // namespace

HANDLE CreateJobObjectW(LPSECURITY_ATTRIBUTES, LPCWSTR name) {
    if (stand_in::fails("CreateJobObjectW"))
        return nullptr;
    if (name) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    return stand_in::insert(std::make_shared<Job>());
}

BOOL SetInformationJobObject(HANDLE job, JOBOBJECTINFOCLASS informationClass, LPVOID information,
                             DWORD size) {
    if (stand_in::fails("SetInformationJobObject"))
        return FALSE;
    const auto found = stand_in::find<Job>(job);
    if (!found)
        return FALSE;
    if (informationClass != JobObjectExtendedLimitInformation)
        return stand_in::outcome(ERROR_NOT_SUPPORTED);
    const auto *limits = static_cast<const JOBOBJECT_EXTENDED_LIMIT_INFORMATION *>(information);
    if (size != sizeof *limits || limits->BasicLimitInformation.LimitFlags != servedLimits)
        return stand_in::outcome(ERROR_INVALID_PARAMETER);
    found->killOnClose();
    return TRUE;
}

BOOL AssignProcessToJobObject(HANDLE job, HANDLE process) {
    if (stand_in::fails("AssignProcessToJobObject"))
        return FALSE;
    const auto foundJob = stand_in::find<Job>(job);
    const auto foundProcess = stand_in::find<stand_in::Process>(process);
    return foundJob && foundProcess && stand_in::outcome(foundJob->assign(*foundProcess));
}
