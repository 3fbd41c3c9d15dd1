#include "support/launcher_run.h"

using namespace testing_support;

using InstallRoot = LaunchTest;

// Four levels above the executable, or the last resort for one that is less deep.
TEST_F(InstallRoot, FollowsFromTheLaunchersOwnPlace) {
    const auto expectRoot = [this](const std::string &expected,
                                   const std::filesystem::path &program) {
        placeProgram(launcherProgram, program);
        LauncherRun run(folder, {.arguments = {"-t", "t"},
                                 .environment = {{"LARKSTONE_PATH_PREFIX", "X"}},
                                 .program = program});
        EXPECT_EQ(run.wait(), 1u);
        EXPECT_EQ(run.output(), "ERROR: directory " + expected +
                                    "\\tools\\current\\t does not exist, bailing.\n");
    };
    expectRoot(root, tools / "7.1" / "zqLauncher" / "zqLauncher.exe");
    SKIP_WITHOUT(Feature::ShallowFolders);
    expectRoot("XC:\\ZQClient", folder / "zqLauncher.exe");
}
