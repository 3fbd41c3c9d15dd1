#include "support/launcher_run.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace testing_support;

// For Linux, whose sockets can keep each write of a program as a piece of its own.
namespace {

class PrintedLines : public LaunchTest {};

// The standard output of a launcher, piece by piece.
class PieceReader {
public:
    PieceReader() {
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
        ::fcntl(ends[1], F_SETFD, 0);
    }
    ~PieceReader() {
        for (const int end : ends)
            ::close(end);
    }

    LauncherStart attach(LauncherStart launch) const {
        launch.arguments.insert(
            launch.arguments.begin(),
            {"-c", "exec \"$0\" \"$@\" >&" + std::to_string(ends[1]), launch.program.string()});
        launch.program = "/bin/sh";
        return launch;
    }
    std::string next() const {
        char piece[4096];
        ssize_t size = -1;
        EXPECT_TRUE(waitUntil([&] {
            size = ::recv(ends[0], piece, sizeof piece, MSG_DONTWAIT);
            return size >= 0;
        }));
        return {piece, size > 0 ? static_cast<std::size_t>(size) : 0};
    }

private:
    int ends[2];
};

// The launcher, or its tool, waits until all lines are seen.
TEST_F(PrintedLines, ComeAtOnceAndInOnePieceEach) {
    struct Case {
        std::vector<std::string> options;
        std::string fault;
        std::vector<std::string> beginnings;
    };
    const std::vector<std::string> creation{"CreateProcessAsUser Error 5",
                                            "ERROR MESSAGE: ", "command: C:"};
    const std::vector<std::string> environment{"last error 5", creation[0], creation[1],
                                               creation[2]};
    const std::vector<std::string> mainTool{"-t", "zqStage", "-u", "0"};
    for (const Case &each :
         {Case{{"-t", "zqStage", "-u", "1", "-n"}, "WTSQueryUserToken:5", {"WTSQueryUserToken05"}},
          Case{{"-t", "zqStage", "-u", "1", "-n"}, "", {"Cannot set ENABLE_PROCESSED_OUTPUT"}},
          Case{mainTool, "CreateProcessAsUserW:5", creation},
          Case{mainTool, "CreateEnvironmentBlock:5", environment},
          Case{mainTool, "CreateJobObjectW:5", {"info.ghJob == NULL!"}},
          Case{mainTool, "SetInformationJobObject:5", {"SetInformationJobObject( info.ghJob, "}},
          Case{
              mainTool, "AssignProcessToJobObject:5", {"AssignProcessToJobObject(info.ghJob, "}}}) {
        SCOPED_TRACE(each.fault);
        LauncherStart launch = start(each.options, {{"ZQHOST_FAIL", each.fault}});
        launch.arguments.insert(launch.arguments.end(), {"-a", "sleep=60000"});
        const PieceReader output;
        const LauncherRun run(folder, output.attach(launch));
        for (const std::string &beginning : each.beginnings) {
            const std::string piece = output.next();
            EXPECT_THAT(piece, testing::StartsWith(beginning));
            EXPECT_EQ(piece.find('\n'), piece.size() - 1);
        }
        EXPECT_FALSE(run.hasEnded());
    }
}

} // namespace
