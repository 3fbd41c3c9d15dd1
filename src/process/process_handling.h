#pragma once

#include "process/process_info.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Process supervision: starting a process in a job of its own, waiting for it, and ending what
// belongs to the launch. startProcess, waitForProcess and closeProcess are to be called on one
// thread, whose message queue waitForProcess reads.

namespace ProcessHandling {

// The arguments, each after a space and otherwise unchanged.
std::string joinArguments(const std::vector<std::string> &arguments);

// Starts the command and returns its record, never null. On success `result` is 0 and the process
// is running. On failure the reason was printed on the standard output. The command line is the
// command, two spaces, and the arguments separated by one space; nothing is quoted.
//
// userId: above 0, waits for a user at the console and starts the process in that user's session.
// redirectOutput: what the process writes is copied to the launcher's standard output.
// newConsole: the process gets a console of its own. hideWindow: its window or console is hidden;
// with a userId above 0 it has no console window at all.
// name: stored only.
// useLinkedToken: with a userId above 0, uses the user's linked token if there is one.
// useJob: the process ends with the launcher. Without it, it leaves any job of the launcher.
std::shared_ptr<ProcessInfo> startProcess(const std::string &command,
                                          const std::vector<std::string> &arguments,
                                          std::int32_t userId, bool redirectOutput, bool newConsole,
                                          const std::string &name, bool hideWindow,
                                          bool useLinkedToken, bool useJob);

// Waits without limit for the end of a process whose `result` is 0, stores its exit code in
// `result` and closes the record. Takes one message per second from the calling thread's queue: on
// WM_CLOSE, asks the process to end; drops every other. Always returns true.
bool waitForProcess(std::shared_ptr<ProcessInfo> info);

// Ends the threads of a record, whatever its state, and closes its process handles. A process that
// is still running goes on. Takes up to 1.1 seconds, longer while nobody reads the launcher's
// output.
void closeProcess(std::shared_ptr<ProcessInfo> info);

// Whether the latest startProcess has tried to create its process, and whether that failed; both
// false before the first. Safe on any thread. Once somebody polls isLaunchDone, startProcess waits
// up to 100 ms for that poll to see a launch that is done before the next one takes its place.
bool isLaunchDone();
bool isLaunchFailed();

} // namespace ProcessHandling
