#pragma once

#include "platform/windows_api.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

// Process supervision: starting a process in a job of its own, waiting for it, and ending what
// belongs to the launch. startProcess, waitForProcess and closeProcess are to be called on one
// thread, whose message queue waitForProcess reads.

namespace ProcessHandling {

struct TerminationPipe;

// The record of one launched process, kept behind a shared pointer. The callers of startProcess
// read `result` only. The atomic flags are shared between threads; each is set once.
//
// The record closes nothing. closeProcess closes the handles of winProcInfo and releases the two
// threads and the termination pipe. ghJob, the ends of the anonymous pipes and the handle of a
// termination pipe that had a client and sent nothing stay open until the launcher's process ends.
// The closing of ghJob then kills a process that is left behind.
struct ProcessInfo {
    // 0 after a start, 1 or -1 after a failed one; after waitForProcess the exit code, all 32 bits.
    std::int32_t result = 0;
    std::uint32_t processId = 0; // stored only
    std::string command;
    std::string arguments; // joined, each after a space
    bool hideWindow = true;
    bool redirectOutput = false;
    bool newConsole = false;
    std::string name;                     // stored only
    std::atomic<bool> launchDone = false; // the creation was tried, with or without success
    std::atomic<bool> launchFailed = false;
    std::atomic<bool> finished = false; // the forwarding is to end
    HANDLE hProcess = nullptr;          // a copy, never closed
    PROCESS_INFORMATION winProcInfo = {};
    HANDLE ghJob = nullptr;
    HANDLE hStdInRead = nullptr;
    HANDLE hStdInWrite = nullptr; // never written to
    HANDLE hStdOutRead = nullptr;
    HANDLE hStdOutWrite = nullptr;
    SECURITY_ATTRIBUTES pipeAttributes = {};
    // Owned, and still plain pointers: a destructor must not release them. The threads of a failed
    // start that nobody closes go on until the process ends, and the pipe is theirs.
    TerminationPipe *terminationPipe = nullptr;
    std::thread *terminationThread = nullptr;
    std::thread *outputThread = nullptr;
};

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

// The exit status of a launcher whose process this is: 1 after a failed start, otherwise waits for
// the process and returns its exit code.
std::int32_t exitStatusOf(std::shared_ptr<ProcessInfo> info);

// Ends the threads of a record, whatever its state, and closes its process handles. A process that
// is still running goes on. Takes up to 1.1 seconds, longer while nobody reads the launcher's
// output.
void closeProcess(std::shared_ptr<ProcessInfo> info);

// Whether startProcess has tried to create a process, and whether it failed; both are false before.
// They stay as they are once a process was created. After a failure, the next startProcess begins
// anew. Safe on any thread.
bool isLaunchDone();
bool isLaunchFailed();

} // namespace ProcessHandling
