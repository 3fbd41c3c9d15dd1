#include "process/process_handling.h"

#include "environment/startup_tool.h"
#include "frontend/launcher.h"
#include "primitives/wide_text.h"
#include "process/termination_pipe.h"
#include "support/launch_fixture.h"

#include <algorithm>
#include <functional>
#include <thread>

using namespace testing_support;
using namespace ProcessHandling;

namespace {

class Process : public LaunchTest {
protected:
    std::shared_ptr<ProcessInfo> startProbe(const std::vector<std::string> &arguments,
                                            bool redirectOutput = false) {
        return startProcess(windowsPath(probeProgram()), arguments, -1, redirectOutput, false, "",
                            false, false, true);
    }
};

// Runs the launcher on a thread of its own, asks it twice to close, and gives its status.
std::int32_t runAndClose(
    const std::string &root, const std::string &tool, const std::string &arguments,
    const std::function<void()> &beforeClosing = [] {}) {
    std::atomic<DWORD> launchThread = 0;
    std::int32_t status = -1;
    std::thread launch([&] {
        launchThread = ::GetCurrentThreadId();
        const char *const argv[] = {"zqLauncher", "-r", root.c_str(),     "-t",
                                    tool.c_str(), "-a", arguments.c_str()};
        status = runLauncher("zqLauncher", "1", static_cast<std::int32_t>(std::size(argv)), argv);
    });
    // Refused until the launch has looked at its queue once.
    EXPECT_TRUE(waitUntil([&] {
        return launchThread != 0 && ::PostThreadMessageW(launchThread, WM_CLOSE + 1, 0, 0) != 0;
    }));
    EXPECT_TRUE(isLaunchDone());
    EXPECT_FALSE(isLaunchFailed());
    beforeClosing();
    ::PostThreadMessageW(launchThread, WM_CLOSE, 0, 0);
    ::PostThreadMessageW(launchThread, WM_CLOSE, 0, 0);
    launch.join();
    return status;
}

TEST_F(Process, WmCloseSendsTheWordAndTheToolsCodeComesBack) {
    const std::string word = (folder / "word").generic_string();
    const auto expectNoWord = [&] { // after longer than the queue and the request are polled
        std::this_thread::sleep_for(std::chrono::milliseconds(2500));
        EXPECT_FALSE(std::filesystem::exists(word)) << "another message asks for nothing";
    };
    EXPECT_EQ(runAndClose(root, "zqStage", "word=" + word + " exit=9", expectNoWord), 9);
    EXPECT_EQ(readFile(word), std::string("zqEnd!\0", 7));
}

TEST_F(Process, ExampleToolEndsItselfInOrder) {
    placeProgram(EXAMPLE_TOOL,
                 tree.root() / "tools" / "7.2" / "zqConsoleTool" / "zqConsoleTool.exe");
    EXPECT_EQ(runAndClose(root, "zqConsoleTool", ""), 0);
}

// What stays open of each record, for the launcher's lifetime, is its job and its pipes: both ends
// of the job's tether, the termination pipe's marker and its client's end (not if the client came
// and went before it was waited for), and both ends of the output's and the input's pipe.
TEST_F(Process, ManyRecordsKeepNothingButJobsAndPipes) {
    if (onWindows)
        GTEST_SKIP() << "Wine doesn't tell how many handles a process has";
    const auto count = [](const std::string &what) {
        const std::filesystem::directory_iterator entries("/proc/self/" + what);
        return std::distance(begin(entries), end(entries));
    };
    const auto useRecords = [this](int records, bool redirectOutput) {
        for (int record = 0; record < records; ++record) {
            const auto info = startProbe({"sleep=30"}, redirectOutput);
            ASSERT_EQ(info->result, 0);
            waitForProcess(info);
        }
    };
    useRecords(1, true);
    const auto threads = count("task");
    const auto before = count("fd");
    useRecords(50, false);
    useRecords(10, true);
    EXPECT_LE(count("fd"), before + 280);
    EXPECT_TRUE(waitUntil([&] { return count("task") == threads; }));
}

// The pauses of 100 and 1000 ms are for what takes long. A usual launch makes neither, but on a
// busy machine a thread may come too late for that.
TEST_F(Process, UsualLaunchMakesNoPause) {
    if (onWindows)
        GTEST_SKIP() << "only the stand-in notes its calls";
    int paused = 0;
    for (int launch = 0; launch < 10; ++launch) {
        LauncherStart usual = start({"-t", "zqStage", "-a", "sleep=30"});
        usual.environment["ZQHOST_CALL_LOG"] = (folder / std::to_string(launch)).string();
        EXPECT_EQ(LauncherRun(folder, usual).wait(), 0u);
        const std::string calls = readFile(folder / std::to_string(launch));
        EXPECT_NE(calls.find("DeleteFileW"), calls.npos);
        paused += calls.find("Sleep 1") != calls.npos ? 1 : 0;
    }
    EXPECT_LE(paused, 5);
}

// The opening that ends the wait for a client comes before the request to stop. The thread that it
// wakes doesn't look for the request at once, as it would have to pause then.
TEST_F(Process, RequestToStopMayFollowTheOpeningOfThePipe) {
    int paused = 0;
    for (std::uint32_t pipeNumber = 1; pipeNumber <= 10; ++pipeNumber) {
        TerminationPipe pipe(::GetCurrentProcessId() * 100 + pipeNumber, "");
        std::thread server(servePipe, std::ref(pipe));
        // Refused until the pipe is there.
        const std::basic_string<WCHAR> name = widen(pipe.pipeName);
        HANDLE client = INVALID_HANDLE_VALUE;
        EXPECT_TRUE(waitUntil([&] {
            client =
                ::CreateFileW(name.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
            return client != INVALID_HANDLE_VALUE;
        }));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        pipe.stopRequested = true;
        const auto begin = std::chrono::steady_clock::now();
        server.join();
        paused += std::chrono::steady_clock::now() - begin > std::chrono::milliseconds(500) ? 1 : 0;
        ::CloseHandle(client);
    }
    EXPECT_LE(paused, 5);
}

TEST_F(Process, CloseLeavesTheProcessRunning) {
    const auto info = startProbe({reportTo("tool"), "sleep=30000"}, true);
    EXPECT_EQ(info->result, 0);
    EXPECT_EQ(info->processId, readReport("tool").pid);
    closeProcess(info);
    EXPECT_TRUE(isRunning(info->processId));
    EXPECT_EQ(info->terminationThread, nullptr);
    EXPECT_EQ(info->terminationPipe, nullptr);
    EXPECT_EQ(info->outputThread, nullptr);
    EXPECT_EQ(info->winProcInfo.hProcess, nullptr);
    ::CloseHandle(info->ghJob);
    EXPECT_TRUE(waitUntil([&] { return !isRunning(info->processId); }, std::chrono::seconds(5)));
}

TEST_F(Process, FailedCreationIsSeenAndCanBeClosed) {
    for (const bool redirectOutput : {true, false}) {
        const auto info = startProcess(windowsPath(folder / "none.exe"), {}, -1, redirectOutput,
                                       false, "n", true, false, true);
        EXPECT_EQ(info->result, 1);
        EXPECT_TRUE(isLaunchDone());
        EXPECT_TRUE(isLaunchFailed());
        EXPECT_NE(info->terminationPipe, nullptr);
        closeProcess(info);
        EXPECT_EQ(info->terminationPipe, nullptr);
    }
}

TEST(StartupCommand, AppendsOptionsUnderTheirConditions) {
    ::_putenv_s("ZQ_INSTALL_ROOT", "R");
    struct Case {
        std::string tool, version;
        bool request, suppress;
        std::string path, executable;
        std::vector<std::string> arguments;
    };
    for (const Case &each :
         {Case{"zqPrelude", "7.2", false, false, "", "7.2", {"-t", "zqPrelude"}},
          Case{"zqPrelude", "", true, true, "", "current", {"-t", "zqPrelude"}},
          Case{"zqStage2",
               "current",
               true,
               false,
               "D:\\x y",
               "current",
               {"-t", "zqStage", "-u", "1000", "-b", "\"D:\\x y\"", "-a", "\"-n 1\""}}}) {
        const StartupCommand command =
            buildStartupCommand(each.tool, each.version, each.request, each.suppress, each.path);
        EXPECT_EQ(command.executablePath,
                  "R\\tools\\" + each.executable + "\\zqLauncher\\zqLauncher.exe");
        EXPECT_EQ(command.arguments, each.arguments);
    }
}

// zqPrelude is started by a second launcher and reports from there.
TEST_F(Process, StartupToolRunsAheadOfMainToolsWithUser) {
    tree.addLauncher("7.2");
    tree.addTool("7.2", "zqPrelude");
    tree.addTool("7.2", "zqOther");
    writeFile(tree.root() / "tools" / "7.2" / "zqPrelude" / "zqPrelude.todo",
              reportTo("prelude") + " sleep=300");
    struct Case {
        std::vector<std::string> options;
        bool runs;
    };
    const std::vector<Case> cases{
        {{"-t", "zqStage", "-u", "5"}, true},
        {{"-t", "zqStage", "-u", "0"}, true},
        {{"-s", "-k", windowsPath(probeProgram()) + " sleep=300", "-t", "zqStage", "-u", "0"},
         true},
        {{"-t", "zqStage", "-u", "5", "-n"}, false},
        {{"-t", "zqStage", "-u", "-1"}, false},
        {{"-t", "zqStage"}, false},
        {{"-t", "zqOther", "-u", "0"}, false}};
    for (const Case &each : cases) {
        std::filesystem::remove(folder / "prelude");
        LauncherStart launch = start(each.options);
        launch.arguments.insert(launch.arguments.end(), {"-a", "sleep=2000 exit=6"});
        launch.input = "exit 6\n";
        LauncherRun run(folder, launch);
        EXPECT_EQ(run.wait(), 6u);
        SCOPED_TRACE(testing::PrintToString(each.options));
        if (each.runs) {
            const ProbeReport prelude = readReport("prelude");
            EXPECT_EQ(prelude.arguments.size(), 1u);
            const std::string &path = prelude.environment.at("PATH");
            const std::string launchers = root + "\\tools\\current\\zqLauncher\\;";
            EXPECT_NE(path.find(launchers), path.rfind(launchers)); // once for each launcher
        } else {
            EXPECT_FALSE(std::filesystem::exists(folder / "prelude"));
        }
    }
}

} // namespace
