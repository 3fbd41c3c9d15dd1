#include "process/process_handling.h"

#include "environment/startup_tool.h"
#include "install/component_paths.h"
#include "primitives/wide_text.h"
#include "process/termination_pipe.h"
#include "support/launcher_run.h"

#include <cstdlib>
#include <thread>

using namespace testing_support;
using namespace ProcessHandling;

namespace {

std::shared_ptr<ProcessInfo> startTool(const std::string &program, std::int32_t userId,
                                       bool redirectOutput) {
    return startProcess(program, {}, userId, redirectOutput, /*newConsole=*/false, "",
                        /*hideWindow=*/false, /*useLinkedToken=*/false, /*useJob=*/true);
}

class Process : public LaunchTest {};

TEST(WideText, KeepsEachByteWithItsSign) {
    const std::basic_string<WCHAR> wide = widen("a\xE4\x80");
    EXPECT_EQ(wide, (std::basic_string<WCHAR>{'a', 0xFFE4, 0xFF80}));
    EXPECT_EQ(narrow(wide.data(), wide.size()), "a\xE4\x80");
}

// The pauses of 100 and 1000 ms are for what takes long. A usual launch makes neither, but on a
// busy machine a thread may come too late for that.
TEST_F(Process, UsualLaunchMakesNoPauseAndHasThePipeBeforeTheResume) {
    if (onWindows)
        GTEST_SKIP() << "only the stand-in notes its calls";
    int paused = 0;
    for (int launch = 0; launch < 10; ++launch) {
        const std::filesystem::path log = folder / std::to_string(launch);
        EXPECT_EQ(LauncherRun(folder, start({"-t", "zqStage"}, {{"ZQHOST_CALL_LOG", log.string()}}))
                      .wait(),
                  0u);
        const std::string calls = readFile(log);
        EXPECT_LT(calls.find("\nCreateNamedPipeW"), calls.find("\nResumeThread"));
        EXPECT_NE(calls.find("AssignProcessToJobObject", calls.find("\nResumeThread")), calls.npos);
        EXPECT_NE(calls.find("DeleteFileW"), calls.npos);
        paused += calls.find("Sleep 1") != calls.npos ? 1 : 0;
    }
    EXPECT_LE(paused, 5);
}

// The opening that ends the wait for a client comes before the request to stop. The thread that it
// wakes doesn't look for the request at once, as it would have to pause then.
TEST_F(Process, RequestToStopMayFollowTheOpeningOfThePipe) {
    if (onWindows)
        GTEST_SKIP() << "a pause there takes a tick of the timer, longer than the thread waits";
    int paused = 0;
    for (std::uint32_t pipeNumber = 1; pipeNumber <= 10; ++pipeNumber) {
        TerminationPipe pipe(::GetCurrentProcessId() * 100 + pipeNumber, "");
        std::thread server(servePipe, std::ref(pipe));
        const std::basic_string<WCHAR> name = widen(pipe.pipeName);
        EXPECT_TRUE(waitUntil([&] { return ::DeleteFileW(name.c_str()) != FALSE; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        pipe.stopRequested = true;
        const auto begin = std::chrono::steady_clock::now();
        server.join();
        paused += std::chrono::steady_clock::now() - begin > std::chrono::milliseconds(500) ? 1 : 0;
    }
    EXPECT_LE(paused, 5);
}

TEST_F(Process, FailedCreationIsSeenAndCanBeClosed) {
    for (const bool redirectOutput : {true, false}) {
        const auto info = startTool(windowsPath(folder / "none.exe"), -1, redirectOutput);
        EXPECT_EQ(info->result, 1);
        EXPECT_TRUE(isLaunchDone());
        EXPECT_TRUE(isLaunchFailed());
        EXPECT_TRUE(info->finished) << "nothing is forwarded";
        closeProcess(info);
        closeProcess(info); // finds nothing more to end
        EXPECT_EQ(info->terminationPipe, nullptr);
    }
}

// Faults are read at a program's start, so this one starts anew. Its abrupt end would leave a
// folder.
TEST(UserSession, FailedEnvironmentIsMinusOne) {
    if (onWindows)
        GTEST_SKIP() << "no call fails at will there";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ::_putenv_s("ZQHOST_FAIL", "CreateEnvironmentBlock:5");
    EXPECT_EXIT(std::_Exit(startTool("none", 1, /*redirectOutput=*/false)->result),
                testing::ExitedWithCode(0xFF), "");
    ::_putenv_s("ZQHOST_FAIL", "");
}

// A whole run would need the snap's own folder.
TEST(SnapLayout, LeavesTheFrameworksDirectoryInTheInstallation) {
    ::_putenv_s("ZQ_INSTALL_ROOT", "R");
    ::_putenv_s("ZQ_SNAP", "0");
    const std::string library = "/snap/zqstage/current/usr/lib/x86_64-linux-gnu";
    EXPECT_EQ(frameworkDirectory("6"), "R\\frameworks\\6");
    EXPECT_EQ(frameworkLibraryPath("6"), library);
    EXPECT_EQ(frameworkPluginPath("6"), library + "/qt5\\plugins");
    EXPECT_EQ(frameworkQmlPath("6"), library + "/qt5\\qml");
    EXPECT_EQ(toolExecutablePath("t", "7"), "/snap/zqstage/current/bin\\t.exe");
    ::_putenv_s("ZQ_SNAP", "");
}

TEST(StartupCommand, AppendsOptionsUnderTheirConditions) {
    ::_putenv_s("ZQ_INSTALL_ROOT", "R");
    const auto line = [](const std::string &tool, const std::string &version, bool request,
                         bool suppress, const std::string &path) {
        const auto command = buildStartupCommand(tool, version, request, suppress, path);
        return command.executablePath + joinArguments(command.arguments);
    };
    const std::string current = "R\\tools\\current\\zqLauncher\\zqLauncher.exe -t ";
    EXPECT_EQ(line("zqPrelude", "", true, true, ""), current + "zqPrelude");
    EXPECT_EQ(line("zqStage2", "current", true, false, "D:\\x y"),
              current + "zqStage -u 1000 -b \"D:\\x y\" -a \"-n 1\"");
}

// In 7.2 a second launcher starts zqPrelude, which reports. In 7.1 a probe stands for the launcher.
TEST_F(Process, StartupToolRunsAheadOfMainToolsWithUser) {
    addTool("7.2", "zqLauncher", launcherProgram);
    addTool("7.1", "zqLauncher");
    for (const char *tool : {"zqPrelude", "zqOther", "zqHostPrep"})
        addTool("7.2", tool);
    writeFile(tools / "7.2" / "zqPrelude" / "zqPrelude.todo", reportTo("prelude"));
    writeFile(tools / "7.1" / "zqLauncher" / "zqLauncher.todo", reportTo("prelude"));
    struct Case {
        std::vector<std::string> options;
        std::string started{}; // the first argument of what reports
        std::string fault{};   // the stand-in's
    };
    const std::string prelude = "[" + root + "\\tools\\current\\zqPrelude\\zqPrelude.exe]";
    const std::string launcher =
        "[" + root + "\\tools\\7.1\\zqLauncher\\zqLauncher.exe][-t][zqPrelude]";
    for (const Case &each :
         {Case{{"-t", "zqStage", "-u", "5"}, prelude}, Case{{"-t", "zqStage", "-u", "0"}, prelude},
          Case{{"-t", "zqHostPrep", "-u", "0"}, prelude},
          Case{{"-t", "zqStage", "-u", "0", "-p", "7.1"}, launcher},
          Case{{"-s", "-k", windowsPath(probeProgram), "-t", "zqStage", "-u", "0"}, prelude},
          Case{{"-t", "zqStage", "-u", "5"}, onWindows ? prelude : "", "CreateJobObjectW:5"},
          Case{{"-t", "zqStage", "-u", "0"},
               onWindows ? prelude : "",
               "CreateProcessAsUserW:5,CreateNamedPipeW:late"},
          Case{{"-t", "zqStage", "-u", "5", "-n"}}, Case{{"-t", "zqStage", "-u", "-1"}},
          Case{{"-t", "zqStage"}}, Case{{"-t", "zqOther", "-u", "0"}}}) {
        SCOPED_TRACE(testing::PrintToString(each.options));
        std::filesystem::remove(folder / "prelude");
        std::filesystem::remove(folder / "calls");
        const std::string log = (folder / "calls").string();
        LauncherStart launch =
            start(each.options, {{"ZQHOST_CALL_LOG", log}, {"ZQHOST_FAIL", each.fault}});
        launch.arguments.insert(launch.arguments.end(), {"-a", "sleep=2000 exit=6"});
        launch.input = "exit 6\n";
        EXPECT_EQ(LauncherRun(folder, launch).wait(), 6u);
        // In that user's session, with that user's full rights.
        const std::string calls = readFile(log);
        EXPECT_EQ(
            calls.find("cmd.exe  /C Z:\\") != calls.npos &&
                calls.find("\\zqLauncher.exe -t zqPrelude is created with flags 1028, 0 and 0, "
                           "WinSta0\\Default, linked token\n") != calls.npos,
            !each.started.empty() && !onWindows);
        if (each.started.empty()) {
            EXPECT_FALSE(std::filesystem::exists(folder / "prelude"));
            continue;
        }
        Report report = readReport("prelude");
        EXPECT_EQ(report["arguments"], each.started);
        if (each.started == prelude) { // once for each launcher
            const std::string &path = report["PATH"];
            for (const char *entry :
                 {"\\frameworks\\5.15.2\\bin;", "\\tools\\current\\zqLauncher\\;"})
                EXPECT_NE(path.find(entry), path.rfind(entry));
        }
    }
}

} // namespace
