#pragma once

#include "stand_in/windows_calls.h"

#include <atomic>
#include <string>
#include <string_view>

// Calls that are made to fail, for tests. Two variables are read once: ZQHOST_FAIL holds
// "Call:effect[:nth]" entries, separated by commas. The effect is the last error of a call that
// does nothing and fails, "late" for one that does its work 0.3 s later, or "kill" for one that the
// process doesn't survive. ZQHOST_CALL_LOG names a file that gets the name of each call.

namespace stand_in {

inline std::atomic<bool> g_callsWatched{false};

bool watchedCallFails(std::string_view call);

// Asked by every call that can fail, before it does anything: whether it is to fail, be it that its
// arguments ask for something that isn't served here. The last error is set then.
inline bool fails(std::string_view call, bool notServed = false) {
    if (notServed)
        SetLastError(ERROR_NOT_SUPPORTED);
    return notServed || (g_callsWatched.load(std::memory_order_relaxed) && watchedCallFails(call));
}

// Has a text logged among the calls. It is the name of none, so it can't be made to fail.
inline void note(const std::string &text) {
    static_cast<void>(fails(text));
}

} // namespace stand_in
