#include "platform/posix/faults.h"

#include "platform/posix/descriptor.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Fault {
    std::string call;
    DWORD lastError;
    unsigned long callsLeft;
};

struct Watch {
    std::mutex lock;
    std::vector<Fault> faults;
    std::string callLog;
};

// Never destroyed: threads still make calls while the process ends.
Watch &watch() {
    static Watch &instance = *new Watch;
    return instance;
}

void addFault(Fault fault) {
    const std::lock_guard guard(watch().lock);
    watch().faults.push_back(std::move(fault));
    host::g_callsWatched = true;
}

void readFaults(const char *text) {
    std::istringstream entries(text);
    for (std::string entry; std::getline(entries, entry, ',');) {
        std::istringstream fields(entry);
        std::string call, lastError, nth;
        std::getline(fields, call, ':');
        std::getline(fields, lastError, ':');
        std::getline(fields, nth);
        const auto code = static_cast<DWORD>(std::strtoul(lastError.c_str(), nullptr, 10));
        addFault({call, code, nth.empty() ? 1 : std::strtoul(nth.c_str(), nullptr, 10)});
    }
}

[[maybe_unused]] const bool g_environmentRead = [] {
    if (const char *faults = std::getenv("ZQHOST_FAIL"))
        readFaults(faults);
    if (const char *log = std::getenv("ZQHOST_CALL_LOG")) {
        watch().callLog = log;
        host::g_callsWatched = true;
    }
    return true;
}();

} // namespace

void failNext(std::string_view call, DWORD lastError) {
    addFault({std::string(call), lastError, 1});
}

bool host::watchedCallFails(std::string_view call) {
    Watch &watched = watch();
    const std::lock_guard guard(watched.lock);
    if (!watched.callLog.empty())
        appendLine(watched.callLog, call);

    const auto due = std::find_if(watched.faults.begin(), watched.faults.end(), [&](Fault &fault) {
        return fault.call == call && --fault.callsLeft == 0;
    });
    if (due == watched.faults.end())
        return false;
    SetLastError(due->lastError);
    watched.faults.erase(due);
    g_callsWatched = !watched.faults.empty() || !watched.callLog.empty();
    return true;
}
