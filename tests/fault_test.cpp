#include "support/service_manager.h"

#include <algorithm>
#include <set>
#include <sstream>

// Makes each call of each kind of run fail once, and come late once: only the stand-in can.

using namespace testing_support;
using testing::HasSubstr;

namespace {

enum class Kind { Launch, Forward, List, User, Daemon, Console, Failed, Service };
using enum Kind;
using Kinds = std::set<Kind>;

// Parts of what a run prints, logs and reports. A line begins with the name of its stream, a report
// is as it is, and the root is Z:. What the tool prints, each a #, is in a line of its own.
using Parts = std::vector<std::string>;

const std::string twoHandles = "CloseHandle\nCloseHandle\n"; // of a process and its thread

// A kind of run: the options of the launcher, and what comes if no call fails.
struct KindOfRun {
    Kind kind;
    std::string name;
    std::vector<std::string> options;
    int exit;
    Parts text = {"tool: #\n"};
    std::string process = {}; // in the log of the calls: the flags of the tool's process, those of
                              // its start-up information, and how its window is shown
    std::string released = twoHandles; // calls that come in this order, with none between
};

void PrintTo(const KindOfRun &kind, std::ostream *stream) {
    *stream << kind.name;
}

constexpr int usual = -2, waits = -1;

// What comes of a run if a call fails at one of the uses; nothing is on the standard error but what
// the row says. Where several rows are for the same fault, either may occur.
struct Row {
    std::set<std::string> calls = {};
    Kinds kinds = {};
    std::set<int> uses = {1};
    int exit = usual; // a status, `usual`, or `waits` for a run that doesn't end
    Parts text = {};  // none: all that comes if no call fails
};

// The tool prints # and ends with 7.
const std::string tool = "ignoreword sleep=300 print=# sleep=900 exit=7";

// A debug line of the service's main routine.
std::string mainLine(const std::string &text) {
    return "debug: Larkstone Launcher (Service Mode): ServiceMain: " + text + "\n";
}

// clang-format off
const KindOfRun kinds[] = {
    {.kind = Launch, .name = "launch", .options = {"-t", "zqStage", "-a", tool}, .exit = 7, .process = "flags 4, 0 and 0\n"},
    {.kind = Forward, .name = "forward", .options = {"-o", "-t", "zqStage", "-a", tool}, .exit = 7,
     .process = "flags 4, 256 and 0, inheriting\n"},
    {.kind = List, .name = "list", .options = {"-l", "all"}, .exit = 0, .text = {"output: Current version: 7.2\n"},
     .released = "FindNextFileW\nFindClose\n"},
    {.kind = User, .name = "user", .options = {"-u", "1", "-t", "zqStageWatch", "-a", tool}, .exit = 7,
     .text = {"output: Cannot set ENABLE_PROCESSED_OUTPUT\n", "tool: #\n"},
     .process = "flags 1028, 0 and 0, WinSta0\\Default, linked token\n",
     .released = "DestroyEnvironmentBlock\n" + twoHandles}, // here those of the two tokens
    {.kind = Daemon, .name = "daemon", .options = {"-i"}, .exit = 7, .process = "system.conf is created with flags 4, 1 and 0\n"},
    {.kind = Console, .name = "console", .options = {"-i", "-o"}, .exit = 7, .text = {"tool: \n"},
     .process = "system.conf is created with flags 20, 1 and 0\n"},
    {.kind = Failed, .name = "failed", .options = {"-t", "zqText"}, .exit = 1,
     .text = {"output: CreateProcessAsUser Error 193\noutput: ERROR MESSAGE: "}, .released = "LocalFree\n"}, // the system's text
    // It is stopped while its tool waits for the word.
    {.kind = Service, .name = "service", .options = {"-t", "zqStage", "-a", "word=./word exit=9"}, .exit = 9,
     .text = {mainLine("Done") + starting + running + stopping + stopped(9) + "word: zqEnd!"},
     .released = twoHandles + "CloseHandle\nSetServiceStatus\n"}, // and the stop event
};

const Kinds allButList = {Launch, Forward, User, Daemon, Console, Failed, Service};
const Kinds toolRuns = {Launch, Forward, User, Failed, Service};
const Kinds daemonRuns = {Daemon, Console};
const Kinds started = {Launch, Forward, User, Daemon, Console}; // on a console, and successfully
const Kinds startedOrService = {Launch, Forward, User, Daemon, Console, Service};
const Kinds startedDirectly = {Launch, Forward, Daemon, Console, Failed, Service};

// To find what `current` points to, and to set the root of the installation.
const std::set<std::string> linkCalls = {"CreateFileW", "GetFinalPathNameByHandleW"};
const std::set<std::string> rootCalls = {"GetModuleFileNameA", "_putenv_s"};

const std::string noCurrent = "output: Warning: 'current' does not exist.";
const std::string foreignCurrent = "errors: Warning: the 'current' version is pointing to a package outside";
const std::string onlyCurrents = "output: Current version: 5.15.2\n";
const std::string accessDenied = "output: CreateProcessAsUser Error 5\noutput: ERROR MESSAGE: ";
const std::string statusFailed = mainLine("SetServiceStatus returned error");
const std::string handlerFailed = "ServiceCtrlHandler: SetServiceStatus returned error\n";
const std::string noHandler = mainLine("RegisterServiceCtrlHandler returned error") + mainLine("Exit");
const std::string noEvent = mainLine("CreateEvent(g_ServiceStopEvent) returned error") + mainLine("Exit");

const Row table[] = {
    // Paths of the installation. `current` is resolved in two steps, once for each path.
    {.calls = {"PathIsDirectoryW"}, .kinds = toolRuns, .exit = 1, .text = {"output: ERROR: directory Z:"}},
    {.calls = {"PathIsDirectoryW"}, .kinds = toolRuns, .uses = {5}, .exit = 1, .text = {"errors: ERROR: Framework library path Z:"}},
    {.calls = {"PathIsDirectoryW"}, .kinds = toolRuns, .uses = {6}, .exit = 1, .text = {"errors: ERROR: Framework plugin path Z:"}},
    {.calls = {"PathIsDirectoryW"}, .kinds = {List}, .uses = {1, 2}, .text = {"output: Warning: The target 'Z:"}},
    {.calls = {"PathFileExistsW"}, .kinds = toolRuns, .exit = 1, .text = {"errors: ERROR: File Z:"}},
    {.calls = linkCalls, .kinds = toolRuns, .uses = {2}, .exit = 1, .text = {"errors: ERROR: Framework library path Z:\\frameworks\\\\bin "}},
    {.calls = linkCalls, .kinds = toolRuns, .uses = {4}, .exit = 1, .text = {"errors: ERROR: Framework plugin path Z:\\frameworks\\\\plugins "}},
    {.calls = linkCalls, .kinds = daemonRuns, .uses = {2}, .exit = 1, .text = {"output: command: Z:\\frameworks\\\\bin\\dbus-daemon.exe"}},
    {.calls = linkCalls, .kinds = {List}, .uses = {1, 3}, .text = {noCurrent}},
    {.calls = linkCalls, .kinds = {List}, .uses = {2, 4}, .text = {"output: Current version: \n"}},
    {.calls = {"GetFullPathNameW", "FindFirstFileW"}, .kinds = {List}, .uses = {1, 3}, .text = {foreignCurrent}},
    // The order of the file system decides which versions were found before.
    {.calls = {"FindNextFileW"}, .kinds = {List}, .uses = {1, 2, 3, 4, 6, 7, 8}, .text = {onlyCurrents}},
    {.calls = {"FindNextFileW"}, .kinds = {List}, .uses = {1, 2, 3, 4, 6, 7, 8}, .text = {onlyCurrents, foreignCurrent}},
    {.calls = rootCalls, .kinds = toolRuns, .exit = 1, .text = {"output: ERROR: directory C:\\ZQClient\\tools"}},
    {.calls = rootCalls, .kinds = daemonRuns, .exit = 1, .text = {"output: command: C:\\ZQClient\\frameworks\\current\\bin"}},
    {.calls = rootCalls, .kinds = {List}, .text = {noCurrent}},
    // The start of the tool.
    {.calls = {"CreatePipe", "GetStdHandle", "WriteFile"}, .kinds = {Forward}, .text = {"tool: \n"}},
    {.calls = {"CreateJobObjectW"}, .kinds = allButList, .exit = 1, .text = {"output: info.ghJob == NULL!\n"}},
    {.calls = {"SetInformationJobObject"}, .kinds = allButList, .exit = 1, .text = {"output: SetInformationJobObject( info.ghJob,"}},
    {.calls = {"CreateProcessW"}, .kinds = startedDirectly, .exit = 1, .text = {accessDenied}},
    {.calls = {"CreateProcessAsUserW"}, .kinds = {User}, .exit = 1, .text = {accessDenied, "Cannot set ENABLE_PROCESSED_OUTPUT"}},
    {.calls = {"CreateEnvironmentBlock"}, .kinds = {User}, .exit = 1, .text = {"last error 5\noutput: CreateProcessAsUser Error 5\n", "Cannot set ENABLE_PROCESSED_OUTPUT"}},
    {.calls = {"FormatMessageW"}, .kinds = {Failed}, .text = {"output: CreateProcessAsUser Error 193\n"}},
    {.calls = {"WTSGetActiveConsoleSessionId"}, .kinds = {User}, .text = {"output: WTSQueryUserToken02\n"}},
    {.calls = {"WTSQueryUserToken"}, .kinds = {User}, .text = {"output: WTSQueryUserToken05\noutput: WTSQueryUserToken15\n"}},
    {.calls = {"ResumeThread"}, .kinds = started, .exit = waits, .text = {"tool: \n"}},
    {.calls = {"AssignProcessToJobObject"}, .kinds = startedOrService, .exit = 1, .text = {"output: AssignProcessToJobObject(info.ghJob,"}},
    {.calls = {"WaitForSingleObject"}, .kinds = started, .uses = {2}},
    {.calls = {"GetExitCodeProcess"}, .kinds = started, .exit = 0},
    // The service's own calls. One whose tool can't be asked to end is stopped after its grace.
    {.calls = {"StartServiceCtrlDispatcherW"}, .kinds = {Service}, .exit = waits, .text = {"tool: \n"}}, // on a console: no stop comes
    {.calls = {"RegisterServiceCtrlHandlerW"}, .kinds = {Service}, .exit = waits, .text = {noHandler}},
    {.calls = {"SetServiceStatus"}, .kinds = {Service}, .text = {statusFailed, running + stopping + stopped(9)}},
    {.calls = {"SetServiceStatus"}, .kinds = {Service}, .uses = {2}, .text = {statusFailed, starting + stopping + stopped(9)}},
    {.calls = {"SetServiceStatus"}, .kinds = {Service}, .uses = {3}, .text = {handlerFailed, running + stopped(9)}},
    {.calls = {"SetServiceStatus"}, .kinds = {Service}, .uses = {4}, .exit = waits, .text = {statusFailed, running + stopping}},
    {.calls = {"CreateThread"}, .kinds = {Service}, .exit = 1, .text = {mainLine("Exit"), starting + stopped(1)}},
    {.calls = {"CreateEventW"}, .kinds = {Service}, .exit = 0, .text = {noEvent, starting + "16 1 0 0 0 1 0\n"}},
    {.calls = {"SetEvent"}, .kinds = {Service}, .exit = waits, .text = {running + stopping}},
    {.calls = {"PostThreadMessageW", "ResumeThread", "GetExitCodeProcess"}, .kinds = {Service}, .exit = 0, .text = {stopping + stopped(0)}},
    // Either thread may wait first. If it is the service's main one, the stop comes at once.
    {.calls = {"WaitForSingleObject"}, .kinds = {Service}, .uses = {1, 2}},
    {.calls = {"WaitForSingleObject"}, .kinds = {Service}, .uses = {1, 2}, .exit = 0, .text = {stopped(0)}},
    {.calls = {"OutputDebugStringW"}, .kinds = {Service}, .text = {starting + running + stopping + stopped(9), "word: zqEnd!"}},
    // For the tool, the end of the pipe is a request too.
    {.calls = {"CreateNamedPipeW"}, .kinds = {Service},
     .text = {"debug: Termination Pipe is invalid.\n", running + stopped(9), "word: error "}},
    {.calls = {"ConnectNamedPipe"}, .kinds = {Service}, .text = {running + stopped(9), "word: error "}},
    {.calls = {"WriteFile"}, .kinds = {Service}, .text = {"debug: Write to pipe faile.\n", stopping + stopped(9), "word: error "}},
};
// clang-format on

// The calls of loops that wait for something.
const std::set<std::string> polls = {"WaitForSingleObject", "PeekMessageW", "PeekNamedPipe"};

// A call, and which use of it fails with the last error 5 (access denied); 0: the first comes late.
using Fault = std::pair<std::string, int>;

// A launcher with a fault, in a directory of its own.
struct FaultRun {
    Fault fault;
    std::vector<Row> rows;
    std::filesystem::path directory;
    std::unique_ptr<LauncherRun> console = {}; // or
    std::unique_ptr<ServiceManager> service = {};
    bool stopSent = false;

