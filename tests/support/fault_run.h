#pragma once

#include "support/service_manager.h"

#include <vector>

namespace testing_support {

// The use of a call that fails with the last error 5 (access denied), or that comes late.
struct Fault {
    std::string call = {}; // empty: no fault
    int use = 1;
    bool isLate = false;
};

// What a run did. The exit status is stillRuns if it had to be ended.
struct Outcome {
    static constexpr int stillRuns = -1;
    int exit = stillRuns;
    std::string output = {}, errors = {}; // what the tool prints, each a #, comes last
    std::string debug = {}, reports = {}; // a service's
    std::string word = {};                // what the tool writes to the file of this name
    std::string calls = {};               // the log of the calls
    std::map<std::string, int> uses = {}; // how often each of its lines comes
};
void PrintTo(const Outcome &outcome, std::ostream *stream);

// A launcher with a fault, in a directory of its own.
class FaultRun {
public:
    FaultRun(const TemporaryFolder &folder, LauncherStart start, bool asService,
             const Fault &ownFault);

    Fault fault;

    // To be asked again and again: a service is sent its stop on the way.
    bool hasEnded();
    // Ends the run if it still runs. To be called once.
    Outcome end();

private:
    LauncherRun &launcher() { return console ? *console : *service->launcher(); }

    std::filesystem::path directory;
    bool stopSent = false;
    std::unique_ptr<LauncherRun> console; // or
    std::unique_ptr<ServiceManager> service;
};

} // namespace testing_support
