#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace ProcessHandling {

// The named pipe through which the launcher asks one process to end: \\.\pipe\zqLauncher_ and the
// process's id. The process opens it as its client and reads one word, once: the seven bytes
// "zqEnd!" and a zero. The flags are shared between threads, each is set once.
struct TerminationPipe {
    TerminationPipe(std::uint32_t ownerId, std::string ownerCommand);

    std::uint32_t processId;
    std::string command;
    std::atomic<bool> stopRequested = false;      // end without sending
    std::atomic<bool> terminateRequested = false; // send the word
    std::atomic<bool> pipeReady = false;          // the attempt to create the pipe is over
    std::string pipeName;
};

// Lets other threads run until the flag is set, for a few milliseconds at most. For the time before
// the first look at a flag that another thread is just about to set.
void awaitBriefly(const std::atomic<bool> &flag);

// Serves the pipe on a thread of its own until the word has gone out or stopRequested is seen. Up
// to its first client it looks at no flag. Failures go to the debug channel. The record must
// outlive the call.
void servePipe(TerminationPipe &pipe);

} // namespace ProcessHandling
