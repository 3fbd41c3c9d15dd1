#pragma once

#include "platform/windows_api.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

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
    // Owned, and released by closeProcess alone: a thread that nobody joins, as after a failed
    // start, goes on until the launcher's process ends, and the pipe is in use as long.
    TerminationPipe *terminationPipe = nullptr;
    std::thread *terminationThread = nullptr;
    std::thread *outputThread = nullptr;
};

} // namespace ProcessHandling
