#include "support/launcher_run.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace testing_support;

// For Linux, whose sockets can keep each write of a program as a piece of its own.
namespace {

class PrintedLines : public LaunchTest {};

// A shell makes the socket the launcher's standard output.
LauncherStart onSocket(LauncherStart launch, int socket) {
    launch.arguments.insert(
        launch.arguments.begin(),
        {"-c", "exec \"$0\" \"$@\" >&" + std::to_string(socket), launch.program.string()});
    launch.program = "/bin/sh";
    return launch;
}

// The start-up tool's lines, while the tool runs on: each comes in a write of its own.
TEST_F(PrintedLines, ComeAtOnceAndInOnePieceEach) {
    const std::pair<std::string, std::string> cases[] = {
        {"WTSQueryUserToken:5", "Cannot set ENABLE_PROCESSED_OUTPUT"},
        {"CreateProcessAsUserW:5", "command: C:"},
        {"CreateEnvironmentBlock:5", "command: C:"},
        {"CreateJobObjectW:5", "info.ghJob == NULL!"},
        {"SetInformationJobObject:5", "SetInformationJobObject( info.ghJob, "},
        {"AssignProcessToJobObject:5", "AssignProcessToJobObject(info.ghJob, "}};
    for (const auto &[fault, lastLine] : cases) {
        SCOPED_TRACE(fault);
        int ends[2];
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
        ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
        const LauncherStart launch =
            start({"-t", "zqStage", "-u", "0", "-a", "sleep=60000"}, {{"ZQHOST_FAIL", fault}});
        const LauncherRun run(folder, onSocket(launch, ends[1]));
        ::close(ends[1]); // so that the launcher's end is seen
        std::string piece;
        while (!piece.starts_with(lastLine)) {
            char buffer[4096];
            const ssize_t size = ::recv(ends[0], buffer, sizeof buffer, 0);
            ASSERT_GT(size, 0);
            piece.assign(buffer, static_cast<std::size_t>(size));
            EXPECT_EQ(piece.find('\n'), piece.size() - 1) << piece;
        }
        EXPECT_FALSE(run.hasEnded());
        ::close(ends[0]);
    }
}

} // namespace
