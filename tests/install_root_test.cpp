#include "support/launcher_run.h"

using namespace testing_support;

namespace {

class InstallRoot : public LaunchTest {
protected:
    std::string rootOf(const std::filesystem::path &program) const {
        placeProgram(launcherProgram, program);
        LauncherRun run(folder, {.arguments = {"-t", "t"},
                                 .environment = {{"LARKSTONE_PATH_PREFIX", "X"}},
                                 .program = program});
        EXPECT_EQ(run.wait(), 1u);
        const std::string line = run.output();
        const std::string begin = "ERROR: directory ", end = "\\tools\\current\\t";
        EXPECT_THAT(line, testing::EndsWith(end + " does not exist, bailing.\n"));
        return line.substr(begin.size(), line.find(end) - begin.size());
    }
};

TEST_F(InstallRoot, IsFourLevelsAboveTheExecutable) {
    EXPECT_EQ(rootOf(tools / "7.1" / "zqLauncher" / "zqLauncher.exe"), root);
}

TEST_F(InstallRoot, IsTheLastResortForALauncherThatIsLessDeep) {
    SKIP_WITHOUT(Feature::ShallowFolders);
    EXPECT_EQ(rootOf(folder / "zqLauncher.exe"), "XC:\\ZQClient");
}

} // namespace