    LauncherRun &launcher() const { return console ? *console : *service->launcher(); }
};

struct Outcome {
    int exit;
    std::string text, calls; // calls: their log
};

// How often each call is in the log.
std::map<std::string, int> countCalls(const std::string &log) {
    std::map<std::string, int> counts;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);)
        if (line.find(' ') == line.npos) // else a note beside a call
            ++counts[line];
    return counts;
}

// To be asked again and again: a service is sent its stop on the way.
bool hasEnded(FaultRun &run) {
    if (run.service && !run.stopSent) {
        // A stop that comes before is lost: the service takes it from its second report on, and the
        // second look at the message queue shows that the first has made the queue.
        auto calls = countCalls(readFile(run.directory / "calls"));
        run.stopSent = calls["SetServiceStatus"] >= 2 && calls["PeekMessageW"] >= 2;
        if (run.stopSent)
            run.service->control(SERVICE_CONTROL_STOP);
    }
    return run.launcher().hasEnded();
}

// Ends the run if it still runs.
Outcome end(const FaultRun &run) {
    LauncherRun &launcher = run.launcher();
    const int exit = launcher.hasEnded() ? static_cast<int>(launcher.wait()) : waits;
    launcher.kill();
    std::string output = launcher.output();
    const std::string toolOutput(std::erase(output, '#'), '#');
    std::string text = replaced(output, ".+", "output: $&") + "tool: " + toolOutput + "\n" +
                       replaced(launcher.errors(), ".+", "errors: $&");
    if (run.service) {
        // A tool that wasn't reading yet finds the word dropped, which is the request too.
        const std::string word("zqEnd!\0", 7);
        text += replaced(readFile(run.directory / "debug"), ".+", "debug: $&") +
                run.service->reports() +
                "word: " + replaced(readFile(run.directory / "word"), "^error 233$", word);
    }
    return {exit, replaced(text, "Z:\\S*tree", "Z:"), readFile(run.directory / "calls")};
}

