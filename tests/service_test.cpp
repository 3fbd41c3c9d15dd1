#include "support/launch_fixture.h"
#include "support/service_manager.h"

#include <array>
#include <bit>

using namespace testing_support;
using namespace std::chrono_literals;
using testing::ElementsAreArray;

namespace {

// A SERVICE_STATUS that can be compared and printed.
using Report = std::array<DWORD, 7>;

Report report(DWORD state, DWORD accepted, DWORD exitCode, DWORD checkPoint) {
    return {SERVICE_WIN32_OWN_PROCESS, state, accepted, exitCode, 0, checkPoint, 0};
}
const Report starting = report(SERVICE_START_PENDING, 0, 0, 0);
const Report running = report(SERVICE_RUNNING, SERVICE_ACCEPT_STOP, 0, 0);
const Report stopping = report(SERVICE_STOP_PENDING, 0, 0, 4);
Report stopped(DWORD exitCode) {
    return report(SERVICE_STOPPED, 0, exitCode, 3);
}

class Service : public LaunchTest {
protected:
    static std::vector<Report> reportsOf(ServiceManager &manager) {
        std::vector<Report> reports;
        for (const SERVICE_STATUS &status : manager.reports())
            reports.push_back(std::bit_cast<Report>(status));
        return reports;
    }
    std::string debugLog() const { return readFile(folder / "debug"); }

