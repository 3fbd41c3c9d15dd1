// A console tool that ends in order when the launcher asks it to: the callback sets an event, the
// tool's own thread looks at it between two pieces of work.

#include "zq_orderly_stop.h"

#include <cstdlib>
#include <iostream>
#include <string>

namespace {

// With --debuglog the launcher sets this variable, and forwards the standard output.
bool logsToStandardOutput() {
    const char *value = std::getenv("ZQ_LOG_ENABLE_STDOUT");
    return value != nullptr && std::string(value) == "1";
}

// A tool's log file goes here. Each line is flushed: what is still in a buffer is lost with a kill.
void log(const std::string &line) {
    static const bool enabled = logsToStandardOutput();
    if (enabled)
        std::cout << line << std::endl;
}

// Runs on a thread of its own, so it only passes the request on.
void onStop(ZqStopEvent event, void *context) {
    if (event != ZqStopNoLauncher)
        ::SetEvent(context);
}

void doSomeWork() {
    ::Sleep(20);
}

} // namespace

int main() {
    const HANDLE stop = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (stop == nullptr || zqListenForStop(onStop, stop) == FALSE)
        return 2; // not 1, which looks like a failure of the launcher

    log("working");
    while (::WaitForSingleObject(stop, 0) != WAIT_OBJECT_0)
        doSomeWork();
    log("asked to end, all is saved");
    return 0; // the service reports a tool's exit code as its own
}
