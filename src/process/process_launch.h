#pragma once

#include <cstdint>
#include <memory>

namespace ProcessHandling {

struct ProcessInfo;

// Creates the process of a prepared record suspended, directly or in the console user's session,
// and starts its forwarding and its termination thread. Resumes it once its termination pipe was
// made or couldn't be, and puts it into its job. Returns the record's `result`: 0, 1 for a failed
// creation or job assignment, -1 if the user's environment could not be made. Failures are printed
// on the standard output.
std::int32_t launchProcess(std::shared_ptr<ProcessInfo> info, bool inUserSession,
                           bool useLinkedToken, bool useJob);

} // namespace ProcessHandling