    const std::string prefix = "Larkstone Launcher (Service Mode): ServiceMain: ";
    std::string toolRuns = reportTo("tool") + " sleep=60000";
    std::map<std::string, std::string> debug{{"ZQHOST_DEBUG_LOG", (folder / "debug").string()}};
};

TEST_F(Service, ReportsFromTheStartToTheRunsEnd) {
    writeFile(tree.root() / "tools" / "7.2" / "zqText" / "zqText.exe", "no program\n");
    struct Case {
        std::vector<std::string> options;
        std::vector<Report> reports;
        std::uint32_t exitCode;
    };
    std::vector<Case> cases{
        {{"-t", "zqStage", "-a", "sleep=300 exit=7"}, {starting, running, stopped(7)}, 7},
        {{"-l", "all"}, {starting, stopped(0)}, 0},
        {{"-c"}, {starting, stopped(0)}, 0},
        {{"-t", "zqNone"}, {starting, stopped(1)}, 1},
        {{"-t", "zqText"}, {starting, stopped(1)}, 1}};
    if (!onWindows) // Wine's manager doesn't notice that the process goes, and waits for it
        cases.push_back({{"-u", "abc"}, {starting}, 1});
    for (const Case &each : cases) {
        ServiceManager manager(folder, start(each.options));
        EXPECT_EQ(manager.wait(), each.exitCode);
        EXPECT_THAT(reportsOf(manager), ElementsAreArray(each.reports));
    }
}

TEST_F(Service, StopAsksTheToolAndTakesBoundedTime) {
    struct Case {
        std::string tool;
        DWORD exitCode;
        std::chrono::milliseconds shortest, longest;
    };
    for (const Case &each : {Case{"word=" + (folder / "word").generic_string() + " exit=9", 9, 0ms,
                                  onWindows ? 7000ms : 6500ms},
                             Case{"ignoreword sleep=60000", 0, 4900ms, 9000ms}}) {
        const std::string name = "tool" + std::to_string(each.exitCode);
        ServiceManager manager(folder,
                               start({"-t", "zqStage", "-a", reportTo(name) + " " + each.tool}));
        ASSERT_TRUE(manager.awaitState(SERVICE_RUNNING));
        const std::uint32_t tool = readReport(name).pid;
        std::this_thread::sleep_for(1500ms); // past the launch's first look at its queue
        manager.control(SERVICE_CONTROL_INTERROGATE);
        EXPECT_THAT(reportsOf(manager), ElementsAreArray({starting, running}));

        const auto begin = std::chrono::steady_clock::now();
        manager.control(SERVICE_CONTROL_STOP);
        manager.control(SERVICE_CONTROL_STOP);
        EXPECT_EQ(manager.wait(), each.exitCode);
        const auto took = std::chrono::steady_clock::now() - begin;
        EXPECT_GE(took, each.shortest);
        EXPECT_LE(took, each.longest);
        EXPECT_THAT(reportsOf(manager),
                    ElementsAreArray({starting, running, stopping, stopped(each.exitCode)}));
        EXPECT_TRUE(waitUntil([&] { return !isRunning(tool); }, 1s));
    }
    EXPECT_EQ(readFile(folder / "word"), std::string("zqEnd!\0", 7));
}

// What follows needs an environment of the service's own, or faults.
class ServiceOnLinux : public Service {
protected:
    void SetUp() override {
        if (onWindows)
            GTEST_SKIP() << "the service's environment is the manager's, and nothing fails at will";
    }
};

TEST_F(ServiceOnLinux, StopDuringTheStartChangesNothing) {
    LauncherStart launch = start({"-u", "1", "-t", "zqStage", "-n", "-a", "sleep=300 exit=7"});
    launch.environment["ZQHOST_CONSOLE_USER"] = (folder / "user").string();
    ServiceManager manager(folder, launch);
    ASSERT_TRUE(manager.launcher()->awaitOutput("WTSQueryUserToken01008\n"));
    manager.control(SERVICE_CONTROL_STOP);
    std::this_thread::sleep_for(300ms);
    EXPECT_THAT(reportsOf(manager), ElementsAreArray({starting}));
    runShell("id -un >'" + (folder / "name").string() + "' && mv '" + (folder / "name").string() +
             "' '" + (folder / "user").string() + "'");
    EXPECT_EQ(manager.wait(), 7u);
    EXPECT_THAT(reportsOf(manager), ElementsAreArray({starting, running, stopped(7)}));
}

TEST_F(ServiceOnLinux, ToolRunsOnAfterAFailedStartupTool) {
    LauncherStart launch = start({"-u", "5", "-t", "zqStage", "-a", "sleep=300 exit=7"});
    launch.environment = debug;
    launch.environment["ZQHOST_DRIVE_C"] = (folder / "empty").string(); // no command interpreter
    ServiceManager manager(folder, launch);
    EXPECT_EQ(manager.wait(), 7u);
    // The launch is looked at once a millisecond, so the tool's may have hidden the failed one.
    if (debugLog().find(prefix + "Exit\n") != std::string::npos)
        EXPECT_THAT(reportsOf(manager), ElementsAreArray({starting, stopped(7)}));
    else
        EXPECT_THAT(reportsOf(manager), ElementsAreArray({starting, running, stopped(7)}));
}

TEST_F(ServiceOnLinux, FailedCallIsToldOnTheDebugChannel) {
    const std::string statusError = "SetServiceStatus returned error\n";
    struct Case {
        std::string fault, debugLog;
        std::vector<Report> reports;
        std::uint32_t exitCode;
    };
    for (const Case &each :
         {Case{"RegisterServiceCtrlHandlerW:5",
               prefix + "RegisterServiceCtrlHandler returned error\n" + prefix + "Exit\n",
               {},
               0},
          Case{"SetServiceStatus:5",
               prefix + statusError + prefix + "Done\n",
               {running, stopped(7)},
               7},
          Case{"SetServiceStatus:5:3",
               prefix + statusError + prefix + "Done\n",
               {starting, running},
               7},
          Case{"CreateThread:8", prefix + "Exit\n", {starting, stopped(1)}, 1},
          Case{"CreateThread:8:2", prefix + "Done\n", {starting, running, stopped(7)}, 7},
          Case{"CreateEventW:8",
               prefix + "CreateEvent(g_ServiceStopEvent) returned error\n" + prefix + "Exit\n",
               {starting, report(SERVICE_STOPPED, 0, 0, 1)},
               0}}) {
        SCOPED_TRACE(each.fault);
        std::filesystem::remove(folder / "debug");
        LauncherStart launch = start({"-t", "zqStage", "-a", "sleep=300 exit=7"});
        launch.environment = debug;
        launch.environment["ZQHOST_FAIL"] = each.fault;
        ServiceManager manager(folder, launch);
        EXPECT_TRUE(waitUntil([&] { return debugLog() == each.debugLog; })) << debugLog();
        // Of the log and the reports, either may be complete first.
        waitUntil([&] { return reportsOf(manager).size() >= each.reports.size(); });
        EXPECT_THAT(reportsOf(manager), ElementsAreArray(each.reports));
        manager.leave(); // for a launcher whose last report was lost
        EXPECT_EQ(manager.wait(), each.exitCode);
    }
}

TEST_F(ServiceOnLinux, ManagerThatGoesTakesLauncherAndToolAlong) {
    ServiceManager manager(folder, start({"-t", "zqStage", "-a", toolRuns}));
    const std::uint32_t tool = readReport("tool").pid;
    ASSERT_TRUE(manager.awaitState(SERVICE_RUNNING));
    std::this_thread::sleep_for(300ms); // it's in its job by then
    manager.leave();
    EXPECT_EQ(manager.wait(), 0u);
    EXPECT_TRUE(waitUntil([&] { return !isRunning(tool); }, 1s));
}

// The service notices the end of its run up to 1.5 s later. A manager that goes right then finds
// its threads at work with what the process's entry holds.
TEST_F(ServiceOnLinux, ManagerThatGoesAsTheServiceEndsFindsItsThreadsUnharmed) {
    LauncherStart launch = start({"-t", "zqStage", "-a", "sleep=300 exit=7"});
    launch.environment["ASAN_OPTIONS"] = "detect_stack_use_after_return=1";
    for (const auto moment : {1490ms, 1494ms, 1496ms, 1498ms, 1500ms, 1502ms}) {
        ServiceManager manager(folder, launch);
        ASSERT_TRUE(manager.awaitState(SERVICE_RUNNING));
        std::this_thread::sleep_for(moment);
        manager.leave();
        EXPECT_EQ(manager.wait(), 7u);
        EXPECT_EQ(manager.launcher()->errors(), "");
    }
}

} // namespace
