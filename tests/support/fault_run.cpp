#include "support/fault_run.h"

#include <sstream>

namespace testing_support {

void PrintTo(const Outcome &outcome, std::ostream *stream) {
    *stream << "exit status " << outcome.exit << "\n--- output\n"
            << outcome.output << "\n--- errors\n"
            << outcome.errors << "\n--- debug\n"
            << outcome.debug << "\n--- reports\n"
            << outcome.reports << "\n--- word\n"
            << outcome.word << "\n--- calls\n"
            << outcome.calls;
}

static std::map<std::string, int> countLines(const std::string &text) {
    std::map<std::string, int> counts;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        ++counts[line];
    return counts;
}

FaultRun::FaultRun(const TemporaryFolder &folder, LauncherStart start, bool asService,
                   const Fault &ownFault)
    : fault(ownFault) {
    static int count = 0;
    directory = start.workingDirectory = folder / ("fault" + std::to_string(++count));
    std::filesystem::create_directory(directory);
    start.environment["ZQHOST_CALL_LOG"] = (directory / "calls").string();
    if (!fault.call.empty())
        start.environment["ZQHOST_FAIL"] =
            fault.call + (fault.isLate ? ":late:" : ":5:") + std::to_string(fault.use);
    if (fault.call == "LocalFree" || fault.call == "DestroyEnvironmentBlock")
        start.environment["ASAN_OPTIONS"] = "detect_leaks=0"; // the failure itself is a leak
    if (asService) {
        start.environment["ZQHOST_DEBUG_LOG"] = (directory / "debug").string();
        service = std::make_unique<ServiceManager>(folder, start);
    } else {
        console = std::make_unique<LauncherRun>(folder, start);
    }
}

bool FaultRun::hasEnded() {
    if (service && !stopSent) {
        // A stop that comes before is lost: the service takes it from its second report on, and the
        // second look at the message queue shows that the first has made the queue.
        auto uses = countLines(readFile(directory / "calls"));
        stopSent = uses["SetServiceStatus"] >= 2 && uses["PeekMessageW"] >= 2;
        if (stopSent)
            service->control(SERVICE_CONTROL_STOP);
    }
    return launcher().hasEnded();
}

Outcome FaultRun::end() {
    Outcome outcome;
    if (launcher().hasEnded())
        outcome.exit = static_cast<int>(launcher().wait());
    else
        launcher().kill();
    outcome.output = launcher().output();
    // The launcher's lines and the tool's output come in either order.
    outcome.output.append(std::erase(outcome.output, '#'), '#');
    outcome.errors = launcher().errors();
    outcome.debug = readFile(directory / "debug");
    outcome.reports = service ? service->reports() : "";
    outcome.word = readFile(directory / "word");
    outcome.calls = readFile(directory / "calls");
    outcome.uses = countLines(outcome.calls);
    console.reset();
    service.reset();
    return outcome;
}

} // namespace testing_support
