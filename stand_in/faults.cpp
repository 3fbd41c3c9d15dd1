#include "stand_in/faults.h"

#include "stand_in/descriptor.h"

#include <chrono>
#include <cstdlib>
#include <mutex>
#include <new>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Fault {
    std::string call, effect;
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

void readFaults(const char *text) {
    std::istringstream entries(text);
    for (std::string entry; std::getline(entries, entry, ',');) {
        std::istringstream fields(entry);
        std::string call, effect, nth;
        std::getline(fields, call, ':');
        std::getline(fields, effect, ':');
        std::getline(fields, nth);
        watch().faults.push_back(
            {call, effect, nth.empty() ? 1 : std::strtoul(nth.c_str(), nullptr, 10)});
    }
}

[[maybe_unused]] const bool g_environmentRead = [] {
    if (const char *faults = std::getenv("ZQHOST_FAIL"))
        readFaults(faults);
    if (const char *log = std::getenv("ZQHOST_CALL_LOG"))
        watch().callLog = log;
    stand_in::g_callsWatched = !watch().faults.empty() || !watch().callLog.empty();
    return true;
}();

} // namespace

void stand_in::logCall(std::string_view text) {
    if (!watch().callLog.empty())
        appendLine(watch().callLog, text);
}

bool stand_in::watchedCallFails(std::string_view call) {
    logCall(call);
    Watch &watched = watch();
    std::unique_lock guard(watched.lock);
    for (Fault &fault : watched.faults) {
        if (fault.call != call || fault.callsLeft == 0)
            continue;
        --fault.callsLeft;
        if (fault.callsLeft != 0)
            continue;
        guard.unlock();
        if (fault.effect == "throw")
            throw std::bad_alloc();
        if (fault.effect == "late") {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            return false;
        }
        SetLastError(static_cast<DWORD>(std::strtoul(fault.effect.c_str(), nullptr, 10)));
        return true;
    }
    return false;
}
