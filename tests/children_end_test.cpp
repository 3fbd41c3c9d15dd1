#include "support/launcher_run.h"

using namespace testing_support;

using ChildrenEnd = LaunchTest;

TEST_F(ChildrenEnd, WithTheirToolAndWithAKilledLauncher) {
    const std::filesystem::path child = tools / "7.2" / "zqStage" / "child.exe";
    placeProgram(probeProgram, child);
    for (const bool isKilled : {false, true}) {
        SCOPED_TRACE(isKilled ? "the launcher is killed" : "the tool ends");
        const std::string name = (folder / (isKilled ? "killed" : "ended")).generic_string();
        LauncherRun run(folder, start({"-o", "-t", "zqStage", "-a",
                                       "endchildren child=" + name +
                                           " sleep=300 print=runs await=" + name + " exit=7"}));
        // Asked earlier, whether the child runs could keep it from being started.
        EXPECT_TRUE(run.awaitOutput("runs"));
        EXPECT_TRUE(isRunning(child));
        if (isKilled)
            run.kill();
        else
            writeFile(name, "");
        EXPECT_EQ(run.wait() == 7, !isKilled);
        // Sooner than it would end by itself, after a minute.
        EXPECT_TRUE(waitUntil([&] { return !isRunning(child); }, std::chrono::seconds(10)));
    }
}
