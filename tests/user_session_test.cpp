#include "process/process_handling.h"
#include "support/call_log.h"
#include "support/launcher_run.h"

#include <cstdlib>

using namespace testing_support;
using testing::HasSubstr;
using testing::Not;

namespace {

class UserSession : public LaunchTest {};

// Faults are read at a program's start, so this one starts anew. Its abrupt end would leave a
// folder.
TEST(UserEnvironment, ThatFailsIsMinusOne) {
    SKIP_WITHOUT(Feature::CallsNoted);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ::_putenv_s("ZQHOST_FAIL", "CreateEnvironmentBlock:5");
    EXPECT_EXIT(std::_Exit(ProcessHandling::startProcess("none", {}, /*userId=*/1, false, false, "",
                                                         false, false, /*useJob=*/true)
                               ->result),
                testing::ExitedWithCode(0xFF), "");
    ::_putenv_s("ZQHOST_FAIL", "");
}

TEST_F(UserSession, LaunchWaitsForAUserAndGivesThatUsersEnvironment) {
    SKIP_WITHOUT(Feature::EmptyConsole);
    const std::filesystem::path user = folder / "console_user";
    const CallLog calls(folder);
    LauncherStart launch =
        start({"-u", "1", "-n", "-t", "zqStage", "-a", reportTo("tool")}, calls.variables());
    launch.environment["ZQHOST_CONSOLE_USER"] = user.string();
    launch.environment["USER"] = "launcher";
    LauncherRun run(folder, launch);
    EXPECT_TRUE(run.awaitOutput("WTSQueryUserToken01008\nWTSQueryUserToken01008\n"));
    EXPECT_FALSE(std::filesystem::exists(folder / "tool"));
    writeFile(user, "somebody");
    EXPECT_EQ(run.wait(), 0u);
    EXPECT_EQ(readReport("tool").at("USER"), "somebody");
    EXPECT_EQ(calls.count("GetTokenInformation"), 0) << "no linked token is asked for";
}

// At first nobody is there, then a user whose linked token is null. For each of them the tokens are
// asked for again after a pause, and closed before.
TEST_F(UserSession, NullLinkedTokenCountsAsNoUserYet) {
    SKIP_WITHOUT(Feature::CallsNoted);
    addTool("7.2", "zqStageWatch");
    const std::filesystem::path user = folder / "user";
    const CallLog calls(folder);
    LauncherStart launch = start({"-u", "1", "-t", "zqStageWatch"}, calls.variables());
    launch.environment["ZQHOST_CONSOLE_USER"] = user.string();
    LauncherRun run(folder, launch);
    EXPECT_TRUE(waitUntil([&] { return calls.count("WTSQueryUserToken") >= 3; }));
    writeFile(user, "unlinked");
    EXPECT_TRUE(waitUntil([&] { return calls.count("GetTokenInformation") >= 6; }));
    writeFile(user, "somebody");
    EXPECT_EQ(run.wait(), 0u);

    const std::string log = calls.text();
    EXPECT_THAT(log, HasSubstr("\nWTSQueryUserToken\nSleep 1\nWTSGetActiveConsoleSessionId\n"));
    EXPECT_THAT(log, HasSubstr("\nGetTokenInformation\nGetTokenInformation\nCloseHandle\nSleep 1\n"
                               "WTSGetActiveConsoleSessionId\n"));
    EXPECT_EQ(calls.count("Sleep 0"), 0);
    EXPECT_EQ(calls.count("CreateEnvironmentBlock"), 1);
    EXPECT_THAT(log, HasSubstr("\nCreateEnvironmentBlock\nof a linked token\n"));
    EXPECT_THAT(log, HasSubstr("WinSta0\\Default, linked token\n"));
}

} // namespace
