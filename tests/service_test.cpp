#include "support/call_log.h"
#include "support/service_manager.h"

using namespace testing_support;
using testing::HasSubstr;

namespace {

class Service : public LaunchTest {
protected:
    void SetUp() override { SKIP_WITHOUT(Feature::Services); }

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
    if (platform() ==
        Platform::StandIn) // Windows shows a service that ends without a report as stopped
        cases.push_back({{"-u", "abc"}, starting, 1});
    if (has(Feature::CallsNoted)) // it runs from its start-up tool on; the start of the tool fails
                                  // late
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
    LauncherStart launch = start({"-u", "0", "-t", "zqStage", "-a", "exit=7"}, calls.variables());
    launch.environment["ZQHOST_FAIL"] = "CreateProcessW:late";
    ServiceManager manager(folder, launch);
    EXPECT_EQ(manager.wait(), 7u);
    EXPECT_EQ(manager.reports(), starting + running + stopped(7));
    const std::string log = calls.text();
    const std::size_t runningReported =
        log.find("\nSetServiceStatus\n", log.find("\nCreateProcessAsUserW\n"));
    EXPECT_LT(runningReported, log.find("\\zqStage.exe  exit=7 is created")) << log;
}

// The failed launch is the first that the service sees. It then waits for the run without reporting
// it as running, and can't be stopped.
TEST_F(Service, WithAFailedStartUpToolIsPendingWhileItsToolRuns) {
    SKIP_WITHOUT(Feature::CallsNoted);
    const std::filesystem::path log = folder / "debug";
    const std::string orders = "await=" + (folder / "go").generic_string() + " exit=7";
    ServiceManager manager(
        folder, start({"-u", "0", "-t", "zqStage", "-a", reportTo("tool") + " " + orders},
                      {{"ZQHOST_FAIL", "CreateProcessAsUserW:5,DeleteFileW:late"},
                       {"ZQHOST_DEBUG_LOG", log.string()}}));
    readReport("tool");
    manager.control(SERVICE_CONTROL_STOP);
    EXPECT_TRUE(waitUntil([&] { return manager.hasTakenControls(); }));
    EXPECT_EQ(manager.reports(), starting);
    writeFile(folder / "go", "");
    EXPECT_EQ(manager.wait(), 7u);
    EXPECT_EQ(manager.reports(), starting + stopped(7));
    EXPECT_EQ(readFile(log), "Larkstone Launcher (Service Mode): ServiceMain: Exit\n");
}

// Each try for a user's token is followed by a pause of its own, so the others are the service's.
TEST_F(Service, PausesBetweenItsLooksAtTheLaunch) {
    SKIP_WITHOUT(Feature::CallsNoted);
    LauncherStart launch = start({"-u", "1", "-t", "zqStage", "-n"}, calls.variables());
    launch.environment["ZQHOST_CONSOLE_USER"] = (folder / "nobody").string();
    ServiceManager manager(folder, launch);
    EXPECT_TRUE(
        waitUntil([&] { return calls.count("Sleep 1") >= calls.count("WTSQueryUserToken") + 20; }));
    EXPECT_EQ(calls.count("Sleep 0"), 0);
}

// The manager may go while the service's threads are at work with what the process's entry holds:
// while they wait for a launch, both of them every millisecond, and while they report the end.
TEST_F(Service, ManagerThatGoesFindsItsThreadsUnharmed) {
    SKIP_WITHOUT(Feature::ManagerThatGoes);
    struct Case {
        std::vector<std::string> options;
        std::string fault, call;
        std::uint32_t exitCode;
    };
    for (const Case &each : {Case{{"-u", "1", "-t", "zqStage", "-n"}, "", "WTSQueryUserToken", 0},
                             Case{{"-t", "zqStage", "-a", "exit=7"},
                                  "SetServiceStatus:late:3",
                                  "PostThreadMessageW",
                                  7}}) {
        SCOPED_TRACE(each.call);
        const CallLog log(folder, each.call);
        LauncherStart launch = start(each.options, log.variables());
        launch.environment["ZQHOST_CONSOLE_USER"] = (folder / "nobody").string();
        launch.environment["ZQHOST_FAIL"] = each.fault;
        launch.environment["ASAN_OPTIONS"] = "detect_stack_use_after_return=1";
        ServiceManager manager(folder, launch);
        ASSERT_TRUE(waitUntil([&] { return log.count(each.call) > 0; }));
        manager.leave();
        EXPECT_EQ(manager.wait(), each.exitCode);
        EXPECT_EQ(manager.launcher()->errors(), "");
    }
}

} // namespace
