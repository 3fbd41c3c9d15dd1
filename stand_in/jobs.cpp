#include "stand_in/faults.h"
#include "stand_in/processes.h"
#include "stand_in/tether.h"

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace {

constexpr DWORD servedLimits =
    JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_SILENT_BREAKAWAY_OK;

// Kills its processes when it is closed, whether its limits have been set or not.
class Job final : public stand_in::Object {
public:
    DWORD assign(const stand_in::Process &process);

private:
    std::mutex m_lock;
    std::vector<stand_in::Tether> m_members;
};

DWORD Job::assign(const stand_in::Process &process) {
    stand_in::Tether member;
    if (process.hasEnded() || !member.tie(process.id()))
        return ERROR_ACCESS_DENIED;
    const std::lock_guard guard(m_lock);
    m_members.push_back(std::move(member));
    return ERROR_SUCCESS;
}

} // namespace

HANDLE CreateJobObjectW(LPSECURITY_ATTRIBUTES, LPCWSTR name) {
    if (stand_in::fails("CreateJobObjectW", name != nullptr))
        return nullptr;
    SetLastError(ERROR_SUCCESS); // as the system does; the launcher reports an older error
    return stand_in::insert(std::make_shared<Job>());
}

BOOL SetInformationJobObject(HANDLE job, JOBOBJECTINFOCLASS, LPVOID information, DWORD) {
    const auto *limits = static_cast<const JOBOBJECT_EXTENDED_LIMIT_INFORMATION *>(information);
    return !stand_in::fails("SetInformationJobObject",
                            limits->BasicLimitInformation.LimitFlags != servedLimits) &&
           stand_in::find<Job>(job);
}

BOOL AssignProcessToJobObject(HANDLE job, HANDLE process) {
    if (stand_in::fails("AssignProcessToJobObject"))
        return FALSE;
    const auto foundJob = stand_in::find<Job>(job);
    const auto foundProcess = stand_in::find<stand_in::Process>(process);
    return foundJob && foundProcess && stand_in::resultOf(foundJob->assign(*foundProcess));
}
