#pragma once

#include "support/files.h"
#include "support/host.h"
#include "support/platform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <sstream>
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

// The calls that a launcher has made so far, in their order. Empty on Windows, as only the stand-in
// logs them.
class CallLog {
public:
    CallLog(const TemporaryFolder &folder, const std::string &name = "calls")
        : path(folder / name) {}

    std::map<std::string, std::string> variables() const {
        return {{"ZQHOST_CALL_LOG", path.string()}};
    }
    std::string text() const { return "\n" + readFile(path); }
    // How often a call was made before another one, or so far.
    std::ptrdiff_t count(const std::string &call, const std::string &before = {}) const {
        std::istringstream lines(readFile(path));
        std::ptrdiff_t found = 0;
        for (std::string line; std::getline(lines, line) && line != before;)
            found += line == call ? 1 : 0;
        return found;
    }

private:
    std::filesystem::path path;
};

// When something came, as a test sees it: after the last look that missed it, before the first that
// found it. A busy machine makes the test look late, and that must not shift a bound.
struct Moment {
    using Time = std::chrono::steady_clock::time_point;
    Time before, after;

    // The bounds of the time to a later moment. A promised minimum is compared with the upper one,
    // a promised maximum with the lower one.
    auto mostUntil(const Moment &later) const {
        return std::chrono::ceil<std::chrono::milliseconds>(later.after - before);
    }
    auto leastUntil(const Moment &later) const {
        return std::chrono::floor<std::chrono::milliseconds>(later.before - after);
    }
};

// It can't have come earlier than the first argument says.
template <typename Predicate> Moment awaitMoment(Moment::Time earliest, Predicate predicate) {
    Moment moment{earliest, earliest};
    EXPECT_TRUE(waitUntil([&] {
        const auto look = std::chrono::steady_clock::now();
        const bool found = predicate();
        moment.after = std::chrono::steady_clock::now();
        if (!found)
            moment.before = look;
        return found;
    }));
    return moment;
}

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
