#include "environment/startup_tool.h"

#include "process/process_handling.h"
#include "support/launcher_run.h"

using namespace testing_support;
using testing::HasSubstr;

using StartupTool = LaunchTest;

TEST(StartupCommand, AppendsOptionsUnderTheirConditions) {
    ::_putenv_s("ZQ_INSTALL_ROOT", "R");
    const StartupCommand bare = buildStartupCommand("zqPrelude", "", /*requestUser=*/true,
                                                    /*suppressUser=*/true, ""),
                         full = buildStartupCommand("zqStage2", "current", /*requestUser=*/true,
                                                    /*suppressUser=*/false, "D:\\x y");
    EXPECT_EQ(bare.executablePath, "R\\tools\\current\\zqLauncher\\zqLauncher.exe");
    EXPECT_EQ(full.executablePath, bare.executablePath);
    EXPECT_EQ(ProcessHandling::joinArguments(bare.arguments), " -t zqPrelude");
    EXPECT_EQ(ProcessHandling::joinArguments(full.arguments),
              " -t zqStage -u 1000 -b \"D:\\x y\" -a \"-n 1\"");
}

// A probe is in the place of the launcher that is to start zqPrelude. Each of
// the two ends only after the other has reported. Examples show which runs have a start-up tool.
TEST_F(StartupTool, RunsWithTheToolsVersionAndVariablesInTheUsersSession) {
    SKIP_WITHOUT(Feature::UserTokens);
    const std::string orders =
        reportTo("tool") + " await=" + (folder / "startup").generic_string() + " exit=6";
    const std::string command = root + "\\tools\\7.2\\zqStage\\zqStage.exe " + orders + " & exit 6";
    for (const std::vector<std::string> &options :
         {std::vector<std::string>{"-p", "current", "-t", "zqStage", "-u", "5", "-a", orders},
          {"-p", "7.1", "-t", "zqStage", "-u", "0", "-a", orders},
          {"-p", "7.3", "-t", "zqStage", "-u", "0", "-s", "-k", command}}) {
        SCOPED_TRACE(testing::PrintToString(options));
        const std::filesystem::path launcher = addTool(/*version=*/options[1], "zqLauncher");
        writeFile(std::filesystem::path(launcher).replace_extension(".todo"),
                  reportTo("startup") + " await=" + (folder / "tool").generic_string());
        writeFile(tools / "7.3" / "zqStage" / ".qtinfo", "none"); // a shell doesn't read it
        std::filesystem::remove(folder / "startup");
        std::filesystem::remove(folder / "tool");
        const CallLog calls(folder, options[1]);
        EXPECT_EQ(LauncherRun(folder, start(options, calls.variables())).wait(), 6u);

        const Report report = readReport("startup");
        const std::string path = windowsPath(launcher);
        EXPECT_EQ(report.at("arguments"), "[" + path + "][-t][zqPrelude]");
        EXPECT_THAT(report.at("PATH"), HasSubstr("\\frameworks\\5.15.2\\bin;"));
        EXPECT_THAT(report.at("PATH"), HasSubstr("\\tools\\current\\zqLauncher\\;"));
        if (has(Feature::CallsNoted)) { // with that user's full rights, which the tool has not
            EXPECT_THAT(calls.text(), HasSubstr("cmd.exe  /C " + path +
                                                " -t zqPrelude is created with flags 1028, 0 and "
                                                "0, WinSta0\\Default, linked token\n"));
            EXPECT_EQ(calls.count("DeleteFileW"), 2); // the start-up run is closed, too
            EXPECT_EQ(calls.count("Sleep 1"), 0) << "waits for somebody who looks at the launch";
            EXPECT_EQ(calls.text().find("WinSta0\\Default\n") != std::string::npos,
                      options[5] == "5");
        }
    }
}
