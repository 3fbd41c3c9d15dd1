#include "support/launcher_run.h"

using namespace testing_support;

namespace {

class InstallRoot : public LaunchTest {
protected:
    void expectRoot(const std::string &expected, const std::filesystem::path &program) const {
        placeProgram(launcherProgram, program);
        LauncherRun run(folder, {.arguments = {"-t", "t"},
                                 .environment = {{"LARKSTONE_PATH_PREFIX", "X"}},
                                 .program = program});
        EXPECT_EQ(run.wait(), 1u);
        EXPECT_EQ(run.output(), "ERROR: directory " + expected +
                                    "\\tools\\current\\t does not exist, bailing.\n");
    }
};

TEST_F(InstallRoot, IsFourLevelsAboveTheExecutable) {
    expectRoot(root, tools / "7.1" / "zqLauncher" / "zqLauncher.exe");
}

TEST_F(InstallRoot, IsTheLastResortForALauncherThatIsLessDeep) {
    SKIP_WITHOUT(Feature::ShallowFolders);
    expectRoot("XC:\\ZQClient", folder / "zqLauncher.exe");
}

} // namespace
