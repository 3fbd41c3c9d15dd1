#include "support/launcher_run.h"

using namespace testing_support;
using namespace std::chrono_literals;

using OutputForwarding = LaunchTest;

// The tool then reads its input, which stays silent.
TEST_F(OutputForwarding, Takes40960BytesASecond) {
    const std::ptrdiff_t chunk = 4096, pauses = 20;
    const std::string file = (folder / "text").generic_string();
    writeFile(file, std::string((pauses + 1) * chunk, 'x'));
    const CallLog calls(folder);
    LauncherRun run(
        folder, start({"-o", "-t", "zqStage", "-a", "type=" + file + " input"}, calls.variables()));
    const auto chunks = [&] { return run.rawOutput().size() / chunk; };
    const Moment first = awaitMoment({}, chunks);
    const std::ptrdiff_t before = calls.count("Sleep 100");
    const Moment last = awaitMoment(first.before, [&] { return chunks() > pauses; });
    EXPECT_TRUE(isAnyRunning());
    EXPECT_GE(first.mostUntil(last), pauses * 100ms) << "too fast";
    // A busy machine makes pauses longer, and some come before the tool has written more.
    EXPECT_LE(calls.count("Sleep 100") - before, pauses * 3 / 2);
    EXPECT_TRUE(has(Feature::CallsNoted) || first.leastUntil(last) <= pauses * 200ms) << "too slow";
}

// A chunk of 4096 bytes is forwarded up to its first zero byte. The tool goes on when what it has
// written is there, and writes more right before its end.
TEST_F(OutputForwarding, CopiesByteForByteWhileTheToolRuns) {
    std::string bytes;
    while (bytes.size() <= 65536)
        bytes += static_cast<char>(bytes.size() % 255 + 1);
    const std::string withZero = std::string("ab\0", 3) + std::string(4093, 'c') + "de";
    const std::pair<std::string, std::string> cases[] = {{withZero, "abde"}, {bytes, bytes}};
    for (const auto &each : cases) {
        const std::string &written = each.first, &forwarded = each.second;
        const std::string file = (folder / std::to_string(written.size())).generic_string();
        writeFile(file, written);
        const std::string orders = "type=" + file + " await=" + file + "go printerr=last";
        LauncherRun run(folder, start({"-d", "-t", "zqStage", "-a", orders}));
        EXPECT_TRUE(waitUntil([&] { return run.rawOutput() == forwarded; }));
        writeFile(file + "go", "");
        EXPECT_EQ(run.wait(), 0u);
        EXPECT_EQ(run.rawOutput(), forwarded + "last");
        EXPECT_EQ(run.errors(), "");
    }
}
