#pragma once

#include "support/files.h"
#include "support/host.h"
#include "support/platform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace testing_support {

// What the tests run is in the folder of their own program, wherever that is.
inline const std::filesystem::path launcherProgram = ownFolder() / "zqLauncher.exe",
                                   probeProgram = ownFolder() / "probe.exe";

struct LauncherStart {
    std::vector<std::string> arguments{};
    std::map<std::string, std::string> environment{}; // changes; an empty value removes
    std::string input{};
    std::filesystem::path workingDirectory{}; // empty: the test's
    std::filesystem::path program = launcherProgram;
};

// A launcher (or another program) at work. None of the launcher's own variables reach it but those
// of the start. A test that has failed shows the streams of its runs; one in which a sanitizer has
// printed anything fails.
class LauncherRun {
public:
    LauncherRun(const TemporaryFolder &folder, const LauncherStart &start);
    ~LauncherRun(); // ends it if it still runs

    bool hasEnded() const { return process->wait(std::chrono::milliseconds(0)).has_value(); }
    // What has been written so far: as it came, or with plain line ends.
    std::string rawOutput() const { return readFile(streams + ".out"); }
    std::string output() const { return plainText(".out"); }
    std::string errors() const { return plainText(".err"); }
    bool awaitOutput(const std::string &text) const;
    // Waits for the end and returns the exit code; past the limit the run fails the test and ends.
    std::uint32_t wait();
    void kill();

private:
    std::string plainText(const std::string &stream) const;

    std::string streams, commandLine;
    std::unique_ptr<HostProcess> process;
};

// What a probe found when it was started: its environment, and in small letters its line (the
// command line), directory, arguments (in brackets each) and the number of its pipes.
using Report = std::map<std::string, std::string>;

// An installation with two tools versions, each with the tool zqStage, of which 7.2 is current, and
// one framework, 5.15.2.
class LaunchTest : public testing::Test {
protected:
    LaunchTest();

    // Makes the probe, or another program, a tool. Returns its path.
    std::filesystem::path addTool(const std::string &version, const std::string &tool,
                                  const std::filesystem::path &program = probeProgram) const;

    // A start of the launcher on the tree.
    LauncherStart start(const std::vector<std::string> &options,
                        const std::map<std::string, std::string> &environment = {}) const;

    // What the probe is told so that it reports to readReport, which waits for the report.
    std::string reportTo(const std::string &file) const {
        return "report=" + (folder / file).generic_string();
    }
    Report readReport(const std::string &file) const;

    // Whether a program of the installation runs.
    bool isAnyRunning() const;

    TemporaryFolder folder;
    std::filesystem::path tree = folder / "tree", tools = tree / "tools";
    std::filesystem::path framework = tree / "frameworks" / "5.15.2";
    std::string root = windowsPath(tree);
};

} // namespace testing_support
