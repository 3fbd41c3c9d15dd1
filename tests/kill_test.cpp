#include "support/launch_fixture.h"
#include "support/process_list.h"

using namespace testing_support;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

// Each case takes its share of the moments, spread over the whole of a launch.
constexpr int caseCount = 32, momentsPerCase = 7;

class KilledLauncher : public LaunchTest, public testing::WithParamInterface<int> {
protected:
    LauncherStart startTool(const std::string &report) const {
        LauncherStart launch = start({"-t", "zqStage", "-a", reportTo(report) + " sleep=3000"});
        launch.environment["ZQHOST_CALL_LOG"] = (folder / (report + "_calls")).string();
        return launch;
    }
    // A launch waits for its tool once the tool is in its job. Only the stand-in tells.
    bool wasInJob(const std::string &report) const {
        return readFile(folder / (report + "_calls")).find("WaitFor") != std::string::npos;
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
    const auto begin = Clock::now();
    LauncherRun whole(folder, startTool("whole"));
    readReport("whole");
    // From before the tool is there to when it has been in its job for some time.
    const auto span = 2 * (Clock::now() - begin) + 200ms;
    whole.kill();
    ASSERT_TRUE(nothingLeft(5s)) << left();

    int suspended = 0, outsideJob = 0;
    for (int moment = 0; moment < momentsPerCase; ++moment) {
        const std::string report = "tool" + std::to_string(moment);
        LauncherRun run(folder, startTool(report));
        std::this_thread::sleep_for(span * (moment * caseCount + GetParam()) /
                                    (momentsPerCase * caseCount));
        run.kill();
        const std::string tool = nothingLeft(1s) ? "" : left();
        if (!tool.empty() && onWindows && !std::filesystem::exists(folder / report)) {
            ++suspended; // created, and not yet resumed: Windows keeps it as it is
            runShell("kill -9 " + tool.substr(0, tool.find(' ')));
        } else if (!tool.empty()) {
            ++outsideJob; // resumed, and not yet in its job: it ends by itself
            EXPECT_FALSE(wasInJob(report));
        }
        ASSERT_TRUE(nothingLeft(5s)) << left();
    }
    EXPECT_LE(suspended, momentsPerCase / 2) << "a tool is suspended for 0.1 s of all that time";
    EXPECT_LE(outsideJob, 1);
}

INSTANTIATE_TEST_SUITE_P(Shares, KilledLauncher, testing::Range(0, caseCount));

} // namespace
