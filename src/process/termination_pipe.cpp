#include "process/termination_pipe.h"

#include "platform/windows_api.h"
#include "primitives/wide_text.h"

#include <chrono>
#include <thread>
#include <utility>

namespace ProcessHandling {

namespace {

constexpr DWORD outBufferSize = 256;
constexpr DWORD flagPollPauseMs = 1000;
constexpr DWORD closingPauseMs = 1000;
constexpr std::chrono::milliseconds longestWait(5);
constexpr std::chrono::microseconds yieldsFor(500);
constexpr std::chrono::milliseconds nap(1);
constexpr char terminationWord[] = "zqEnd!";

HANDLE createPipe(const std::string &name) {
    return ::CreateNamedPipeW(widen(name).c_str(), PIPE_ACCESS_OUTBOUND,
                              PIPE_TYPE_MESSAGE | PIPE_REJECT_REMOTE_CLIENTS,
                              PIPE_UNLIMITED_INSTANCES, outBufferSize, 0, 0, nullptr);
}

bool waitForClient(HANDLE handle) {
    return ::ConnectNamedPipe(handle, nullptr) != 0 || ::GetLastError() == ERROR_PIPE_CONNECTED;
}

// Returns false if the thread is to end without sending.
bool waitForTerminateRequest(const TerminationPipe &pipe) {
    // The client may be closeProcess, which sets stopRequested right after its opening.
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
    if (::WriteFile(handle, terminationWord, sizeof(terminationWord), &written, nullptr) == TRUE)
        ::DisconnectNamedPipe(handle);
    else // "faile." is contract: docs/compatibility.md
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
    while (!flag && Clock::now() < begin + longestWait) {
        // A flag that comes at all comes within microseconds as a rule, far sooner than a timer.
        if (Clock::now() < begin + yieldsFor)
            std::this_thread::yield();
        else
            std::this_thread::sleep_for(nap);
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
    // A launch ends no sooner than a second after its word was sent, or couldn't be. Contract:
    // docs/compatibility.md.
    ::Sleep(closingPauseMs);
}

} // namespace ProcessHandling
