#include "process/process_handling.h"

#include "primitives/handle.h"
#include "primitives/wide_text.h"
#include "process/process_launch.h"
#include "process/termination_pipe.h"

#include <atomic>
#include <chrono>
#include <iostream>
#include <utility>

namespace ProcessHandling {

namespace {

constexpr DWORD waitPauseMs = 1000; // must stay shorter than the service's stopPollPauseMs
constexpr DWORD pollPauseMs = 1;
constexpr std::chrono::milliseconds longestHandOver(100);

// The record of the latest startProcess. Not owned.
std::atomic<ProcessInfo *> currentProcessInfo = nullptr;

// The latest answer of isLaunchDone. Stays true while nobody asks, so that only a poller is waited
// for.
std::atomic<bool> g_launchDoneAnswer = true;

bool isCurrentLaunchDone() {
    const ProcessInfo *info = currentProcessInfo;
    return info != nullptr && info->launchDone;
}

// A service reports that it runs at the first launch that its poll sees. That would rarely be the
// start-up tool's, whose record is the latest for a moment only.
void letLaunchBeSeen() {
    const auto end = std::chrono::steady_clock::now() + longestHandOver;
    while (!g_launchDoneAnswer && std::chrono::steady_clock::now() < end)
        ::Sleep(pollPauseMs);
}

void makeCurrent(ProcessInfo &info) {
    if (isCurrentLaunchDone())
        letLaunchBeSeen();
    currentProcessInfo = &info;
}

// Keeps the record until the launcher ends, as the service's threads may ask for a launch's state
// at any time. A launcher starts two processes at most: the start-up tool and the tool.
void keepForGood(std::shared_ptr<ProcessInfo> info) {
    static auto &records = *new std::vector<std::shared_ptr<ProcessInfo>>; // outlives all statics
    records.push_back(std::move(info));
}

// The ends that the launcher keeps are not inherited. Without a pipe the process is started all the
// same, and its output is lost.
void makeStandardPipes(ProcessInfo &info) {
    info.pipeAttributes.nLength = sizeof(info.pipeAttributes);
    info.pipeAttributes.bInheritHandle = TRUE;
    ::CreatePipe(&info.hStdOutRead, &info.hStdOutWrite, &info.pipeAttributes, 0);
    ::SetHandleInformation(info.hStdOutRead, HANDLE_FLAG_INHERIT, 0);
    ::CreatePipe(&info.hStdInRead, &info.hStdInWrite, &info.pipeAttributes, 0);
    ::SetHandleInformation(info.hStdInWrite, HANDLE_FLAG_INHERIT, 0);
}

// A job that kills its processes when its last handle is closed, and lets their children go.
bool makeJob(ProcessInfo &info) {
    info.ghJob = ::CreateJobObjectW(nullptr, nullptr);
    if (info.ghJob == nullptr) {
        std::cout << "info.ghJob == NULL!" << std::endl;
        return false;
    }
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION jeli = {};
    jeli.BasicLimitInformation.LimitFlags =
        JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_SILENT_BREAKAWAY_OK;
    if (::SetInformationJobObject(info.ghJob, JobObjectExtendedLimitInformation, &jeli,
                                  sizeof(jeli)) == 0) {
        std::cout << "SetInformationJobObject( info.ghJob, JobObjectExtendedLimitInformation, "
                     "&jeli, sizeof(jeli))!"
                  << std::endl;
        return false;
    }
    return true;
}

void joinAndRelease(std::thread *&thread) {
    if (thread != nullptr) {
        thread->join();
        delete thread;
        thread = nullptr;
    }
}

// Opens the pipe's name as a client would, which ends the wait for one; nothing is deleted. The
// pipe must exist first: after a failed creation nobody has waited for it yet.
void releasePipe(TerminationPipe &pipe) {
    while (!pipe.pipeReady)
        ::Sleep(pollPauseMs);
    ::DeleteFileW(widen(pipe.pipeName).c_str());
    pipe.stopRequested.exchange(true);
}

} // namespace

std::string joinArguments(const std::vector<std::string> &arguments) {
    std::string joined;
    for (const std::string &argument : arguments)
        joined += " " + argument;
    return joined;
}

std::shared_ptr<ProcessInfo> startProcess(const std::string &command,
                                          const std::vector<std::string> &arguments,
                                          std::int32_t userId, bool redirectOutput, bool newConsole,
                                          const std::string &name, bool hideWindow,
                                          bool useLinkedToken, bool useJob) {
    auto info = std::make_shared<ProcessInfo>();
    info->name = name;
    keepForGood(info);
    makeCurrent(*info);
    if (redirectOutput)
        makeStandardPipes(*info);
    if (!makeJob(*info)) {
        info->result = 1;
        return info;
    }
    info->hideWindow = hideWindow;
    info->command = command;
    info->arguments = joinArguments(arguments);
    info->redirectOutput = redirectOutput;
    info->newConsole = newConsole;
    info->result = launchProcess(info, userId > 0, useLinkedToken, useJob);
    return info;
}

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
    info->finished.exchange(true);
    joinAndRelease(info->outputThread);
    if (info->terminationPipe != nullptr)
        releasePipe(*info->terminationPipe);
    // The thread reads the pipe's flags until it ends, so it is joined before the pipe is released.
    joinAndRelease(info->terminationThread);
    delete info->terminationPipe;
    info->terminationPipe = nullptr;
    info->hProcess = nullptr;
    closeAndClear(info->winProcInfo.hProcess);
    closeAndClear(info->winProcInfo.hThread);
}

bool isLaunchDone() {
    const bool done = isCurrentLaunchDone();
    g_launchDoneAnswer = done;
    return done;
}

bool isLaunchFailed() {
    const ProcessInfo *info = currentProcessInfo;
    return info != nullptr && info->launchFailed;
}

} // namespace ProcessHandling
