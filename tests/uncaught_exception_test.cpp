#include "support/launcher_run.h"

using namespace testing_support;

namespace {

class UncaughtException : public LaunchTest {};

TEST_F(UncaughtException, EndsTheRunWithALineAndStatusOneOnEachThread) {
    SKIP_WITHOUT(Feature::CallsNoted);
    for (const std::string call : {"CreateJobObjectW", "CreateNamedPipeW", "PeekNamedPipe"}) {
        LauncherRun run(folder, start({"-o", "-t", "zqStage", "-a", "sleep=60000"},
                                      {{"ZQHOST_FAIL", call + ":throw"}}));
        EXPECT_EQ(run.wait(), 1u) << call;
        EXPECT_EQ(run.errors(), "ERROR: std::bad_alloc, bailing.\n");
        EXPECT_TRUE(waitUntil([&] { return !isAnyRunning(); }));
    }
}

} // namespace
