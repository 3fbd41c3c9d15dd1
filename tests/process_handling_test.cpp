#include "process/process_handling.h"

#include "support/launcher_run.h"

using namespace testing_support;
using namespace ProcessHandling;

class Process : public LaunchTest {
protected:
    static std::shared_ptr<ProcessInfo> startDirectly(const std::string &commandLine) {
        return startProcess(commandLine, {}, /*userId=*/-1, /*redirectOutput=*/false,
                            /*newConsole=*/false, "", /*hideWindow=*/false,
                            /*useLinkedToken=*/false, /*useJob=*/true);
    }

    const std::string probe = windowsPath(probeProgram);
};

// For a late pipe, and one that can't be made. Only a busy machine makes a usual launch pause.
TEST_F(Process, LaunchPausesOnlyWhileItsPipeIsMissing) {
    SKIP_WITHOUT(Feature::CallsNoted);
    int launches = 0;
    const auto callsWith = [&](const std::string &fault) {
        const CallLog log(folder, std::to_string(++launches));
        LauncherStart launch = start({"-t", "zqStage"}, log.variables());
        launch.environment["ZQHOST_FAIL"] = fault;
        EXPECT_EQ(LauncherRun(folder, launch).wait(), 0u);
        return log.text();
    };
    EXPECT_THAT(callsWith("CreateNamedPipeW:late"), testing::HasSubstr("\nSleep 100\n"));
    EXPECT_THAT(callsWith("CreateNamedPipeW:5"), testing::HasSubstr("\nSleep 1000\n"));
    int withoutPause = 0;
    while (withoutPause < 6 && launches < 32) {
        const std::string calls = callsWith("");
        EXPECT_NE(calls.find("AssignProcessToJobObject", calls.find("\nResumeThread")), calls.npos);
        withoutPause += calls.find("Sleep 1") == calls.npos ? 1 : 0;
    }
    EXPECT_EQ(withoutPause, 6);
}

TEST_F(Process, LatestStartSaysHowTheLaunchWentAndCanBeClosed) {
    EXPECT_FALSE(isLaunchDone());
    for (const bool isThere : {true, false}) {
        const auto info = startDirectly(isThere ? probe : "Z:\\none.exe");
        EXPECT_EQ(info->result, isThere ? 0 : 1);
        EXPECT_TRUE(isLaunchDone());
        EXPECT_EQ(isLaunchFailed(), !isThere);
        EXPECT_NE(info->terminationPipe, nullptr);
        EXPECT_EQ(info->finished, !isThere) << "nothing is forwarded after a failure";
        closeProcess(info);
        closeProcess(info); // finds nothing more to end
    }
}

TEST_F(Process, NextStartWaitsForAPollerThatHasNotSeenTheLaunch) {
    EXPECT_FALSE(isLaunchDone()); // from now on somebody polls
    const auto first = startDirectly(probe);
    const auto begin = std::chrono::steady_clock::now();
    const auto second = startDirectly(probe);
    const auto waited = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(waited, std::chrono::milliseconds(100));
    EXPECT_LT(waited, std::chrono::seconds(3)) << "nobody comes";
    for (const auto &info : {first, second})
        waitForProcess(info);
}

// A second after the start another message is dropped, a second later the request is taken. A
// second after that the closing is over.
TEST_F(Process, TakesOneMessageASecondAndOnlyWmCloseAsARequest) {
    MSG message;
    ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE); // makes the queue
    for (const UINT each : {UINT{WM_CLOSE} + 1, UINT{WM_CLOSE}})
        EXPECT_TRUE(::PostThreadMessageW(::GetCurrentThreadId(), each, 0, 0));
    const auto begin = std::chrono::steady_clock::now();
    const auto info =
        startDirectly(probe + " word=" + (folder / "word").generic_string() + " exit=9");
    waitForProcess(info);
    EXPECT_EQ(info->result, 9);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3));
}
