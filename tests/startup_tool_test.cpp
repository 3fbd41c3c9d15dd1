#include "environment/startup_tool.h"

#include "process/process_handling.h"
#include "support/call_log.h"
#include "support/launcher_run.h"

using namespace testing_support;

namespace {

class StartupTool : public LaunchTest {};

TEST(StartupCommand, AppendsOptionsUnderTheirConditions) {
    ::_putenv_s("ZQ_INSTALL_ROOT", "R");
    const auto line = [](const std::string &tool, const std::string &version, bool request,
                         bool suppress, const std::string &path) {
        const auto command = buildStartupCommand(tool, version, request, suppress, path);
        return command.executablePath + ProcessHandling::joinArguments(command.arguments);
    };
    const std::string current = "R\\tools\\current\\zqLauncher\\zqLauncher.exe -t ";
    EXPECT_EQ(line("zqPrelude", "", true, true, ""), current + "zqPrelude");
    EXPECT_EQ(line("zqStage2", "current", true, false, "D:\\x y"),
              current + "zqStage -u 1000 -b \"D:\\x y\" -a \"-n 1\"");
}

// In 7.2 a second launcher starts zqPrelude, which reports. In 7.1 a probe stands for the launcher.
// The tool ends when the report is there.
TEST_F(StartupTool, RunsAheadOfMainToolsWithUser) {
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
    const std::string unlessItFails = has(Feature::CallsNoted) ? "" : prelude;
    const std::string await = "await=" + (folder / "prelude").generic_string();
    for (const Case &each :
         {Case{{"-t", "zqStage", "-u", "5"}, prelude}, Case{{"-t", "zqStage", "-u", "0"}, prelude},
          Case{{"-t", "zqHostPrep", "-u", "0"}, prelude},
          Case{{"-t", "zqStage", "-u", "0", "-p", "7.1"}, launcher},
          Case{{"-s", "-k", windowsPath(probeProgram) + " " + await, "-t", "zqStage", "-u", "0"},
               prelude},
          Case{{"-t", "zqStage", "-u", "5"}, unlessItFails, "CreateJobObjectW:5"},
          Case{{"-t", "zqStage", "-u", "0"},
               unlessItFails,
               "CreateProcessAsUserW:5,CreateNamedPipeW:late"},
          Case{{"-t", "zqStage", "-u", "5", "-n"}}, Case{{"-t", "zqStage", "-u", "-1"}},
          Case{{"-t", "zqStage"}}, Case{{"-t", "zqOther", "-u", "0"}}}) {
        SCOPED_TRACE(testing::PrintToString(each.options));
        for (const char *file : {"prelude", "calls"})
            std::filesystem::remove(folder / file);
        const CallLog log(folder);
        LauncherStart launch = start(each.options, log.variables());
        launch.environment["ZQHOST_FAIL"] = each.fault;
        // Without the stand-in's log, only time can show that nothing was started.
        const std::string orders = !each.started.empty()      ? await
                                   : has(Feature::CallsNoted) ? ""
                                                              : "sleep=2000";
        launch.arguments.insert(launch.arguments.end(), {"-a", orders + " exit=6"});
        launch.input = "exit 6\n";
        EXPECT_EQ(LauncherRun(folder, launch).wait(), 6u);
        // In that user's session, with that user's full rights.
        const std::string calls = log.text();
        EXPECT_EQ(
            calls.find("cmd.exe  /C Z:\\") != calls.npos &&
                calls.find("\\zqLauncher.exe -t zqPrelude is created with flags 1028, 0 and 0, "
                           "WinSta0\\Default, linked token\n") != calls.npos,
            !each.started.empty() && has(Feature::CallsNoted));
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
