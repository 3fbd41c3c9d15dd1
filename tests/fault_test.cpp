#include "support/launch_fixture.h"
#include "support/process_list.h"
#include "support/service_manager.h"

#include <algorithm>
#include <list>
#include <sstream>

using namespace testing_support;
using namespace std::chrono_literals;
using testing::HasSubstr;

// Each call that a kind of run makes fails once. For Linux: Windows lets no call fail at will.
namespace {

struct Scenario {
    char letter;
    std::vector<std::string> options;
    int status;
    friend void PrintTo(const Scenario &scenario, std::ostream *stream) {
        *stream << testing::PrintToString(scenario.options);
    }
};

// % is a file of the run's own.
const std::string tool = "ignoreword sleep=300 print=x sleep=900 exit=7 for=%";
const std::vector<Scenario> scenarios{
    {'L', {"-t", "zqStage", "-a", tool}, 7},       // a launch
    {'O', {"-o", "-t", "zqStage", "-a", tool}, 7}, // with its output forwarded
    {'A', {"-l", "all"}, 0},                       // a listing, by the tree's launcher
    {'U', {"-o", "-u", "1", "-t", "zqStageWatch", "-a", tool}, 7}, // in the user's session
    {'D', {"--ipc"}, 7},                                           // the daemon
    {'F', {"-t", "zqText"}, 1},                                    // a failed creation
    // A service that is asked to stop once the launch has looked at its queue.
    {'S', {"-t", "zqStage", "-a", "sleep=300 word=% exit=9"}, 9}};

constexpr int waits = -1; // no end: the launcher waits on
const std::string silent = "silent";

struct Row {
    std::string call, letters; // no letters: wherever it's called
    std::vector<int> statuses; // the ends that can come; none: as without the fault
    std::string text;          // in the output or the errors; empty: as without the fault
};

const std::string noRoot = "Warning: 'current' does not exist.";
const std::vector<Row> table{
    {"PathIsDirectoryW", "LOUFS", {1}, "ERROR: directory Z:"},
    {"PathIsDirectoryW", "A", {}, "Warning: The target 'Z:"},
    {"PathIsDirectoryW", "D", {}, ""}, // `current` stands for what it points to
    {"PathFileExistsW", "LOUFS", {1}, "ERROR: File Z:"},
    {"GetFileAttributesW", "", {}, ""}, // an entry without attributes counts as a link
    {"CreateFileW", "A", {}, noRoot},
    {"CreateFileW", "LOUDFS", {}, ""},
    {"GetFinalPathNameByHandleW", "A", {}, noRoot},
    {"GetFinalPathNameByHandleW", "LOUDFS", {}, ""},
    {"GetFullPathNameW", "A", {}, "Warning: the 'current' version is pointing"},
    {"FindFirstFileW", "A", {}, "Warning: the 'current' version is pointing"},
    {"FindNextFileW", "A", {}, "Current version: 7.2\n"},
    {"FindClose", "A", {}, ""},
    {"GetModuleFileNameA", "A", {}, noRoot},
    {"_putenv_s", "LOUFS", {1}, "ERROR: directory C:\\ZQClient\\tools"},
    {"_putenv_s", "A", {}, noRoot},
    {"_putenv_s", "D", {1}, "command: C:\\ZQClient\\frameworks\\current\\bin"},
    {"_fsopen", "LOUFS", {}, ""},
    {"CloseHandle", "", {}, ""},
    {"CreatePipe", "OU", {}, silent}, // the first is the output's
    {"SetHandleInformation", "OU", {}, ""},
    {"GetStdHandle", "OU", {}, ""}, // the first chunk is empty
    {"PeekNamedPipe", "OU", {}, ""},
    {"ReadFile", "OU", {}, ""},
    {"WriteFile", "OU", {}, silent},
    {"WriteFile", "S", {}, ""}, // the pipe's end asks the tool as well
    {"CreateJobObjectW", "LOUDFS", {1}, "info.ghJob == NULL!\n"},
    {"SetInformationJobObject", "LOUDFS", {1}, "SetInformationJobObject( info.ghJob, "},
    {"CreateProcessW", "LODFS", {1}, "CreateProcessAsUser Error 5\nERROR MESSAGE: "},
    {"CreateProcessAsUserW", "U", {1}, "CreateProcessAsUser Error 5\nERROR MESSAGE: "},
    {"CreateEnvironmentBlock", "U", {1}, "last error 5\nCreateProcessAsUser Error 5\n"},
    {"DestroyEnvironmentBlock", "U", {}, ""},
    {"WTSGetActiveConsoleSessionId", "U", {}, "WTSQueryUserToken02\n"},
    {"WTSQueryUserToken", "U", {}, "WTSQueryUserToken05\nWTSQueryUserToken15\n"},
    {"GetTokenInformation", "U", {}, ""}, // the user's own token serves
    {"SetConsoleMode", "U", {}, ""},
    {"CreateNamedPipeW", "", {}, ""},
    {"ConnectNamedPipe", "", {}, ""},
    {"DisconnectNamedPipe", "S", {}, ""},
    {"DeleteFileW", "LOUDS", {}, ""},
    {"ResumeThread", "LOUD", {waits}, silent},
    {"ResumeThread", "S", {0}, ""}, // ended with the grace of a stop
    {"AssignProcessToJobObject", "LOUDS", {1}, "AssignProcessToJobObject(info.ghJob, info.win"},
    {"WaitForSingleObject", "LOUD", {}, ""},
    {"WaitForSingleObject", "S", {9, 0}, ""}, // of three threads, whichever waits first
    {"PeekMessageW", "LOUD", {}, ""},
    {"PeekMessageW", "S", {9, 0}, ""}, // the request finds a queue, or none
    {"GetExitCodeProcess", "LOUDS", {0}, ""},
    {"FormatMessageW", "F", {}, "CreateProcessAsUser Error 193\n"},
    {"LocalFree", "F", {}, ""},
    {"StartServiceCtrlDispatcherW", "LOAUDF", {}, ""},
    {"StartServiceCtrlDispatcherW", "S", {waits}, ""}, // a console run, which no stop reaches
    {"RegisterServiceCtrlHandlerW", "S", {waits}, ""},
    {"SetServiceStatus", "S", {}, ""},
    {"CreateThread", "S", {1}, ""},
    {"CreateEventW", "S", {0}, ""},
    {"SetEvent", "S", {waits}, ""},
    {"PostThreadMessageW", "S", {0}, ""},
    {"OutputDebugStringW", "", {}, ""}};

const Row *findRow(const std::string &call, char letter) {
    for (const Row &row : table)
        if (row.call == call &&
            (row.letters.empty() || row.letters.find(letter) != row.letters.npos))
            return &row;
    return nullptr;
}

// A run, with the nth use of one call failing, or none.
struct FaultRun {
    FaultRun(const TemporaryFolder &folder, LauncherStart start, bool asService,
             const std::string &failing, int nth)
        : call(failing), callLog(folder / ("calls" + failing + std::to_string(nth))) {
        start.environment["ZQHOST_CALL_LOG"] = callLog.string();
        if (!call.empty())
            start.environment["ZQHOST_FAIL"] = call + ":5:" + std::to_string(nth);
        if (call == "LocalFree" || call == "DestroyEnvironmentBlock")
            start.environment["ASAN_OPTIONS"] = "detect_leaks=0"; // they can't but leak
        if (asService)
            manager = std::make_unique<ServiceManager>(folder, start);
        else
            console = std::make_unique<LauncherRun>(folder, start);
    }
    LauncherRun &launcher() { return console ? *console : *manager->launcher(); }
    std::string calls() const { return readFile(callLog); }
    // Sends the stop once it is due; true when the run has ended.
    bool advance() {
        if (manager && !stopSent && calls().find("PeekMessageW") != std::string::npos) {
            manager->control(SERVICE_CONTROL_STOP);
            stopSent = true;
        }
        return !isRunning(launcher().pid());
    }
    int status() {
        if (advance())
            return static_cast<int>(launcher().wait());
        launcher().kill();
        return waits;
    }
    // The line of a granted query comes or not, by what the last error was before.
    std::string text(bool withQueries) {
        std::istringstream all(launcher().output() + launcher().errors());
        std::string kept;
        for (std::string line; std::getline(all, line);)
            if (withQueries || !line.starts_with("WTSQueryUserToken1"))
                kept += line + "\n";
        return kept;
    }

