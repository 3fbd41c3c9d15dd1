#pragma once

#include <atomic>
#include <cstdint>
#include <string>

// A run of the launcher as a service: the same run as on a console, with the service's reports and
// its stop around it. Failures are reported on the debug channel only.

// What the threads of the service share. It must outlive all of them.
struct ServiceContext {
    std::int32_t argc = 0;
    const char *const *argv = nullptr;
    std::string name;
    std::string version;
    std::atomic<bool> done = false; // set once, after exitCode
    std::atomic<std::uint32_t> exitCode = 0;
};

// Offers the process to the service control manager, and returns when the service has stopped; its
// threads may still be running then. Returns false, without a message, if the manager didn't start
// this process.
bool runAsService(ServiceContext &context);
