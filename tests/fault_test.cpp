#include "support/service_manager.h"

#include <algorithm>
#include <list>
#include <regex>

using namespace testing_support;
using namespace std::chrono_literals;
using testing::HasSubstr;

// Each call that a kind of run makes fails once, or comes late. For Linux: Windows lets no call
// fail at will.
namespace {

// A kind of run, and what one failed call changes in it: the rows of fault_table.txt, which says
// what they mean.
struct Scenario {
    std::string name;
    std::vector<std::string> options;
    std::string status, text;
    std::vector<std::string> calls;
    friend void PrintTo(const Scenario &scenario, std::ostream *stream) {
        *stream << scenario.name;
    }
};
struct Row {
    std::string call, scenarios, statuses, text;
};

const std::string tool = "ignoreword sleep=300 print=# sleep=900 exit=7";
// As in the table.
const std::string usual = "usual", waits = "waits", silent = "silent";

using Cells = std::vector<std::string>;

Cells split(const std::string &text, const std::string &border) {
    const std::regex between(border);
    return {std::sregex_token_iterator(text.begin(), text.end(), between, -1), {}};
}

// The rows of the table that have so many cells.
std::vector<Cells> readRows(std::size_t width) {
    std::vector<Cells> rows;
    for (const std::string &line : split(readFile(FAULT_TABLE), "\n")) {
        Cells cells = split(std::regex_replace(line, std::regex("\\\\n"), "\n"), " *\\| *");
        std::replace(cells.begin(), cells.end(), std::string("-"), std::string());
        if (cells.size() == width && !line.starts_with('#'))
            rows.push_back(cells);
    }
    return rows;
}

const std::vector<Row> table = [] {
    std::vector<Row> rows;
    for (const Cells &cells : readRows(4))
        rows.push_back({cells[0], cells[1], cells[2], cells[3]});
    return rows;
}();

const std::vector<Scenario> scenarios = [] {
    std::vector<Scenario> kinds;
    for (const Cells &cells : readRows(5)) {
        kinds.push_back({cells[0], split(cells[1], " "), cells[2], cells[3], split(cells[4], ";")});
        std::string &last = kinds.back().options.back();
        last = last == "TOOL" ? tool : last == "WORD" ? "word=% exit=9" : last;
    }
    return kinds;
}();

bool holds(const std::string &words, const std::string &word) {
    return (" " + words + " ").find(" " + word + " ") != words.npos;
}

Row findRow(const std::string &call, const std::string &scenario) {
    for (const Row &row : table)
        if (row.call == call && (row.scenarios == "all" || holds(row.scenarios, scenario)))
            return row;
    return {call, "all", usual, usual};
}

// A run, with an effect on the nth use of one call, or on none.
struct FaultRun {
    FaultRun(const TemporaryFolder &folder, LauncherStart start, bool asService,
             const std::string &failing, const std::string &effect)
        : call(failing), row(failing + (effect.starts_with("5") ? effect.substr(1) : ":" + effect)),
          callLog(folder / ("calls" + failing + effect)),
          debugLog(folder / ("debug" + failing + effect)),
          word(folder / ("word" + failing + effect)) {
        start.environment["ZQHOST_CALL_LOG"] = callLog.string();
        if (asService)
            start.environment["ZQHOST_DEBUG_LOG"] = debugLog.string();
        if (!call.empty())
            start.environment["ZQHOST_FAIL"] = call + ":" + effect;
        if (call == "LocalFree" || call == "DestroyEnvironmentBlock")
            start.environment["ASAN_OPTIONS"] = "detect_leaks=0"; // they can't but leak
        if (asService)
            manager = std::make_unique<ServiceManager>(folder, start);
        else
            console = std::make_unique<LauncherRun>(folder, start);
    }
    LauncherRun &launcher() { return console ? *console : *manager->launcher(); }
    std::string calls() const { return readFile(callLog); }
    // Sends the stop once it is due, until it is taken; true when the run has ended.
    bool advance() {
        if (manager && calls().find("\nPeekMessageW") != std::string::npos &&
            manager->reports().find(stopping) == std::string::npos)
            manager->control(SERVICE_CONTROL_STOP);
        return launcher().hasEnded();
    }
    std::string status() {
        if (advance())
            return std::to_string(launcher().wait());
        launcher().kill();
        return waits;
    }
    // The line of a granted query comes or not, by what the last error was before. What the tool
    // prints comes at any place, and is put last.
    std::string text(bool withQueries = false) {
        std::string everything = launcher().output() + launcher().errors() + readFile(debugLog) +
                                 (manager ? manager->reports() : "") + readFile(word);
        const std::size_t printed = std::erase(everything, '#');
        if (!withQueries)
            everything = std::regex_replace(everything, std::regex("WTSQueryUserToken1.*\n"), "");
        return everything + std::string(printed, '#');
    }

