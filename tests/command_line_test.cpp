#include "support/launcher_run.h"

using namespace testing_support;

namespace {

class CommandLine : public LaunchTest {};

TEST_F(CommandLine, ShortVersionIsTheBareText) {
    LauncherRun run(folder, start({"-c"}));
    EXPECT_EQ(run.wait(), 0u);
    EXPECT_EQ(run.rawOutput(), LAUNCHER_VERSION);
}

} // namespace