    std::string call;
    std::filesystem::path callLog;
    std::unique_ptr<LauncherRun> console;
    std::unique_ptr<ServiceManager> manager;
    bool stopSent = false;
};

class Faults : public LaunchTest, public testing::WithParamInterface<Scenario> {
protected:
    FaultRun run(const std::string &call, int nth) const {
        LauncherStart launch = start(GetParam().options);
        std::string &last = launch.arguments.back();
        if (const std::size_t at = last.find('%'); at != last.npos)
            last.replace(at, 1, (folder / ("word" + call + std::to_string(nth))).string());
        if (GetParam().letter == 'A') {
            launch.arguments = GetParam().options;
            launch.program = launcher;
        }
        return {folder, launch, GetParam().letter == 'S', call, nth};
    }
    // The runs in which the nth use of each call fails, ended but for those that are to wait.
    std::list<FaultRun> runsWithout(const std::map<std::string, int> &calls, int nth) const {
        std::list<FaultRun> runs;
        for (const auto &[call, count] : calls)
            if (count >= nth)
                runs.push_back(run(call, nth));
        const auto isAwaited = [](FaultRun &each) {
            const Row *row = findRow(each.call, GetParam().letter);
            return !each.advance() && (!row || row->statuses != std::vector{waits});
        };
        waitUntil([&] { return std::count_if(runs.begin(), runs.end(), isAwaited) == 0; });
        return runs;
    }

