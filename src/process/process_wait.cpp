#include "install/file_system.h"
#include "process/process_handling.h"
#include "process/termination_pipe.h"

namespace ProcessHandling {

namespace {

constexpr DWORD waitPauseMs = 1000;
constexpr DWORD readyPollPauseMs = 1;

void joinAndRelease(std::thread *&thread) {
    if (thread != nullptr) {
        thread->join();
        delete thread;
        thread = nullptr;
    }
}

// Opens the pipe's name as a client would, which ends the wait for one; nothing is deleted. The
// pipe must be there first: after a failed creation nobody has waited for it yet.
void releasePipe(TerminationPipe &pipe) {
    while (!pipe.pipeReady)
        ::Sleep(readyPollPauseMs);
    ::DeleteFileW(widen(pipe.pipeName).c_str());
    pipe.stopRequested.exchange(true);
}

void closeAndClear(HANDLE &handle) {
    ::CloseHandle(handle);
    handle = nullptr;
}

} // namespace

bool waitForProcess(std::shared_ptr<ProcessInfo> info) {
    while (::WaitForSingleObject(info->winProcInfo.hProcess, waitPauseMs) != WAIT_OBJECT_0) {
        MSG message;
        if (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != 0 && message.message == WM_CLOSE)
            info->terminationPipe->terminateRequested.exchange(true);
    }
    DWORD exitCode = 0;
    ::GetExitCodeProcess(info->winProcInfo.hProcess, &exitCode);
    info->result = static_cast<std::int32_t>(exitCode);
    closeProcess(info);
    return true;
}

void closeProcess(std::shared_ptr<ProcessInfo> info) {
    info->finished = true;
    joinAndRelease(info->outputThread);
    if (info->terminationPipe != nullptr)
        releasePipe(*info->terminationPipe);
    // The thread reads the pipe's flags until it ends, so the pipe goes after the join.
    joinAndRelease(info->terminationThread);
    delete info->terminationPipe;
    info->terminationPipe = nullptr;
    info->hProcess = nullptr;
    closeAndClear(info->winProcInfo.hProcess);
    closeAndClear(info->winProcInfo.hThread);
}

} // namespace ProcessHandling
