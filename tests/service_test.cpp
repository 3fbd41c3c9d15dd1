#include "support/service_manager.h"

using namespace testing_support;
using namespace std::chrono_literals;

namespace {

class Service : public LaunchTest {};

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
    // For Linux: Wine's manager doesn't notice a process that goes, and no call comes late there.
    if (!onWindows)
        cases.insert(cases.end(),
                     {{{"-u", "abc"}, starting, 1},
                      // It runs from its start-up tool on; the start of the tool then fails.
                      {{"-u", "0", "-t", "zqStage", "-b", windowsPath(text)},
                       starting + running + stopped(1),
                       1}});
    for (const Case &each : cases) {
        const std::filesystem::path log = folder / "debug";
        ServiceManager manager(
            folder, start(each.options, {{"ZQHOST_FAIL", "CreateProcessW:late,FormatMessageW:late"},
                                         {"ZQHOST_DEBUG_LOG", log.string()}}));
        EXPECT_EQ(manager.wait(), each.exitCode);
        EXPECT_EQ(manager.reports(), each.reports);
        const std::string end = each.reports.find(running) != each.reports.npos ? "Done" : "Exit";
        EXPECT_TRUE(onWindows || each.reports == starting ||
                    readFile(log).find("ServiceMain: " + end + "\n") != std::string::npos);
        std::filesystem::remove(log);
    }
}

TEST_F(Service, StopAsksTheToolAndTakesBoundedTime) {
    const std::string untilStop = starting + running + stopping;
    const std::string answering = "word=" + (folder / "word").generic_string() + " exit=9";
    for (const bool answers : {true, false}) {
        const std::uint32_t exitCode = answers ? 9 : 0;
        ServiceManager manager(
            folder, start({"-t", "zqStage", "-a", answers ? answering : "ignoreword sleep=60000"}));
        ASSERT_TRUE(manager.awaitReport(running));
        std::this_thread::sleep_for(2000ms); // past the launch's first look at its queue
        manager.control(SERVICE_CONTROL_INTERROGATE);
        std::this_thread::sleep_for(100ms);
        EXPECT_EQ(manager.reports(), starting + running);

        const auto begin = std::chrono::steady_clock::now();
        manager.control(SERVICE_CONTROL_STOP);
        manager.control(SERVICE_CONTROL_STOP);
        EXPECT_EQ(manager.wait(), exitCode);
        const auto took = std::chrono::steady_clock::now() - begin;
        if (answers) // the launch ends a second after the word
            EXPECT_GE(std::filesystem::file_time_type::clock::now() -
                          last_write_time(folder / "word"),
                      500ms);
        else
            EXPECT_GE(took, 4900ms);
        EXPECT_LE(took, !answers ? 9000ms : onWindows ? 7000ms : 6500ms);
        EXPECT_EQ(manager.reports(), untilStop + stopped(exitCode));
        EXPECT_TRUE(waitUntil([&] { return !isRunning(); }));
    }
    EXPECT_EQ(readFile(folder / "word"), std::string("zqEnd!\0", 7));
}

TEST_F(Service, StopDuringTheStartChangesNothing) {
    if (onWindows)
        GTEST_SKIP() << "somebody is always at Wine's console";
    const std::filesystem::path user = folder / "user";
    ServiceManager manager(folder, start({"-u", "1", "-t", "zqStage", "-n", "-a", "exit=7"},
                                         {{"ZQHOST_CONSOLE_USER", user.string()}}));
    ASSERT_TRUE(manager.launcher()->awaitOutput("WTSQueryUserToken01008\n"));
    manager.control(SERVICE_CONTROL_STOP);
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(manager.reports(), starting);
    writeFile(user, "somebody");
    EXPECT_EQ(manager.wait(), 7u);
    EXPECT_EQ(manager.reports(), starting + running + stopped(7));
}

// The service notices the end of its run up to 1.5 s later. A manager that goes right then finds
// its threads at work with what the process's entry holds.
TEST_F(Service, ManagerThatGoesAsItEndsFindsItsThreadsUnharmed) {
    if (onWindows)
        GTEST_SKIP() << "the system's manager stays";
    const LauncherStart launch = start({"-t", "zqStage", "-a", "exit=7"},
                                       {{"ASAN_OPTIONS", "detect_stack_use_after_return=1"}});
    for (const auto moment : {1490ms, 1494ms, 1496ms, 1498ms, 1500ms, 1502ms}) {
        ServiceManager manager(folder, launch);
        ASSERT_TRUE(manager.awaitReport(running));
        std::this_thread::sleep_for(moment);
        manager.leave();
        EXPECT_EQ(manager.wait(), 7u);
        EXPECT_EQ(manager.launcher()->errors(), "");
    }
}

} // namespace
