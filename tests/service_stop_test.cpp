#include "support/call_log.h"
#include "support/moment.h"
#include "support/service_manager.h"

using namespace testing_support;
using namespace std::chrono_literals;

namespace {

// Pauses are longer than asked for where the timer is coarse.
const auto busyMachine = has(Feature::ShortPauses) ? 500ms : 1500ms;

class ServiceStop : public LaunchTest {
protected:
    void SetUp() override { SKIP_WITHOUT(Feature::Services); }

    LauncherStart serviceWith(const std::string &orders) const {
        return start({"-t", "zqStage", "-a", orders}, calls.variables());
    }

    // Sent when the service has just looked for a stop: the next look is a whole pause later.
    Moment stopRightAfterRunning(ServiceManager &manager) const {
        EXPECT_TRUE(manager.awaitReport(running));
        if (has(Feature::CallsNoted))
            EXPECT_TRUE(waitUntil([&] { return calls.count("Sleep 1500") > 0; }));
        else
            std::this_thread::sleep_for(50ms);
        const auto before = std::chrono::steady_clock::now();
        for (int request = 0; request < 2; ++request) // the second changes nothing
            manager.control(SERVICE_CONTROL_STOP);
        return {before, std::chrono::steady_clock::now()};
    }

    CallLog calls{folder};
    const std::string untilStop = starting + running + stopping;
};

// The pipe is looked at once a second from its client's coming on. A client that comes just before
// the request is asked as late as can be.
TEST_F(ServiceStop, RightAfterRunningAsksTheToolAndReportsItsCode) {
    const std::filesystem::path word = folder / "word";
    ServiceManager manager(folder,
                           serviceWith("sleep=1600 word=" + word.generic_string() + " exit=9"));
    const Moment stop = stopRightAfterRunning(manager);
    const Moment asked = awaitMoment(
        stop.before,
        [&] {
            return has(Feature::CallsNoted) ? calls.count("DisconnectNamedPipe") > 0 : exists(word);
        });
    const Moment end =
        awaitMoment(asked.before, [&] { return manager.reports().ends_with(stopped(9)); });
    EXPECT_LE(leastBetween(stop, asked), 3500ms);
    // Without the calls, the tool may have been late with the file.
    EXPECT_GE(mostBetween(asked, end), has(Feature::CallsNoted) ? 1000ms : 0ms);
    EXPECT_LE(leastBetween(asked, end), 1500ms + busyMachine);
    EXPECT_EQ(manager.wait(), 9u);
    EXPECT_EQ(manager.reports(), untilStop + stopped(9));
    EXPECT_EQ(readFile(word), std::string("zqEnd!\0", 7));
}

TEST_F(ServiceStop, GivesAToolThatIgnoresTheWordFiveSeconds) {
    ServiceManager manager(folder, serviceWith("ignoreword sleep=60000"));
    const Moment stop = stopRightAfterRunning(manager);
    Moment passedOn = stop;
    if (has(Feature::CallsNoted))
        passedOn = awaitMoment(
            stop.before, [&] { return calls.count("PostThreadMessageW") > 0; });
    const Moment end =
        awaitMoment(passedOn.before, [&] { return manager.reports().ends_with(stopped(0)); });
    EXPECT_GE(mostBetween(passedOn, end), 5000ms);
    EXPECT_LE(leastBetween(stop, end), 6500ms + busyMachine);
    EXPECT_EQ(manager.wait(), 0u);
    EXPECT_EQ(manager.reports(), untilStop + stopped(0));
    EXPECT_TRUE(waitUntil([&] { return !isAnyRunning(); }));
}

TEST_F(ServiceStop, AfterTheToolsEndReportsItsCode) {
    SKIP_WITHOUT(Feature::CallsNoted);
    ServiceManager manager(folder, serviceWith("exit=7"));
    ASSERT_TRUE(waitUntil([&] { return calls.count("GetExitCodeProcess") > 0; }));
    manager.control(SERVICE_CONTROL_STOP);
    EXPECT_EQ(manager.wait(), 7u);
    const std::string stoppingWithCode = "16 3 0 7 0 4 0\n"; // if the run is over by then
    EXPECT_THAT(
        manager.reports(),
        testing::AnyOf(untilStop + stopped(7), starting + running + stoppingWithCode + stopped(7)));
}

TEST_F(ServiceStop, DuringTheStartChangesNothing) {
    SKIP_WITHOUT(Feature::EmptyConsole);
    const std::filesystem::path user = folder / "user";
    ServiceManager manager(folder, start({"-u", "1", "-t", "zqStage", "-n", "-a", "exit=7"},
                                         {{"ZQHOST_CONSOLE_USER", user.string()}}));
    ASSERT_TRUE(manager.launcher()->awaitOutput("WTSQueryUserToken01008\n"));
    manager.control(SERVICE_CONTROL_STOP);
    EXPECT_TRUE(waitUntil([&] { return manager.hasTakenControls(); }));
    writeFile(user, "somebody");
    EXPECT_EQ(manager.wait(), 7u);
    EXPECT_EQ(manager.reports(), starting + running + stopped(7));
}

} // namespace
