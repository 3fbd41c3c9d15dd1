#include "support/launcher_run.h"

using namespace testing_support;
using testing::HasSubstr;

using UserSession = LaunchTest;

// A tool, and a shell. At first nobody is there, then a user whose linked token is null. A tool
// that needs that token waits on: the tokens are closed, and asked for again after a pause.
TEST_F(UserSession, LaunchWaitsForAUserWithTheTokenThatItNeeds) {
    SKIP_WITHOUT(Feature::CallsNoted);
    addTool("7.2", "zqStageWatch");
    const std::string program = root + "\\tools\\7.2\\zqStage\\zqStage.exe ";
    for (const std::vector<std::string> &options :
         {std::vector<std::string>{"zqStage", "-b", windowsPath(tools / "7.1" / "zqStage"), "-a",
                                   reportTo("zqStage")},
          {"zqStageWatch", "-s", "-d", "-k", program + reportTo("zqStageWatch") + " & exit"}}) {
        const std::string &tool = options[0];
        const std::filesystem::path user = folder / (tool + ".user");
        const CallLog calls(folder, tool + ".calls");
        LauncherStart launch = start({"-u", "1", "-n", "-t"}, calls.variables());
        launch.arguments.insert(launch.arguments.end(), options.begin(), options.end());
        launch.environment.insert({{"ZQHOST_CONSOLE_USER", user.string()}, {"USER", "launcher"}});
        LauncherRun run(folder, launch);
        EXPECT_TRUE(run.awaitOutput("WTSQueryUserToken01008\nWTSQueryUserToken01008\n"));
        writeFile(user, "unlinked");
        if (tool == "zqStageWatch") {
            EXPECT_TRUE(waitUntil([&] { return calls.count("GetTokenInformation") >= 6; }));
            writeFile(user, "somebody");
        }
        EXPECT_EQ(run.wait(), 0u);
        EXPECT_EQ(readReport(tool).at("USER"), readFile(user));
        EXPECT_EQ(readReport(tool).at("pipes"), tool == "zqStage" ? "0" : "2");
        const std::string log = calls.text();
        EXPECT_THAT(log, HasSubstr("\nWTSQueryUserToken\nSleep 1\nWTSGetActiveConsoleSessionId\n"));
        if (tool == "zqStage") {
            EXPECT_EQ(calls.count("GetTokenInformation"), 0);
            continue;
        }
        EXPECT_THAT(log, HasSubstr("\nGetTokenInformation\nGetTokenInformation\nCloseHandle\n"
                                   "Sleep 1\nWTSGetActiveConsoleSessionId\n"));
        EXPECT_THAT(log, HasSubstr("\nCreateEnvironmentBlock\nof a linked token\n"));
    }
}
