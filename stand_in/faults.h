#pragma once

#include "stand_in/windows_calls.h"

#include <atomic>
#include <string_view>

// Calls that are made to fail, for tests. Two variables are read once: ZQHOST_FAIL holds
// "Call:effect[:nth]" entries, separated by commas. The effect is the last error of a call that
// does nothing and fails, "late" for one that does its work 0.3 s later, or "throw" for one that
// throws. ZQHOST_CALL_LOG names a file that gets the name of each call.

namespace stand_in {

inline std::atomic<bool> g_callsWatched{false};

void logCall(std::string_view text);
bool watchedCallFails(std::string_view call);

// Asked by every call that can fail, before it does anything. True if the call is to fail: a test
// wants it to, or its arguments ask for what isn't served here. The last error is set then.
inline bool fails(std::string_view call, bool notServed = false) {
    if (notServed)
        SetLastError(ERROR_NOT_SUPPORTED);
    return notServed || (g_callsWatched.load(std::memory_order_relaxed) && watchedCallFails(call));
}

// Logs a text among the calls.
inline void note(std::string_view text) {
    if (g_callsWatched.load(std::memory_order_relaxed))
        logCall(text);
}

} // namespace stand_in
