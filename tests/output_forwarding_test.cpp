#include "support/launcher_run.h"
#include "support/moment.h"

using namespace testing_support;
using namespace std::chrono_literals;

namespace {

class OutputForwarding : public LaunchTest {};

TEST_F(OutputForwarding, Takes4096BytesEach100Ms) {
    const std::size_t chunk = 4096, pauses = 20;
    const std::string file = (folder / "text").generic_string();
    writeFile(file, std::string((pauses + 1) * chunk, 'x'));
    LauncherRun run(folder, start({"-o", "-t", "zqStage", "-a", "type=" + file + " sleep=60000"}));
    const auto isThere = [&run](std::size_t size) {
        return [&run, size] { return run.rawOutput().size() >= size; };
    };
    const Moment first = awaitMoment({}, isThere(chunk));
    const Moment last = awaitMoment(first.before, isThere((pauses + 1) * chunk));
    EXPECT_GE(mostBetween(first, last), pauses * 100ms);
    EXPECT_LE(leastBetween(first, last), pauses * 100ms + 1000ms);
}

// Each chunk is forwarded up to its first zero byte. The tool goes on when what it has written is
// there, and writes more right before its end.

} // namespace
