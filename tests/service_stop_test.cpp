#include "support/service_manager.h"

using namespace testing_support;
using namespace std::chrono_literals;

// Pauses are longer than asked for where the timer is coarse.
const auto busyMachine = has(Feature::ShortPauses) ? 500ms : 1500ms;

class ServiceStop : public LaunchTest {
protected:
    void SetUp() override { SKIP_WITHOUT(Feature::Services); }

    LauncherStart serviceWith(const std::string &orders) const {
        return start({"-o", "-t", "zqStage", "-a", orders}, calls.variables());
    }

    bool hasCalled(const std::string &call) const { return calls.count(call) > 0; }

    // Sent when the service has just looked for a stop, and the pipe's thread, with a client there,
    // for a request: their next looks are a whole pause later.
    Moment stopRightAfterRunning(ServiceManager &manager) const {
        EXPECT_TRUE(manager.awaitReport(running));
        if (has(Feature::CallsNoted))
            EXPECT_TRUE(
                waitUntil([&] { return hasCalled("Sleep 1500") && hasCalled("Sleep 1000"); }));
        else
            std::this_thread::sleep_for(50ms);
        const auto before = std::chrono::steady_clock::now();
        for (int request = 0; request < 2; ++request) // the second changes nothing
            manager.control(SERVICE_CONTROL_STOP);
        return {before, std::chrono::steady_clock::now()};
    }

    // Not before an earlier moment.
    static Moment awaitEnd(ServiceManager &manager, const Moment &earlier, std::uint32_t exitCode) {
        const Moment end = awaitMoment(
            earlier.before, [&] { return manager.reports().ends_with(stopped(exitCode)); });
        EXPECT_EQ(manager.wait(), exitCode);
        EXPECT_EQ(manager.reports(), starting + running + stopping + stopped(exitCode));
        return end;
    }

    CallLog calls{folder};
};

TEST_F(ServiceStop, RightAfterRunningAsksTheToolAndReportsItsCode) {
    const std::filesystem::path word = folder / "word";
    const std::string orders = "word=" + word.generic_string() + " exit=9";
    ServiceManager manager(folder, serviceWith(orders));
    const Moment stop = stopRightAfterRunning(manager);
    const bool isNoted = has(Feature::CallsNoted); // else the tool may be late with the file
    const Moment asked = awaitMoment(
        stop.before, [&] { return isNoted ? hasCalled("DisconnectNamedPipe") : exists(word); });
    const Moment end = awaitEnd(manager, asked, 9);
    EXPECT_LE(stop.leastUntil(asked), 3500ms + busyMachine);
    EXPECT_GE(asked.mostUntil(end), isNoted ? 1000ms : 0ms);
    EXPECT_LE(asked.leastUntil(end), 1500ms + busyMachine);
    EXPECT_EQ(readFile(word), std::string("zqEnd!\0", 7));
    // The end may be reported as soon as the event is raised, so the stop has been reported before.
    EXPECT_EQ(calls.count("SetServiceStatus", "SetEvent"), isNoted ? 3 : 0);
}

TEST_F(ServiceStop, GivesAToolThatIgnoresTheWordFiveSeconds) {
    ServiceManager manager(folder, serviceWith("ignoreword stay"));
    const Moment stop = stopRightAfterRunning(manager);
    const Moment passedOn = awaitMoment(
        stop.before, [&] { return !has(Feature::CallsNoted) || hasCalled("PostThreadMessageW"); });
    const Moment end = awaitEnd(manager, passedOn, 0);
    EXPECT_GE(passedOn.mostUntil(end), 5000ms);
    EXPECT_LE(stop.leastUntil(end), 6500ms + busyMachine);
    EXPECT_TRUE(waitUntil([&] { return !isAnyRunning(); }));
}

// The report of RUNNING takes 0.3 s. Whether the tool is asked so early isn't looked at.
TEST_F(ServiceStop, IsAcceptedWhileRunningIsReported) {
    SKIP_WITHOUT(Feature::CallsNoted);
    LauncherStart service = serviceWith("sleep=1000 exit=7");
    service.environment["ZQHOST_FAIL"] = "SetServiceStatus:late:2";
    ServiceManager manager(folder, service);
    EXPECT_TRUE(waitUntil([&] { return calls.count("SetServiceStatus") == 2; }));
    manager.control(SERVICE_CONTROL_STOP);
    EXPECT_EQ(manager.wait(), 7u);
    EXPECT_EQ(manager.reports(), starting + stopping + running + stopped(7));
}

TEST_F(ServiceStop, AfterTheToolsEndReportsItsCode) {
    SKIP_WITHOUT(Feature::CallsNoted);
    ServiceManager manager(folder, serviceWith("exit=7"));
    ASSERT_TRUE(waitUntil([&] { return hasCalled("GetExitCodeProcess"); }));
    manager.control(SERVICE_CONTROL_STOP);
    EXPECT_EQ(manager.wait(), 7u);
    const std::string stoppingWithCode = "16 3 0 7 0 4 0\n"; // if the run is over by then
    EXPECT_THAT(manager.reports(),
                testing::AnyOf(starting + running + stopping + stopped(7),
                               starting + running + stoppingWithCode + stopped(7)));
}
