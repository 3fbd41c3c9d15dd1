#pragma once

#include "stand_in/windows_calls.h"

#include <atomic>
#include <string_view>

// Calls that are made to fail, for tests. Two variables are read once: ZQHOST_FAIL holds
// "Call:lastError[:nth]" entries, separated by commas; the call does nothing then and fails with
// that last error. ZQHOST_CALL_LOG names a file that gets the name of each call.

namespace stand_in {

inline std::atomic<bool> g_callsWatched{false};

bool watchedCallFails(std::string_view call);

// Asked first by every call: whether it is to fail. The last error is set then.
inline bool fails(std::string_view call) {
    return g_callsWatched.load(std::memory_order_relaxed) && watchedCallFails(call);
}

} // namespace stand_in