// The launcher prints a line for a granted query or not, depending on older last errors.
std::string withoutGrantedQuery(const std::string &text) {
    return replaced(text, "output: WTSQueryUserToken1.*\n", "");
}

class Faults : public LaunchTest, public testing::WithParamInterface<KindOfRun> {
protected:
    void SetUp() override {
        addTool("7.2", "zqStageWatch");
        writeFile(tools / "7.2" / "zqText" / "zqText.exe", "no program\n");
        placeProgram(probeProgram, framework / "bin" / "dbus-daemon.exe");
        writeFile(framework / "bin" / "dbus-daemon.todo", tool);

        FaultRun run = start({}, {});
        ASSERT_TRUE(waitUntil([&run] { return hasEnded(run); }));
        usualRun = end(run);
    }

    void TearDown() override {
        EXPECT_TRUE(waitUntil([this] { return !isAnyRunning(); })) << "a process is left";
    }

    FaultRun start(const Fault &fault, const std::vector<Row> &rows) const {
        static int count = 0;
        const std::filesystem::path directory = folder / ("fault" + std::to_string(++count));
        std::filesystem::create_directory(directory);
        const auto &[call, use] = fault;
        const std::string effect = use == 0 ? ":late" : ":5:" + std::to_string(use);
        LauncherStart start{
            .arguments = kind.options, .workingDirectory = directory, .program = launcher};
        start.environment = {{"ZQHOST_CALL_LOG", (directory / "calls").string()},
                             {"ZQHOST_DEBUG_LOG", (directory / "debug").string()},
                             {"ZQHOST_FAIL", call + effect}};
        if (call == "LocalFree" || call == "DestroyEnvironmentBlock")
            start.environment["ASAN_OPTIONS"] = "detect_leaks=0"; // the failure itself is a leak
        if (kind.kind == Service)
            return {fault, rows, directory, nullptr,
                    std::make_unique<ServiceManager>(folder, start)};
        return {fault, rows, directory, std::make_unique<LauncherRun>(folder, start)};
    }

