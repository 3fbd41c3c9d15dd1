#include "support/launcher_run.h"

using CommandLine = testing_support::LaunchTest;

TEST_F(CommandLine, ShortVersionIsTheBareText) {
    testing_support::LauncherRun run(folder, start({"-c"}));
    EXPECT_EQ(run.wait(), 0u);
    EXPECT_EQ(run.rawOutput(), LAUNCHER_VERSION);
}
