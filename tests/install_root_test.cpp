#include "support/launcher_run.h"

using namespace testing_support;

using InstallRoot = LaunchTest;

// Four levels above the executable, or the last resort for one that is less deep.
TEST_F(InstallRoot, FollowsFromTheLaunchersOwnPlace) {
    const std::filesystem::path deep = addTool("7.1", "zqLauncher", launcherProgram);
    LauncherRun byPlace(folder, {.arguments = {"-t", "t"}, .program = deep});
    EXPECT_EQ(byPlace.wait(), 1u);
    EXPECT_EQ(byPlace.output(),
              "ERROR: directory " + root + "\\tools\\current\\t does not exist, bailing.\n");
    SKIP_WITHOUT(Feature::ShallowFolders);
    // With this prefix it is in the test's folder. It isn't passed on as a variable.
    std::filesystem::create_directory(folder / "C:");
    std::filesystem::rename(tree, folder / "C:" / "ZQClient");
    placeProgram(launcherProgram, folder / "zqLauncher.exe");
    LauncherRun run(folder, {.arguments = {"-t", "zqStage", "-a", reportTo("tool")},
                             .environment = {{"LARKSTONE_PATH_PREFIX", windowsPath(folder / "")}},
                             .program = folder / "zqLauncher.exe"});
    EXPECT_EQ(run.wait(), 0u);
    EXPECT_EQ(readReport("tool").count("ZQ_INSTALL_ROOT"), 0u);
}
