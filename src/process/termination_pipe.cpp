#include "process/termination_pipe.h"

#include "primitives/wide_text.h"

#include <chrono>
#include <thread>
#include <utility>

namespace ProcessHandling {

namespace {

constexpr DWORD outBufferSize = 256;
constexpr DWORD flagPollPauseMs = 1000;
constexpr DWORD closingPauseMs = 1000;
constexpr std::chrono::milliseconds briefWait(5);
constexpr std::chrono::microseconds yieldTime(500);
constexpr std::chrono::milliseconds briefPause(1);
constexpr char terminationWord[] = "zqEnd!";

HANDLE createPipe(const std::string &name) {
    return ::CreateNamedPipeW(widen(name).c_str(), PIPE_ACCESS_OUTBOUND,
                              PIPE_TYPE_MESSAGE | PIPE_REJECT_REMOTE_CLIENTS,
                              PIPE_UNLIMITED_INSTANCES, outBufferSize, 0, 0, nullptr);
}

bool waitForClient(HANDLE handle) {
    return ::ConnectNamedPipe(handle, nullptr) != 0 || ::GetLastError() == ERROR_PIPE_CONNECTED;
}

// Gives false if the thread is to end without sending.
bool waitForTerminateRequest(const TerminationPipe &pipe) {
    // The teardown's own opening of the pipe comes right before its request to stop.
    awaitBriefly(pipe.stopRequested);
    while (!pipe.stopRequested) {
        if (pipe.terminateRequested)
            return true;
        ::Sleep(flagPollPauseMs);
    }
    return false;
}

void sendWord(HANDLE handle) {
    DWORD written = 0;
    // "faile." is how the message is known, and stays.
    if (::WriteFile(handle, terminationWord, sizeof(terminationWord), &written, nullptr) == TRUE)
        ::DisconnectNamedPipe(handle);
    else
        ::OutputDebugStringW(widen("Write to pipe faile.").c_str());
    ::CloseHandle(handle);
}

} // namespace

TerminationPipe::TerminationPipe(std::uint32_t ownerId, std::string ownerCommand)
    : processId(ownerId), command(std::move(ownerCommand)),
      pipeName("\\\\.\\pipe\\zqLauncher_" + std::to_string(ownerId)) {}

void awaitBriefly(const std::atomic<bool> &flag) {
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    for (auto waited = Clock::duration::zero(); !flag && waited < briefWait;
         waited = Clock::now() - begin) {
        // A flag that comes at all comes within microseconds as a rule, far sooner than a timer.
        if (waited < yieldTime)
            std::this_thread::yield();
        else
            std::this_thread::sleep_for(briefPause);
    }
}

void servePipe(TerminationPipe &pipe) {
    const HANDLE handle = createPipe(pipe.pipeName);
    pipe.pipeReady.exchange(true);
    if (handle == INVALID_HANDLE_VALUE) {
        ::OutputDebugStringW(widen("Termination Pipe is invalid.").c_str());
    } else {
        if (!waitForClient(handle)) {
            ::CloseHandle(handle);
            return;
        }
        // The handle stays open then, so that a process which is still connected sees no break.
        if (!waitForTerminateRequest(pipe))
            return;
        sendWord(handle);
    }
    // Callers know a stop by its timing: a launch ends no sooner than a second after its word was
    // sent.
    ::Sleep(closingPauseMs);
}

} // namespace ProcessHandling
