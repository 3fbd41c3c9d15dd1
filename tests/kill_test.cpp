#include "support/launch_fixture.h"
#include "support/process_list.h"

using namespace testing_support;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

// Each case takes its share of the moments, from the whole of a launch.
constexpr int caseCount = 32;

class KilledLauncher : public LaunchTest, public testing::WithParamInterface<int> {
protected:
    LauncherStart startTool(const std::string &report) const {
        return start({"-t", "zqStage", "-a", reportTo(report) + " sleep=3000"});
    }
    // The launcher and its tool, and what else the host runs for them.
    std::string left() const { return processesWith(folder.path().filename().string()); }
    // Looks a few times only: a look takes a tenth of a second under Wine.
    bool nothingLeft(std::chrono::milliseconds limit) const {
        for (auto pause = limit / 32; pause < limit && !left().empty(); pause *= 2)
            std::this_thread::sleep_for(pause);
        return left().empty();
    }
};

TEST_P(KilledLauncher, LeavesNoToolBehind) {
    const int momentsPerCase = onWindows ? 3 : 7; // Wine takes long over a launch
    const auto begin = Clock::now();
    LauncherRun whole(folder, startTool("whole"));
    readReport("whole");
    // From before the tool is there to when it has been in its job for some time.
    const auto span = 2 * (Clock::now() - begin) + 200ms;
    whole.kill();
    ASSERT_TRUE(nothingLeft(1s)) << left();

    int outsideJob = 0;
    for (int moment = 0; moment < momentsPerCase; ++moment) {
        const std::string report = "tool" + std::to_string(moment);
        LauncherRun run(folder, startTool(report));
        std::this_thread::sleep_for(span * (moment * caseCount + GetParam()) /
                                    (momentsPerCase * caseCount));
        run.kill();
        const bool gone = nothingLeft(1s);
        if (!gone && onWindows && !std::filesystem::exists(folder / report)) {
            // Created, and not yet resumed: the system keeps it as it is.
            runShell("kill -9 " + left().substr(0, left().find(' ')));
        } else if (!gone) {
            // Resumed, and not yet in its job: it ends by itself.
            ++outsideJob;
        }
        ASSERT_TRUE(nothingLeft(5s)) << left();
    }
    EXPECT_LE(outsideJob, 1);
}

INSTANTIATE_TEST_SUITE_P(Shares, KilledLauncher, testing::Range(0, caseCount));

} // namespace
