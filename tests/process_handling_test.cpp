#include "process/process_handling.h"

#include "support/call_log.h"
#include "support/launcher_run.h"
#include "support/moment.h"

#include <future>

using namespace testing_support;
using namespace ProcessHandling;
using namespace std::chrono_literals;

namespace {

class Process : public LaunchTest {
protected:
    std::shared_ptr<ProcessInfo> startDirectly(const std::filesystem::path &program,
                                               const std::vector<std::string> &arguments = {},
                                               bool redirectOutput = false) const {
        return startProcess(windowsPath(program), arguments, /*userId=*/-1, redirectOutput,
                            /*newConsole=*/false, "", /*hideWindow=*/false,
                            /*useLinkedToken=*/false, /*useJob=*/true);
    }
};

// The pauses of 100 and 1000 ms are for what takes long. On a busy machine a thread may come too
// late for a launch without them, but not each time.
TEST_F(Process, UsualLaunchMakesNoPauseAndHasThePipeBeforeTheResume) {
    SKIP_WITHOUT(Feature::CallsNoted);
    bool hasPaused = true;
    for (int launch = 0; launch < 10 && hasPaused; ++launch) {
        const CallLog log(folder, std::to_string(launch));
        EXPECT_EQ(LauncherRun(folder, start({"-t", "zqStage"}, log.variables())).wait(), 0u);
        const std::string calls = log.text();
        EXPECT_LT(calls.find("\nCreateNamedPipeW"), calls.find("\nResumeThread"));
        EXPECT_NE(calls.find("AssignProcessToJobObject", calls.find("\nResumeThread")), calls.npos);
        EXPECT_NE(calls.find("DeleteFileW"), calls.npos);
        hasPaused = calls.find("Sleep 1") != calls.npos;
    }
    EXPECT_FALSE(hasPaused);
}

TEST_F(Process, LatestStartSaysHowTheLaunchWentAndCanBeClosed) {
    EXPECT_FALSE(isLaunchDone());
    for (const auto &[isThere, redirectOutput] :
         {std::pair{true, false}, {false, false}, {true, true}, {false, true}}) {
        const auto info =
            startDirectly(isThere ? probeProgram : folder / "none.exe", {}, redirectOutput);
        EXPECT_EQ(info->result, isThere ? 0 : 1);
        EXPECT_TRUE(isLaunchDone());
        EXPECT_EQ(isLaunchFailed(), !isThere);
        EXPECT_EQ(info->finished, !isThere) << "nothing is forwarded after a failure";
        closeProcess(info);
        closeProcess(info); // finds nothing more to end
        EXPECT_EQ(info->terminationPipe, nullptr);
    }
}

// A second after the start another message is dropped, a second later the request is taken.
TEST_F(Process, TakesOneMessageASecondAndOnlyWmCloseAsARequest) {
    const std::filesystem::path word = folder / "word";
    MSG message;
    ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE); // makes the queue
    for (const UINT each : {WM_CLOSE + 1, WM_CLOSE})
        EXPECT_TRUE(::PostThreadMessageW(::GetCurrentThreadId(), each, 0, 0));
    const auto begin = std::chrono::steady_clock::now();
    const auto info = startDirectly(probeProgram, {"word=" + word.generic_string(), "exit=9"});
    auto asked = std::async(std::launch::async,
                            [&] { return awaitMoment(begin, [&] { return exists(word); }); });
    EXPECT_TRUE(waitForProcess(info));
    EXPECT_EQ(info->result, 9);
    EXPECT_GE(asked.get().after - begin, 2000ms);
}

TEST_F(Process, EachHandleOfARunIsClosed) {
    SKIP_WITHOUT(Feature::CallsNoted);
    addTool("7.2", "zqStageWatch");
    for (const std::vector<std::string> &options : {std::vector<std::string>{"-l", "frameworks"},
                                                    {"-t", "zqStage"},
                                                    {"-u", "1", "-t", "zqStage"},
                                                    {"-u", "1", "-t", "zqStageWatch"}}) {
        SCOPED_TRACE(testing::PrintToString(options));
        const CallLog calls(folder, options.back());
        EXPECT_EQ(LauncherRun(folder, start(options, calls.variables())).wait(), 0u);
        // A process and its thread, a token and its linked one, which is asked for twice.
        const std::ptrdiff_t opened =
            calls.count("CreateFileW") + calls.count("WTSQueryUserToken") +
            calls.count("GetTokenInformation") / 2 +
            2 * (calls.count("CreateProcessW") + calls.count("CreateProcessAsUserW"));
        EXPECT_EQ(calls.count("CloseHandle"), opened);
        EXPECT_EQ(calls.count("FindClose"), calls.count("FindFirstFileW"));
        EXPECT_EQ(calls.count("DestroyEnvironmentBlock"), calls.count("CreateEnvironmentBlock"));
    }
}

TEST_F(Process, ProgramWithAPathOf260UnitsIsNotFound) {
    const std::string name = "\\zqStage.exe";
    const auto runAt = [&](std::size_t length) {
        const std::size_t missing = length - windowsPath(folder / "").size() - name.size();
        const std::filesystem::path directory = folder / std::string(missing, 'd');
        placeProgram(probeProgram, directory / "zqStage.exe");
        LauncherRun run(folder, start({"-t", "zqStage", "-b", windowsPath(directory)}));
        const std::string status = std::to_string(run.wait());
        return status + " " + run.output();
    };
    EXPECT_EQ(runAt(259), "0 ");
    EXPECT_THAT(runAt(260), testing::StartsWith("1 CreateProcessAsUser Error 2\n"));
}

} // namespace
