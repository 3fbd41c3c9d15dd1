#include "support/call_log.h"
#include "support/service_manager.h"

using namespace testing_support;

namespace {

class Service : public LaunchTest {
protected:
    void SetUp() override { SKIP_WITHOUT(Feature::Services); }

    // Nobody is at the console for a user 1.
    LauncherStart startWith(const std::vector<std::string> &options,
                            const std::string &fault) const {
        LauncherStart launch = start(options, calls.variables());
        launch.environment.insert(
            {{"ZQHOST_FAIL", fault}, {"ASAN_OPTIONS", "detect_stack_use_after_return=1"}});
        if (options[1] == "1")
            launch.environment["ZQHOST_CONSOLE_USER"] = (folder / "nobody").string();
        return launch;
    }

    CallLog calls{folder};
};

TEST_F(Service, ReportsFromTheStartToTheRunsEnd) {
    const std::filesystem::path text = tools / "7.2" / "zqText";
    for (const char *name : {"zqText.exe", "zqStage.exe"})
        writeFile(text / name, "no program\n");
    struct Case {
        std::vector<std::string> options;
        std::string reports;
        std::uint32_t exitCode;
    };
    std::vector<Case> cases{{{"-t", "zqStage", "-a", "exit=7"}, starting + running + stopped(7), 7},
                            {{"-c"}, starting + stopped(0), 0},
                            {{"-t", "zqNone"}, starting + stopped(1), 1},
                            {{"-t", "zqText"}, starting + stopped(1), 1}};
    if (platform() == Platform::StandIn) // Windows reports the end of such a process itself
        cases.push_back({{"-u", "abc"}, starting, 1});
    if (has(Feature::CallsNoted)) // it runs from its start-up tool on; the tool's start fails late
        cases.push_back({{"-u", "0", "-t", "zqStage", "-b", windowsPath(text)},
                         starting + running + stopped(1),
                         1});
    for (const Case &each : cases) {
        const std::filesystem::path log = folder / "debug";
        ServiceManager manager(
            folder, start(each.options, {{"ZQHOST_FAIL", "CreateProcessW:late,FormatMessageW:late"},
                                         {"ZQHOST_DEBUG_LOG", log.string()}}));
        EXPECT_EQ(manager.wait(), each.exitCode);
        EXPECT_EQ(manager.reports(), each.reports);
        const std::string end = each.reports.find(running) != each.reports.npos ? "Done" : "Exit";
        EXPECT_TRUE(!has(Feature::CallsNoted) || each.reports == starting ||
                    readFile(log).find("ServiceMain: " + end + "\n") != std::string::npos);
        std::filesystem::remove(log);
    }
}

TEST_F(Service, RunsFromItsStartUpToolOnThoughTheToolIsLate) {
    SKIP_WITHOUT(Feature::CallsNoted);
    ServiceManager manager(
        folder, startWith({"-u", "0", "-t", "zqStage", "-a", "exit=7"}, "CreateProcessW:late"));
    EXPECT_TRUE(manager.awaitReport(running));
    manager.control(SERVICE_CONTROL_INTERROGATE); // changes nothing
    EXPECT_EQ(manager.wait(), 7u);
    EXPECT_EQ(manager.reports(), starting + running + stopped(7));
    const std::string log = calls.text();
    EXPECT_LT(log.find("\nSetServiceStatus\n", log.find("\nCreateProcessAsUserW\n")),
              log.find("\\zqStage.exe  exit=7 is created"));
}

// The failed launch is the first that the service sees. It then waits for the run without reporting
// it as running, and can't be stopped.
TEST_F(Service, WithAFailedStartUpToolIsPendingWhileItsToolRuns) {
    SKIP_WITHOUT(Feature::CallsNoted);
    const std::string orders =
        reportTo("tool") + " await=" + (folder / "go").generic_string() + " exit=7";
    ServiceManager manager(folder, startWith({"-u", "0", "-t", "zqStage", "-a", orders},
                                             "CreateProcessAsUserW:5,DeleteFileW:late"));
    readReport("tool");
    manager.control(SERVICE_CONTROL_STOP);
    EXPECT_TRUE(waitUntil([&] { return manager.hasTakenControls(); }));
    writeFile(folder / "go", "");
    EXPECT_EQ(manager.wait(), 7u);
    EXPECT_EQ(manager.reports(), starting + stopped(7));
}

// Each try for a user's token is followed by a pause of its own, so the others are the service's.
// The manager then goes, and finds both threads at work with what the process's entry holds.
TEST_F(Service, PausesBetweenItsLooksAtTheLaunchAndEndsUnharmedWithItsManager) {
    SKIP_WITHOUT(Feature::CallsNoted);
    ServiceManager manager(folder, startWith({"-u", "1", "-t", "zqStage", "-n"}, ""));
    EXPECT_TRUE(waitUntil([&] {
        const std::ptrdiff_t pauses = calls.count("Sleep 1"); // counted first: the log grows
        return pauses >= calls.count("WTSQueryUserToken") + 20;
    }));
    EXPECT_EQ(calls.count("Sleep 0"), 0);
    manager.leave();
    EXPECT_EQ(manager.wait(), 0u);
    EXPECT_EQ(manager.launcher()->errors(), "");
}

// In the 0.3 s that the last report takes.
TEST_F(Service, ManagerThatGoesAsItEndsGetsTheToolsCode) {
    SKIP_WITHOUT(Feature::CallsNoted);
    ServiceManager manager(folder,
                           startWith({"-t", "zqStage", "-a", "exit=7"}, "SetServiceStatus:late:3"));
    ASSERT_TRUE(waitUntil([&] { return calls.count("SetServiceStatus") >= 3; }));
    manager.leave();
    EXPECT_EQ(manager.wait(), 7u);
    EXPECT_EQ(manager.launcher()->errors(), "");
}

} // namespace
