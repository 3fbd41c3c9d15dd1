#include "support/service_manager.h"

using namespace testing_support;

class Service : public LaunchTest {
protected:
    // The service's threads use what the process's entry and its main routine hold.
    Service() { variables["ASAN_OPTIONS"] = "detect_stack_use_after_return=1"; }
    void SetUp() override { SKIP_WITHOUT(Feature::Services); }

    CallLog calls{folder};
    std::map<std::string, std::string> variables = calls.variables();
};

TEST_F(Service, ReportsFromTheStartToTheRunsEnd) {
    const std::filesystem::path spare = folder / "spare", log = folder / "debug";
    writeFile(spare / "zqStage.exe", "no program\n");
    const std::uint32_t code = has(Feature::WholeExitCodes) ? 70000 : 7;
    const std::string ends = "exit=" + std::to_string(code);
    variables["ZQHOST_FAIL"] = "CreateProcessW:late,FormatMessageW:late";
    variables["ZQHOST_DEBUG_LOG"] = log.string();
    struct Case {
        std::vector<std::string> options;
        std::uint32_t exitCode;
        std::string reports;
    };
    for (const Case &each :
         {Case{{"-c"}, 0, starting + stopped(0)}, Case{{"-l", "all"}, 0, starting + stopped(0)},
          Case{{"-t", "zqNone"}, 1, starting + stopped(1)},
          Case{{"-t", "zqStage", "-a", ends}, code, starting + running + stopped(code)},
          Case{{"-t", "zqStage", "-b", windowsPath(spare)}, 1, starting + stopped(1)},
          Case{{"-u", "abc"}, 1, starting}, // Windows reports the end of such a process itself
          // It runs from its start-up tool on. The tool's start fails late.
          Case{{"-u", "0", "-t", "zqStage", "-b", windowsPath(spare)},
               1,
               starting + running + stopped(1)}}) {
        if (each.options[0] == "-u" && !has(Feature::CallsNoted))
            continue;
        SCOPED_TRACE(testing::PrintToString(each.options));
        ServiceManager manager(folder, start(each.options, variables));
        if (has(Feature::CallsNoted) && each.reports.find(running) != each.reports.npos) {
            EXPECT_TRUE(manager.awaitReport(running));
            manager.control(SERVICE_CONTROL_INTERROGATE); // changes nothing
        }
        EXPECT_EQ(manager.wait(), each.exitCode);
        EXPECT_EQ(manager.reports(), each.reports);
        // With its last report it may end.
        const bool isOrderSeen = each.options[0] == "-c" && has(Feature::CallsNoted);
        const std::string order = "OutputDebugStringW\nSetServiceStatus\n";
        EXPECT_THAT(calls.text(), testing::HasSubstr(isOrderSeen ? order : ""));
    }
    const std::string begin = "Larkstone Launcher (Service Mode): ServiceMain: ";
    const std::string done = begin + "Done\n", early = begin + "Exit\n";
    EXPECT_EQ(readFile(log),
              has(Feature::CallsNoted) ? early + early + early + done + early + done : "");
}

// The failed launch is the first that the service sees. It then waits for the run without reporting
// it as running, and can't be stopped.
TEST_F(Service, WithAFailedStartUpToolIsPendingWhileItsToolRuns) {
    SKIP_WITHOUT(Feature::CallsNoted);
    const std::string go = (folder / "go").generic_string();
    // Longer than the grace of a stop: this wait has no limit.
    const std::string orders = reportTo("tool") + " sleep=5500 await=" + go + " exit=7";
    variables["ZQHOST_FAIL"] = "CreateProcessAsUserW:5,DeleteFileW:late";
    ServiceManager manager(folder, start({"-u", "0", "-t", "zqStage", "-a", orders}, variables));
    readReport("tool");
    manager.control(SERVICE_CONTROL_STOP);
    writeFile(go, "");
    EXPECT_EQ(manager.wait(), 7u);
    EXPECT_EQ(manager.reports(), starting + stopped(7));
}

// Nobody is at the console. Each try for a user's token is followed by a pause of its own, so the
// others are the service's. The manager then goes, and finds both threads at work with what the
// process's entry holds.
TEST_F(Service, PausesWhileItStartsAndEndsUnharmedWithItsManager) {
    SKIP_WITHOUT(Feature::CallsNoted);
    variables["ZQHOST_CONSOLE_USER"] = (folder / "nobody").string();
    ServiceManager manager(folder, start({"-u", "1", "-t", "zqStage", "-n"}, variables));
    manager.control(SERVICE_CONTROL_STOP); // changes nothing yet
    EXPECT_TRUE(waitUntil([&] {
        const std::ptrdiff_t pauses = calls.count("Sleep 1"); // counted first: the log grows
        return pauses >= calls.count("WTSQueryUserToken") + 20;
    }));
    manager.leave();
    EXPECT_EQ(manager.wait(), 0u);
    EXPECT_EQ(manager.reports(), starting);
    EXPECT_EQ(manager.launcher()->errors(), "");
}

// In the 0.3 s that the last report takes.
TEST_F(Service, EndsWithTheToolsCodeThoughItsManagerGoes) {
    SKIP_WITHOUT(Feature::CallsNoted);
    variables["ZQHOST_FAIL"] = "SetServiceStatus:late:3";
    ServiceManager manager(folder, start({"-t", "zqStage", "-a", "exit=7"}, variables));
    ASSERT_TRUE(waitUntil([&] { return calls.count("SetServiceStatus") >= 3; }));
    manager.leave();
    EXPECT_EQ(manager.wait(), 7u);
    EXPECT_EQ(manager.launcher()->errors(), "");
}
