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
    // The last resort isn't passed on.
    std::filesystem::create_directory(folder / "C:");
    std::filesystem::rename(tree, folder / "C:" / "ZQClient");
    placeProgram(launcherProgram, folder / "zqLauncher.exe");
    LauncherRun run(folder, {.arguments = {"-t", "zqStage", "-a", reportTo("tool")},
                             .environment = {{"LARKSTONE_PATH_PREFIX", windowsPath(folder / "")}},
                             .program = folder / "zqLauncher.exe"});
    EXPECT_EQ(run.wait(), 0u);
    EXPECT_EQ(readReport("tool").count("ZQ_INSTALL_ROOT"), 0u);
}
