#include "support/fault_run.h"

#include <algorithm>
#include <list>
#include <map>
#include <regex>
#include <set>

// Each call that a kind of run makes fails, or comes late. For Linux: Windows lets no call fail at
// will.

using namespace testing_support;
using testing::HasSubstr;

namespace {

enum class Kind { Launch, Forward, List, User, Daemon, Console, Failed, Service };
using enum Kind;

// A kind of run: the options of the launcher, and what comes if no call fails. Texts are parts of
// what is printed, logged or reported.
struct KindOfRun {
    Kind kind;
    std::string name;
    std::vector<std::string> options;
    int exit;
    std::string output = {}, debug = {}, reports = {}, word = {};
    std::string creation = {}; // in the log of the calls, of the tool's process: its flags, those
                               // of its start-up information, and how its window is shown
    std::vector<std::string> released = {}; // calls that come in this order, with none between
};

void PrintTo(const KindOfRun &kind, std::ostream *stream) {
    *stream << kind.name;
}

// The tool prints # and ends with 7.
const std::string tool = "ignoreword sleep=300 print=# sleep=900 exit=7";

const std::vector<std::string> processAndThread = {"CloseHandle", "CloseHandle"};

// A debug line of the service's main routine.
std::string mainLine(const std::string &text) {
    return "Larkstone Launcher (Service Mode): ServiceMain: " + text + "\n";
}

// clang-format off
const KindOfRun kinds[] = {
    {.kind = Launch, .name = "launch", .options = {"-t", "zqStage", "-a", tool}, .exit = 7,
     .creation = " is created with flags 4, 0 and 0\n", .released = processAndThread},
    {.kind = Forward, .name = "forward", .options = {"-o", "-t", "zqStage", "-a", tool}, .exit = 7, .output = "#",
     .creation = " is created with flags 4, 256 and 0, inheriting\n", .released = processAndThread},
    {.kind = List, .name = "list", .options = {"-l", "all"}, .exit = 0, .output = "Current version: 7.2\n",
     .released = {"FindNextFileW", "FindClose"}},
    {.kind = User, .name = "user", .options = {"-u", "1", "-t", "zqStageWatch", "-a", tool}, .exit = 7,
     .output = "Cannot set ENABLE_PROCESSED_OUTPUT\n#",
     .creation = " is created with flags 1028, 0 and 0, WinSta0\\Default, linked token\n",
     .released = {"DestroyEnvironmentBlock", "CloseHandle", "CloseHandle"}}, // and the two tokens
    {.kind = Daemon, .name = "daemon", .options = {"-i"}, .exit = 7,
     .creation = "\\share\\dbus-1\\system.conf is created with flags 4, 1 and 0\n", .released = processAndThread},
    {.kind = Console, .name = "console", .options = {"-i", "-o"}, .exit = 7,
     .creation = "\\share\\dbus-1\\system.conf is created with flags 20, 1 and 0\n", .released = processAndThread},
    {.kind = Failed, .name = "failed", .options = {"-t", "zqText"}, .exit = 1,
     .output = "CreateProcessAsUser Error 193\nERROR MESSAGE: "},
    // It is stopped while its tool waits for the word.
    {.kind = Service, .name = "service", .options = {"-t", "zqStage", "-a", "word=./word exit=9"}, .exit = 9,
     .debug = mainLine("Done"), .reports = starting + running + stopping + stopped(9), .word = "zqEnd!",
     .released = {"CloseHandle", "CloseHandle", "CloseHandle", "SetServiceStatus"}}, // and the stop event
};

using Kinds = std::vector<Kind>;
const Kinds allButList = {Launch, Forward, User, Daemon, Console, Failed, Service};
const Kinds toolRuns = {Launch, Forward, User, Failed, Service};
const Kinds daemonRuns = {Daemon, Console};
const Kinds started = {Launch, Forward, User, Daemon, Console}; // on a console, and successfully
const Kinds startedOrService = {Launch, Forward, User, Daemon, Console, Service};
const Kinds startedDirectly = {Launch, Forward, Daemon, Console, Failed, Service};
const int usual = -2, waits = Outcome::stillRuns;

// What comes of a run if a call fails at one of the uses. Texts are parts as above; nothing is on
// the standard error but what the row says. Where several rows are for the same fault, it is chance
// which of them comes. Without a row, the run ends and prints as usual.
struct Row {
    std::vector<std::string> calls = {};
    Kinds kinds = {};
    std::vector<int> uses = {1};
    int exit = usual; // a status, `usual`, or `waits` for a run that doesn't end
    std::string output = {}, errors = {}, debug = {}, reports = {}, word = {};
    bool usualText = false; // all texts are the usual ones
    bool silent = false;    // the tool's output is missing
};

// To find what `current` points to, and to set the root of the installation.
const std::vector<std::string> linkCalls = {"CreateFileW", "GetFinalPathNameByHandleW"};
const std::vector<std::string> rootCalls = {"GetModuleFileNameA", "_putenv_s"};

const std::string noCurrent = "Warning: 'current' does not exist.";
const std::string foreignCurrent = "Warning: the 'current' version is pointing to a package outside";
const std::string statusFailed = mainLine("SetServiceStatus returned error");
const std::string onlyCurrents = "Current version: 5.15.2\n";

const Row table[] = {
    // Paths of the installation. `current` is resolved in two steps, once for each path.
    {.calls = {"PathIsDirectoryW"}, .kinds = toolRuns, .exit = 1, .output = "ERROR: directory Z:"},
    {.calls = {"PathIsDirectoryW"}, .kinds = toolRuns, .uses = {5}, .exit = 1, .errors = "ERROR: Framework library path Z:"},
    {.calls = {"PathIsDirectoryW"}, .kinds = toolRuns, .uses = {6}, .exit = 1, .errors = "ERROR: Framework plugin path Z:"},
    {.calls = {"PathIsDirectoryW"}, .kinds = {List}, .uses = {1, 2}, .output = "Warning: The target 'Z:"},
    {.calls = {"PathFileExistsW"}, .kinds = toolRuns, .exit = 1, .errors = "ERROR: File Z:"},
    {.calls = linkCalls, .kinds = toolRuns, .uses = {2}, .exit = 1, .errors = "\\frameworks\\\\bin does not exist"},
    {.calls = linkCalls, .kinds = toolRuns, .uses = {4}, .exit = 1, .errors = "\\frameworks\\\\plugins does not exist"},
    {.calls = linkCalls, .kinds = daemonRuns, .uses = {2}, .exit = 1, .output = "\\frameworks\\\\bin\\dbus-daemon.exe"},
    {.calls = linkCalls, .kinds = {List}, .uses = {1, 3}, .output = noCurrent},
    {.calls = linkCalls, .kinds = {List}, .uses = {2, 4}, .output = "Current version: \n"},
    {.calls = {"GetFullPathNameW", "FindFirstFileW"}, .kinds = {List}, .uses = {1, 3}, .errors = foreignCurrent},
    // The order of the file system decides which versions were found before.
    {.calls = {"FindNextFileW"}, .kinds = {List}, .uses = {1, 2, 3, 4, 6, 7, 8}, .output = onlyCurrents},
    {.calls = {"FindNextFileW"}, .kinds = {List}, .uses = {1, 2, 3, 4, 6, 7, 8},
     .output = onlyCurrents, .errors = foreignCurrent},
    {.calls = rootCalls, .kinds = toolRuns, .exit = 1, .output = "ERROR: directory C:\\ZQClient\\tools"},
    {.calls = rootCalls, .kinds = daemonRuns, .exit = 1, .output = "command: C:\\ZQClient\\frameworks\\current\\bin"},
    {.calls = rootCalls, .kinds = {List}, .output = noCurrent},
    // The start of the tool.
    {.calls = {"CreatePipe", "GetStdHandle", "WriteFile"}, .kinds = {Forward}, .silent = true},
    {.calls = {"CreateJobObjectW"}, .kinds = allButList, .exit = 1, .output = "info.ghJob == NULL!\n"},
    {.calls = {"SetInformationJobObject"}, .kinds = allButList, .exit = 1, .output = "SetInformationJobObject( info.ghJob,"},
    {.calls = {"CreateProcessW"}, .kinds = startedDirectly, .exit = 1,
     .output = "CreateProcessAsUser Error 5\nERROR MESSAGE: "},
    {.calls = {"FormatMessageW"}, .kinds = {Failed}, .output = "CreateProcessAsUser Error 193\n"},
    {.calls = {"WTSGetActiveConsoleSessionId"}, .kinds = {User}, .output = "WTSQueryUserToken02\n"},
    {.calls = {"WTSQueryUserToken"}, .kinds = {User}, .output = "WTSQueryUserToken05\nWTSQueryUserToken15\n"},
    {.calls = {"CreateEnvironmentBlock"}, .kinds = {User}, .exit = 1,
     .output = "last error 5\nCreateProcessAsUser Error 5\n"},
    {.calls = {"CreateProcessAsUserW"}, .kinds = {User}, .exit = 1,
     .output = "CreateProcessAsUser Error 5\nERROR MESSAGE: "},
    {.calls = {"ResumeThread"}, .kinds = started, .exit = waits, .silent = true},
    {.calls = {"AssignProcessToJobObject"}, .kinds = startedOrService, .exit = 1,
     .output = "AssignProcessToJobObject(info.ghJob,"},
    {.calls = {"WaitForSingleObject"}, .kinds = started, .uses = {2}, .usualText = true},
    {.calls = {"GetExitCodeProcess"}, .kinds = started, .exit = 0, .usualText = true},
    // The service's own calls. One whose tool can't be asked to end is stopped after its grace.
    {.calls = {"StartServiceCtrlDispatcherW"}, .kinds = {Service}, .exit = waits}, // on a console: no stop comes
    {.calls = {"RegisterServiceCtrlHandlerW"}, .kinds = {Service}, .exit = waits,
     .debug = mainLine("RegisterServiceCtrlHandler returned error") + mainLine("Exit")},
    {.calls = {"SetServiceStatus"}, .kinds = {Service}, .debug = statusFailed, .reports = running + stopping + stopped(9)},
    {.calls = {"SetServiceStatus"}, .kinds = {Service}, .uses = {2},
     .debug = statusFailed, .reports = starting + stopping + stopped(9)},
    {.calls = {"SetServiceStatus"}, .kinds = {Service}, .uses = {3},
     .debug = "ServiceCtrlHandler: SetServiceStatus returned error\n", .reports = running + stopped(9)},
    {.calls = {"SetServiceStatus"}, .kinds = {Service}, .uses = {4}, .exit = waits,
     .debug = statusFailed, .reports = running + stopping},
    {.calls = {"CreateThread"}, .kinds = {Service}, .exit = 1, .debug = mainLine("Exit"), .reports = starting + stopped(1)},
    {.calls = {"CreateEventW"}, .kinds = {Service}, .exit = 0,
     .debug = mainLine("CreateEvent(g_ServiceStopEvent) returned error") + mainLine("Exit"), .reports = starting + "16 1 0 0 0 1 0\n"},
    {.calls = {"SetEvent"}, .kinds = {Service}, .exit = waits, .reports = running + stopping},
    {.calls = {"PostThreadMessageW", "ResumeThread", "GetExitCodeProcess"}, .kinds = {Service}, .exit = 0,
     .reports = stopping + stopped(0)},
    // It is chance which thread waits first. If it is the service's main one, the stop comes at once.
    {.calls = {"WaitForSingleObject"}, .kinds = {Service}, .uses = {1, 2}, .usualText = true},
    {.calls = {"WaitForSingleObject"}, .kinds = {Service}, .uses = {1, 2}, .exit = 0, .reports = stopped(0)},
    {.calls = {"OutputDebugStringW"}, .kinds = {Service},
     .reports = starting + running + stopping + stopped(9), .word = "zqEnd!"},
    // For the tool, the end of the pipe is a request too.
    {.calls = {"CreateNamedPipeW"}, .kinds = {Service},
     .debug = "Termination Pipe is invalid.\n", .reports = running + stopped(9), .word = "error "},
    {.calls = {"ConnectNamedPipe"}, .kinds = {Service}, .reports = running + stopped(9), .word = "error "},
    {.calls = {"WriteFile"}, .kinds = {Service},
     .debug = "Write to pipe faile.\n", .reports = stopping + stopped(9), .word = "error "},
};
// clang-format on

// The calls of loops that wait for something.
const std::vector<std::string> polls = {"WaitForSingleObject", "PeekMessageW", "PeekNamedPipe"};

using OutcomeMatcher = testing::Matcher<const Outcome &>;
using Texts = testing::Matcher<const std::string &>;

template <typename T> bool holds(const std::vector<T> &values, const T &value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

// The launcher prints a line for a granted query or not, depending on older last errors.
std::string withoutGrantedQuery(const std::string &output) {
    return std::regex_replace(output, std::regex("WTSQueryUserToken1.*\n"), "");
}

OutcomeMatcher isOutcome(int exit, const Texts &output, const Texts &errors, const Texts &debug,
                         const Texts &reports, const Texts &word) {
    using testing::Field;
    return testing::AllOf(
        Field("exit", &Outcome::exit, exit), Field("output", &Outcome::output, output),
        Field("errors", &Outcome::errors, errors), Field("debug", &Outcome::debug, debug),
        Field("reports", &Outcome::reports, reports), Field("word", &Outcome::word, word));
}

OutcomeMatcher isAsItsRowSays(const Row &row, const Outcome &usualRun) {
    const int exit = row.exit == usual ? usualRun.exit : row.exit;
    if (row.usualText)
        return isOutcome(
            exit, testing::ResultOf(withoutGrantedQuery, withoutGrantedQuery(usualRun.output)),
            usualRun.errors, usualRun.debug, usualRun.reports, usualRun.word);
    const Texts output = HasSubstr(row.output), silence = testing::Not(HasSubstr("#"));
    const Texts errors = HasSubstr(row.errors), none = "";
    return isOutcome(exit, row.silent ? silence : output, row.errors.empty() ? none : errors,
                     HasSubstr(row.debug), HasSubstr(row.reports), HasSubstr(row.word));
}

class Faults : public LaunchTest, public testing::WithParamInterface<KindOfRun> {
protected:
    void SetUp() override {
        addTool("7.2", "zqStageWatch");
        writeFile(tools / "7.2" / "zqText" / "zqText.exe", "no program\n");
        placeProgram(probeProgram, framework / "bin" / "dbus-daemon.exe");
        writeFile(framework / "bin" / "dbus-daemon.todo", tool);

        FaultRun run = start({});
        ASSERT_TRUE(waitUntil([&run] { return run.hasEnded(); }));
        usualRun = run.end();
        ASSERT_EQ(usualRun.exit, GetParam().exit) << testing::PrintToString(usualRun);
        for (const auto &[line, count] : usualRun.uses)
            if (line.find(' ') == line.npos) // else a note beside a call
                usesOf[line] = count;
        if (GetParam().kind == Failed) // nobody waits for the pipe's thread: it may not make them
            for (const char *call : {"CreateNamedPipeW", "ConnectNamedPipe", "OutputDebugStringW"})
                usesOf.erase(call);
        checkHygiene(usualRun);
    }

    void TearDown() override {
        EXPECT_TRUE(waitUntil([this] { return !isAnyRunning(); })) << "a process is left";
    }

    FaultRun start(const Fault &fault) const {
        return {folder,
                {.arguments = GetParam().options, .program = launcher},
                GetParam().kind == Service,
                fault};
    }

    std::vector<Row> rowsFor(const Fault &fault) const {
        std::vector<Row> rows;
        for (const Row &row : table)
            if (!fault.isLate && holds(row.kinds, GetParam().kind) &&
                holds(row.calls, fault.call) && holds(row.uses, fault.use))
                rows.push_back(row);
        return rows.empty() ? std::vector<Row>{{.usualText = true}} : rows;
    }

    bool isToWait(const Fault &fault) const { return rowsFor(fault).front().exit == waits; }

    // The first use of each call or all later ones, and what the rows name. Those that poll make a
    // call as often as time wants, so no row means no fault for their later uses.
    std::vector<Fault> faults(bool later) const {
        std::set<std::pair<std::string, int>> uses;
        for (const auto &[call, count] : usesOf)
            for (int use = 1; use <= (holds(polls, call) ? 1 : count); ++use)
                uses.emplace(call, use);
        for (const Row &row : table)
            if (holds(row.kinds, GetParam().kind))
                for (const std::string &call : row.calls)
                    for (const int use : row.uses)
                        uses.emplace(call, use);
        std::vector<Fault> found;
        for (const auto &[call, use] : uses)
            if ((use > 1) == later)
                found.push_back({.call = call, .use = use});
        return found;
    }

    // Runs with the faults, so many side by side.
    void check(const std::vector<Fault> &faults) const {
        constexpr std::size_t sideBySide = 40;
        for (std::size_t at = 0; at < faults.size(); at += sideBySide) {
            std::list<FaultRun> runs;
            for (std::size_t i = at; i < std::min(at + sideBySide, faults.size()); ++i)
                runs.push_back(start(faults[i]));
            awaitEnds(runs);
            for (FaultRun &run : runs)
                checkOutcome(run.fault, run.end());
        }
    }

    // A run that is to wait still runs when a usual one has ended that began after all the others'
    // ends.
    void awaitEnds(std::list<FaultRun> &runs) const {
        const auto isAwaited = [this](FaultRun &run) {
            return !run.hasEnded() && !isToWait(run.fault);
        };
        const auto allHaveEnded = [&] {
            return std::count_if(runs.begin(), runs.end(), isAwaited) == 0;
        };
        waitUntil(allHaveEnded);
        const auto waiting = [this](const FaultRun &run) { return isToWait(run.fault); };
        if (std::any_of(runs.begin(), runs.end(), waiting)) {
            runs.push_back(start({}));
            waitUntil(allHaveEnded);
        }
    }

    void checkOutcome(const Fault &fault, Outcome outcome) const {
        SCOPED_TRACE(fault.call + ", use " + std::to_string(fault.use));
        std::vector<OutcomeMatcher> expected;
        for (const Row &row : rowsFor(fault))
            expected.push_back(isAsItsRowSays(row, usualRun));
        EXPECT_THAT(outcome, testing::AnyOfArray(expected));
        EXPECT_TRUE(fault.call.empty() || outcome.uses[fault.call] >= fault.use)
            << "this kind of run doesn't make the call so often";
        checkHygiene(outcome);
    }

    void checkHygiene(const Outcome &outcome) const {
        const std::string printed = outcome.output + outcome.errors;
        EXPECT_EQ(printed.find("Sanitizer"), printed.npos) << printed;
        EXPECT_EQ(printed.find("runtime error: "), printed.npos) << printed;
        EXPECT_EQ(outcome.uses.count("Sleep 0"), 0u) << "a wait is a busy loop";
        for (const auto &[call, count] : outcome.uses)
            EXPECT_TRUE(count < 100 || call == "Sleep 1" || outcome.exit == waits)
                << call << " comes without a pause";
        if (GetParam().kind == Service && outcome.exit != waits) {
            const std::string end = "16 1 0 " + std::to_string(outcome.exit) + " 0 ";
            EXPECT_THAT(outcome.reports, HasSubstr(end)) << "the exit status isn't reported";
        }
    }

    Outcome usualRun;
    std::map<std::string, int> usesOf; // of the calls that can fail, in the usual run

    const std::filesystem::path launcher = addTool("7.2", "zqLauncher", launcherProgram);
};

TEST_P(Faults, UsualRunPrintsCallsAndReleasesAsItsKindSays) {
    const KindOfRun &kind = GetParam();
    EXPECT_THAT(usualRun, isOutcome(kind.exit, HasSubstr(kind.output), "", HasSubstr(kind.debug),
                                    kind.reports, HasSubstr(kind.word)));
    EXPECT_THAT(usualRun.calls, HasSubstr(kind.creation));
    std::string released = "\n";
    for (const std::string &call : kind.released)
        released += call + "\n";
    EXPECT_THAT(usualRun.calls, HasSubstr(released));
}

TEST_P(Faults, FailedCallIsReportedOrHarmless) {
    check(faults(/*later=*/false));
}

TEST_P(Faults, FailedLaterUseEndsTheRunAsItsRowSays) {
    check(faults(/*later=*/true));
}

TEST_P(Faults, LateCallChangesNothing) {
    std::vector<Fault> late;
    for (const auto &[call, count] : usesOf)
        late.push_back({.call = call, .isLate = true});
    check(late);
}

INSTANTIATE_TEST_SUITE_P(Each, Faults, testing::ValuesIn(kinds),
                         [](const auto &kind) { return kind.param.name; });

} // namespace