    std::filesystem::path launcher = tree.addLauncher("7.2");
};

TEST_P(Faults, EachCallOfARunFailsOnce) {
    tree.addTool("7.2", "zqStageWatch");
    writeFile(tree.root() / "tools" / "7.2" / "zqText" / "zqText.exe", "no program\n");
    const auto daemon = tree.root() / "frameworks" / "5.15.2" / "bin" / "dbus-daemon.exe";
    placeProgram(probeProgram(), daemon);
    writeFile(std::filesystem::path(daemon).replace_extension(".todo"), tool);

    FaultRun usual = run("", 0);
    ASSERT_TRUE(waitUntil([&] { return usual.advance(); }));
    ASSERT_EQ(usual.status(), GetParam().status);
    const std::string usualText = usual.text(false);
    std::istringstream log(usual.calls());
    std::map<std::string, int> calls;
    for (std::string call; std::getline(log, call);)
        if (call.find(' ') == call.npos) // others can't fail
            ++calls[call];
    for (const Row &row : table)
        EXPECT_TRUE(row.letters.find(GetParam().letter) == row.letters.npos ||
                    calls.count(row.call) == 1)
            << row.call << " isn't called";

    std::list<FaultRun> runs = runsWithout(calls, 1);
    std::this_thread::sleep_for(2s); // those that are to wait do so for longer than a run takes
    for (FaultRun &each : runs) {
        SCOPED_TRACE(each.call + " failing");
        const Row *row = findRow(each.call, GetParam().letter);
        if (!row) {
            ADD_FAILURE() << "not covered";
            continue;
        }
        const int status = each.status();
        if (row->statuses.empty())
            EXPECT_EQ(status, GetParam().status);
        else
            EXPECT_THAT(row->statuses, testing::Contains(status));
        const std::string text = each.text(!row->text.empty());
        if (row->text == silent) {
            EXPECT_EQ(each.text(false).find('x'), std::string::npos) << text;
        } else if (row->text.empty()) {
            EXPECT_EQ(text, usualText);
        } else {
            EXPECT_THAT(text, HasSubstr(row->text));
            EXPECT_NE(text, usualText);
        }
        EXPECT_EQ(text.find("Sanitizer"), std::string::npos) << text;
    }
    for (FaultRun &each : runsWithout(calls, 2)) {
        SCOPED_TRACE(each.call + " failing at its second use");
        EXPECT_THAT(each.status(), testing::AnyOf(0, 1, GetParam().status));
        EXPECT_EQ(each.text(true).find("Sanitizer"), std::string::npos) << each.text(true);
    }
    const auto left = [&] { return processesWith(folder.path().filename().string()); };
    EXPECT_TRUE(waitUntil([&] { return left().empty(); }, 3s)) << left();
}

INSTANTIATE_TEST_SUITE_P(Of, Faults, testing::ValuesIn(scenarios),
                         [](const auto &each) { return std::string(1, each.param.letter); });

} // namespace