    // What goes wrong, with the rows for it: each use of a call fails, and its first comes late.
    // How often a polling loop makes its call depends on timing, so of its later uses only those
    // that a Row names fail. Without a Row, the run ends and prints as usual.
    std::map<Fault, std::vector<Row>> faults() const {
        std::map<Fault, std::vector<Row>> rows;
        for (const Row &row : table)
            if (row.kinds.contains(kind.kind))
                for (const std::string &call : row.calls)
                    for (const int use : row.uses)
                        rows[{call, use}].push_back(row);
        for (const auto &[call, count] : countCalls(usualRun.calls))
            for (int use = 0; use <= (polls.contains(call) ? 1 : count); ++use)
                rows.try_emplace({call, use}, 1);
        return rows;
    }

    // Runs with those of the faults that are meant, side by side. A run expected to wait must
    // outlive a usual run that is started after all the others have ended.
    void checkRuns(bool (*isMeant)(int use)) const {
        std::vector<FaultRun> runs;
        for (const auto &[fault, rows] : faults())
            if (isMeant(fault.second))
                runs.push_back(start(fault, rows));
        const auto isAwaited = [](FaultRun &run) {
            return !hasEnded(run) && run.rows[0].exit != waits;
        };
        const auto allHaveEnded = [&] { return std::ranges::count_if(runs, isAwaited) == 0; };
        waitUntil(allHaveEnded);
        runs.push_back(start({}, {{}}));
        waitUntil(allHaveEnded);
        for (const FaultRun &run : runs)
            check(run, end(run));
    }

