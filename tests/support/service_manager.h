#pragma once

#include "platform/windows_api.h"
#include "support/launcher_run.h"

namespace testing_support {

// The launcher as a service, seen from its manager. On Windows that is the system's, from which the
// launcher gets its environment. It leaves neither a process nor a service behind.
class ServiceManager {
public:
    ServiceManager(const TemporaryFolder &folder, const LauncherStart &start);
    ~ServiceManager();
    ServiceManager(const ServiceManager &) = delete;
    ServiceManager &operator=(const ServiceManager &) = delete;

    // The reports so far. The system's manager tells only the latest, so there they are those found
    // at the calls of this class.
    const std::vector<SERVICE_STATUS> &reports();
    bool awaitState(DWORD state) {
        return waitUntil(
            [&] { return !reports().empty() && reports().back().dwCurrentState == state; });
    }
    void control(DWORD code);
    void leave(); // it goes away, and hears no more
    // Waits for the end of the launcher's process and gives its exit code.
    std::uint32_t wait();
    LauncherRun *launcher(); // null on Windows, where the system starts it

private:
    struct Host;
    std::unique_ptr<Host> host;
};

} // namespace testing_support
