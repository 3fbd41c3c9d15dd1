#pragma once

#include <atomic>
#include <cstdint>
#include <string>

// The launcher under the service control manager. A run of the launcher is the same there as on a
// console; what stands here lies around it. Reports go to the debug channel only.

// The record through which the service's threads meet. It must outlive all of them.
struct ServiceContext {
    std::int32_t argc = 0;
    const char *const *argv = nullptr;
    std::string name;
    std::string version;
    std::atomic<bool> done = false; // set once, after exitCode
    std::atomic<std::uint32_t> exitCode = 0;
};

// Offers the process to the service control manager, and returns when the service has stopped.
// False, without a message, if the manager didn't take it: the process was started by hand.
bool runAsService(ServiceContext &context);