    void check(const FaultRun &run, const Outcome &outcome) const {
        const auto &[call, use] = run.fault;
        SCOPED_TRACE(call + ", use " + std::to_string(use) + ": exit status " +
                     std::to_string(outcome.exit) + "\n" + outcome.text + "\n" + outcome.calls);
        const auto fits = [&](const Row &row) { return isAsIn(row, outcome); };
        EXPECT_TRUE(std::ranges::any_of(run.rows, fits)) << "nothing that the rows say";
        auto calls = countCalls(outcome.calls);
        EXPECT_TRUE(run.rows[0].calls.empty() || calls[call] >= use) << "nothing reached the row";
        const std::string unknown = replaced(outcome.calls, "Sleep (1|100|1000|1500)\n", "");
        EXPECT_EQ(unknown.find("Sleep "), std::string::npos) << "a pause of another length";
        for (const auto &[name, count] : calls)
            EXPECT_TRUE(count < 100 || outcome.exit == waits) << name << " comes without a pause";
    }

    bool isAsIn(const Row &row, const Outcome &outcome) const {
        if (outcome.exit != (row.exit == usual ? usualRun.exit : row.exit))
            return false;
        if (row.text.empty())
            return withoutGrantedQuery(outcome.text) == withoutGrantedQuery(usualRun.text);
        const auto isThere = [&](const std::string &part) {
            return outcome.text.find(part) != std::string::npos;
        };
        if (kind.kind == Service && outcome.exit != waits &&
            !isThere("\n16 1 0 " + std::to_string(outcome.exit) + " 0 ")) // the report of its end
            return false;
        const auto isError = [](const std::string &part) { return part.starts_with("errors: "); };
        return std::ranges::all_of(row.text, isThere) &&
               std::ranges::any_of(row.text, isError) == isThere("errors: ");
    }

    const KindOfRun &kind = GetParam();
    Outcome usualRun;

    const std::filesystem::path launcher = addTool("7.2", "zqLauncher", launcherProgram);
};

TEST_P(Faults, UsualRunPrintsCallsAndReleasesAsItsKindSays) {
    EXPECT_TRUE(isAsIn({.exit = kind.exit, .text = kind.text}, usualRun))
        << "exit status " << usualRun.exit << "\n"
        << usualRun.text;
    EXPECT_THAT(usualRun.calls, HasSubstr(kind.process));
    EXPECT_THAT(usualRun.calls, HasSubstr("\n" + kind.released));
    auto calls = countCalls(usualRun.calls);
    EXPECT_EQ(calls["DestroyEnvironmentBlock"], calls["CreateEnvironmentBlock"]);
    if (!Kinds{Launch, User}.contains(kind.kind))
        return; // what others hold goes with the process
    // A process and its thread, a token and its linked one, which is asked for twice.
    EXPECT_EQ(calls["CloseHandle"],
              calls["CreateFileW"] + calls["WTSQueryUserToken"] + calls["GetTokenInformation"] / 2 +
                  2 * (calls["CreateProcessW"] + calls["CreateProcessAsUserW"]));
}

TEST_P(Faults, FailedCallIsReportedOrHarmless) {
    checkRuns([](int use) { return use == 1; });
}

TEST_P(Faults, FailedLaterUseEndsTheRunAsItsRowSays) {
    checkRuns([](int use) { return use > 1; });
}

TEST_P(Faults, LateCallChangesNothing) {
    checkRuns([](int use) { return use == 0; });
}

INSTANTIATE_TEST_SUITE_P(Each, Faults, testing::ValuesIn(kinds), testing::PrintToStringParamName());

} // namespace
