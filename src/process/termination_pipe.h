#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace ProcessHandling {

// The named pipe through which the launcher asks one process to end: \\.\pipe\zqLauncher_ and the
// id of the process. The process opens it as its client and reads one message of seven bytes, once:
// "zqEnd!" and a zero byte. The flags are shared between threads; each is set once.
struct TerminationPipe {
    TerminationPipe(std::uint32_t ownerId, std::string ownerCommand);

    std::uint32_t processId;                      // stored only
    std::string command;                          // stored only
    std::atomic<bool> stopRequested = false;      // end without sending
    std::atomic<bool> terminateRequested = false; // send the word
    std::atomic<bool> pipeReady = false;          // the attempt to create the pipe is over
    std::string pipeName;
};

// Lets other threads run until the flag is set, for 5 ms and one tick of the system's timer at
// most. To be called before the first look at a flag that another thread is just about to set.
void awaitBriefly(const std::atomic<bool> &flag);

// Serves the pipe on a thread of its own. No flag is checked until a client connects. Returns at
// once when stopRequested is seen, or if no client can be awaited; otherwise a second after the
// word was sent or couldn't be. A pipe that can't be made and a word that can't be sent are
// reported on the debug channel. The pipe is closed, but left open if stopRequested ended the wait.
// The record must outlive the call.
void servePipe(TerminationPipe &pipe);

} // namespace ProcessHandling
