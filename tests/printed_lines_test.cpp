#include "support/launcher_run.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace testing_support;

// For Linux, whose sockets can keep each write of a program as a piece of its own.
using PrintedLines = LaunchTest;

// A listing's, and a failed start-up tool's; the tool itself runs all the same and prints last.
TEST_F(PrintedLines, ComeAtOnceAndInOnePieceEach) {
    std::filesystem::create_directories(tree / "addons" / "weather" / "maps" / "1");
    const std::pair<std::string, std::string> cases[] = {
        {"", "    maps: Warning: "},
        {"WTSQueryUserToken:5", "Cannot set ENABLE_PROCESSED_OUTPUT"},
        {"CreateProcessAsUserW:5,CreateNamedPipeW:late", "command: C:"},
        {"CreateEnvironmentBlock:5", "command: C:"},
        {"CreateJobObjectW:5", "info.ghJob == NULL!"},
        {"SetInformationJobObject:5", "SetInformationJobObject( info.ghJob, "},
        {"AssignProcessToJobObject:5", "AssignProcessToJobObject(info.ghJob, "}};
    for (const auto &[fault, line] : cases) {
        SCOPED_TRACE(fault);
        int ends[2];
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
        ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
        LauncherStart launch =
            start({"-t", "zqStage", "-u", "0", "-a", "print=last stay"}, {{"ZQHOST_FAIL", fault}});
        if (fault.empty())
            launch.arguments.insert(launch.arguments.end(), {"-l", "all"});
        // A shell makes the socket the launcher's standard output.
        const std::string command = "exec \"$0\" \"$@\" >&" + std::to_string(ends[1]);
        launch.arguments.insert(launch.arguments.begin(), {"-c", command, launch.program.string()});
        launch.program = "/bin/sh";
        const LauncherRun run(folder, launch);
        ::close(ends[1]); // so that the launcher's end is seen
        std::string text;
        for (std::string piece = "\n"; !piece.empty() && piece != "last"; text += piece) {
            EXPECT_EQ(piece.find('\n'), piece.size() - 1) << piece;
            char buffer[4096];
            const ssize_t size = ::recv(ends[0], buffer, sizeof buffer, 0);
            piece.assign(buffer, size > 0 ? static_cast<std::size_t>(size) : 0);
        }
        EXPECT_THAT(text, testing::HasSubstr(line));
        EXPECT_EQ(text.ends_with("last"), !fault.empty());
        ::close(ends[0]);
    }
}
