#pragma once

#include "support/host.h"
#include "support/installation_tree.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace testing_support {

struct LauncherStart {
    std::vector<std::string> arguments{};
    std::map<std::string, std::string> environment{}; // changes; an empty value removes
    std::string input{};
    std::filesystem::path workingDirectory{}; // empty: the test's
    std::filesystem::path program = launcherProgram();
};

// A launcher (or another program) at work. None of the launcher's own variables reach it but those
// of the start. A test that has failed shows the streams of its runs.
class LauncherRun {
public:
    LauncherRun(const TemporaryFolder &folder, const LauncherStart &start);
    ~LauncherRun(); // ends it if it still runs

    std::uint32_t pid() const { return process->pid(); }
    // What has been written so far: as it came, or with plain line ends.
    std::string rawOutput() const { return readFile(streams + ".out"); }
    std::string output() const;
    std::string errors() const;
    bool awaitOutput(const std::string &text) const;
    // Waits for the end and gives the exit code; past the limit the run fails the test and ends.
    std::uint32_t wait();
    void kill();

private:
    std::string streams, commandLine;
    std::unique_ptr<HostProcess> process;
};

} // namespace testing_support
