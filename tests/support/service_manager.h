#pragma once

#include "platform/windows_api.h"
#include "support/launcher_run.h"

#include <array>
#include <bit>

namespace testing_support {

// A report of the service, as a line of the seven numbers of its SERVICE_STATUS: the type, the
// state, the controls accepted, two exit codes, the check point and the wait hint.
inline std::string lineOf(const SERVICE_STATUS &status) {
    std::string line;
    for (const DWORD number : std::bit_cast<std::array<DWORD, 7>>(status))
        line += std::to_string(number) + " ";
    return line.replace(line.size() - 1, 1, "\n");
}

inline const std::string starting = "16 2 0 0 0 0 0\n", running = "16 4 1 0 0 0 0\n",
                         stopping = "16 3 0 0 0 4 0\n";
inline std::string stopped(std::uint32_t exitCode) {
    return "16 1 0 " + std::to_string(exitCode) + " 0 3 0\n";
}

// The launcher as a service, seen from its manager. On Windows that is the system's, from which the
// launcher gets its environment. It leaves no service behind.
class ServiceManager {
public:
    ServiceManager(const TemporaryFolder &folder, const LauncherStart &start);
    ~ServiceManager();

    // The reports so far. The system's manager has only the latest, so there they are those found
    // at the calls of this class.
    std::string reports();
    bool awaitReport(const std::string &line) {
        return waitUntil([&] { return reports().ends_with(line); });
    }
    void control(DWORD code); // returns when the service has received it
    void leave();             // it goes away, and receives no more
    // Waits for the end of the launcher's process and returns its exit code, on Windows as the last
    // report has it.
    std::uint32_t wait();
    LauncherRun *launcher(); // null on Windows, where the system starts it

private:
    struct Host;
    std::unique_ptr<Host> host;
};

} // namespace testing_support