    std::string call, row; // as in the table
    std::filesystem::path callLog, debugLog, word;
    std::unique_ptr<LauncherRun> console;
    std::unique_ptr<ServiceManager> manager;
};

class Faults : public LaunchTest, public testing::WithParamInterface<Scenario> {
protected:
    FaultRun run(const std::string &call, const std::string &effect) const {
        LauncherStart launch{.arguments = GetParam().options, .program = launcher};
        std::string &last = launch.arguments.back();
        if (const std::size_t at = last.find('%'); at != last.npos) // a file of the run's own
            last.replace(at, 1, (folder / ("word" + call + effect)).string());
        return {folder, launch, GetParam().name == "service", call, effect};
    }
    // The runs with the effect on each call, ended but for those that are to wait.
    std::list<FaultRun> runsWith(const std::string &effect, const std::map<std::string, int> &calls,
                                 int least = 1) const {
        std::list<FaultRun> runs;
        for (const auto &[call, count] : calls)
            if (count >= least &&
                !(effect == "5:2" && findRow(call + ":2", GetParam().name).scenarios != "all"))
                runs.push_back(run(call, effect)); // but for those with a row
        for (const Row &row : table)               // of later uses
            if (const std::size_t end = row.call.find(':');
                effect == "5" && end != row.call.npos && holds(row.scenarios, GetParam().name))
                runs.push_back(run(row.call.substr(0, end), effect + row.call.substr(end)));
        const auto isAwaited = [&](FaultRun &each) {
            return !each.advance() && findRow(each.row, GetParam().name).statuses != waits;
        };
        waitUntil([&] { return std::count_if(runs.begin(), runs.end(), isAwaited) == 0; });
        return runs;
    }

    std::filesystem::path launcher = addTool("7.2", "zqLauncher", launcherProgram);
};

TEST_P(Faults, EachCallOfARunFailsOnceOrComesLate) {
    addTool("7.2", "zqStageWatch");
    writeFile(tools / "7.2" / "zqText" / "zqText.exe", "no program\n");
    placeProgram(probeProgram, framework / "bin" / "dbus-daemon.exe");
    writeFile(framework / "bin" / "dbus-daemon.todo", tool);

    FaultRun unharmed = run("", "");
    ASSERT_TRUE(waitUntil([&] { return unharmed.advance(); }));
    ASSERT_EQ(unharmed.status(), GetParam().status);
    const std::string usualText = unharmed.text();
    EXPECT_THAT(usualText, HasSubstr(GetParam().text));
    for (const std::string &call : GetParam().calls)
        EXPECT_THAT(unharmed.calls(), HasSubstr(call));
    std::map<std::string, int> calls;
    for (const std::string &call : split(unharmed.calls(), "\n"))
        if (call.find(' ') == call.npos) // else it can't fail
            ++calls[call];
    for (const auto &[call, count] : calls)
        EXPECT_LT(count, 100) << call << " is polled without a pause";
    ASSERT_TRUE(table.size() >= 40 && scenarios.size() == 8);
    for (const Row &row : table)
        EXPECT_TRUE(!holds(row.scenarios, GetParam().name) ||
                    calls.count(row.call.substr(0, row.call.find(':'))) == 1)
            << row.call << " isn't called";

    std::list<FaultRun> runs = runsWith("5", calls);
    std::this_thread::sleep_for(2s); // those that are to wait do so for longer than a run takes
    for (FaultRun &each : runs) {
        SCOPED_TRACE(each.row + " failing");
        const Row row = findRow(each.row, GetParam().name);
        const std::string status = each.status(), errors = each.launcher().errors();
        const bool isError = row.text.starts_with("2> ");
        const std::string text = isError ? "2> " + errors : each.text(row.text != usual);
        EXPECT_TRUE(holds(row.statuses == usual ? GetParam().status : row.statuses, status))
            << status;
        testing::Matcher<std::string> expected = HasSubstr(row.text);
        if (row.text == usual)
            expected = usualText;
        else if (row.text == silent)
            expected = testing::Not(HasSubstr("#"));
        else if (row.text.ends_with('$'))
            expected = testing::EndsWith(row.text.substr(0, row.text.size() - 1));
        EXPECT_THAT(text, expected);
        EXPECT_TRUE(errors.find("Sanitizer") == errors.npos &&
                    (row.text.empty() || errors.empty() != isError))
            << errors;
    }
    for (FaultRun &each : runsWith("5:2", calls, 2)) {
        SCOPED_TRACE(each.call + " failing at its second use");
        EXPECT_THAT(each.status(), testing::AnyOf("0", "1", GetParam().status));
        EXPECT_EQ(each.text(/*withQueries=*/true).find("Sanitizer"), std::string::npos)
            << each.text(/*withQueries=*/true);
    }
    for (FaultRun &each : runsWith("late", calls)) {
        SCOPED_TRACE(each.call + " coming late");
        EXPECT_EQ(each.status(), GetParam().status);
        EXPECT_EQ(each.text(), usualText);
    }
    EXPECT_TRUE(waitUntil([&] { return !isRunning(); }));
}

INSTANTIATE_TEST_SUITE_P(Of, Faults, testing::ValuesIn(scenarios),
                         [](const auto &each) { return each.param.name; });

} // namespace
