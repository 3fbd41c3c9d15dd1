#include "support/call_log.h"
#include "support/launcher_run.h"

using namespace testing_support;
using testing::AllOf, testing::HasSubstr;

using UserSession = LaunchTest;

// At first nobody is there, then a user whose linked token is null. A tool that needs that token
// waits on: the tokens are closed, and asked for again after a pause.
TEST_F(UserSession, LaunchWaitsForAUserWithTheTokenThatItNeeds) {
    SKIP_WITHOUT(Feature::CallsNoted);
    addTool("7.2", "zqStageWatch");
    const std::filesystem::path user = folder / "user";
    const CallLog calls(folder);
    LauncherStart launch =
        start({"-u", "1", "-t", "zqStageWatch", "-a", reportTo("tool")}, calls.variables());
    launch.environment.insert({{"ZQHOST_CONSOLE_USER", user.string()}, {"USER", "launcher"}});
    LauncherRun run(folder, launch);
    EXPECT_TRUE(run.awaitOutput("WTSQueryUserToken01008\nWTSQueryUserToken01008\n"));
    writeFile(user, "unlinked");
    EXPECT_TRUE(waitUntil([&] { return calls.count("GetTokenInformation") >= 6; }));
    writeFile(user, "somebody");
    EXPECT_EQ(run.wait(), 0u);
    EXPECT_EQ(readReport("tool").at("USER"), "somebody");
    EXPECT_THAT(calls.text(),
                AllOf(HasSubstr("\nWTSQueryUserToken\nSleep 1\nWTSGetActiveConsoleSessionId\n"),
                      HasSubstr("\nGetTokenInformation\nGetTokenInformation\nCloseHandle\nSleep 1\n"
                                "WTSGetActiveConsoleSessionId\n"),
                      HasSubstr("\nCreateEnvironmentBlock\nof a linked token\n")));
}
