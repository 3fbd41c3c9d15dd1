#include "process/process_launch.h"

#include "platform/windows_api.h"
#include "primitives/scope_guard.h"
#include "primitives/wide_text.h"
#include "process/output_forwarding.h"
#include "process/process_info.h"
#include "process/termination_pipe.h"
#include "process/user_session.h"

#include <functional>
#include <future>
#include <iostream>
#include <string>
#include <thread>
#include <utility>

namespace ProcessHandling {

namespace {

constexpr DWORD pipePollPauseMs = 100;
constexpr DWORD neutralLanguage = 0x400;

// The outcome of the creation, with the last error of the call that failed.
struct Creation {
    std::int32_t status = 0;
    DWORD error = ERROR_SUCCESS;
};

STARTUPINFOW makeStartupInfo(const ProcessInfo &info) {
    STARTUPINFOW startupInfo = {};
    startupInfo.cb = sizeof(startupInfo);
    if (info.redirectOutput) {
        startupInfo.hStdInput = info.hStdInRead;
        startupInfo.hStdOutput = info.hStdOutWrite;
        startupInfo.hStdError = info.hStdOutWrite;
        startupInfo.dwFlags |= STARTF_USESTDHANDLES;
    }
    if (info.hideWindow) {
        startupInfo.dwFlags |= STARTF_USESHOWWINDOW;
        startupInfo.wShowWindow = SW_HIDE;
    }
    return startupInfo;
}

// Two spaces separate the command from its arguments, which begin with one of their own. Contract:
// docs/compatibility.md.
std::basic_string<WCHAR> composeCommandLine(const ProcessInfo &info) {
    return widen(info.arguments.empty() ? info.command : info.command + " " + info.arguments);
}

DWORD makeCreationFlags(const ProcessInfo &info, bool inUserSession, bool useJob) {
    DWORD flags = CREATE_SUSPENDED; // its pipe is made, if it can be, before its first instruction
    if (info.newConsole)
        flags |= CREATE_NEW_CONSOLE;
    if (inUserSession)
        flags |= CREATE_UNICODE_ENVIRONMENT; // as the user's environment block is
    if (!useJob)
        flags |= CREATE_BREAKAWAY_FROM_JOB; // out of a job that the launcher may be in
    // In the launcher's own session SW_HIDE is enough, and the process may still show a console.
    if (inUserSession && info.hideWindow)
        flags |= CREATE_NO_WINDOW;
    return flags;
}

Creation createInUserSession(ProcessInfo &info, bool useLinkedToken, DWORD flags,
                             std::basic_string<WCHAR> &commandLine, STARTUPINFOW startupInfo) {
    std::basic_string<WCHAR> desktop = widen("WinSta0\\Default");
    startupInfo.lpDesktop = desktop.data();
    UserSession session;
    const ScopeGuard releaseSession([&session] { releaseUserSession(session); });
    waitForUserToken(session, useLinkedToken);
    if (!makeUserEnvironment(session)) {
        const DWORD error = ::GetLastError();
        std::cout << "last error " << error << std::endl;
        return {-1, error};
    }
    if (::CreateProcessAsUserW(session.tokenToUse(), nullptr, commandLine.data(), nullptr, nullptr,
                               info.redirectOutput, flags, session.environment, nullptr,
                               &startupInfo, &info.winProcInfo) == 0)
        return {1, ::GetLastError()};
    return {};
}

Creation createDirectly(ProcessInfo &info, DWORD flags, std::basic_string<WCHAR> &commandLine,
                        STARTUPINFOW startupInfo) {
    if (::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, info.redirectOutput, flags,
                         nullptr, nullptr, &startupInfo, &info.winProcInfo) == 0)
        return {1, ::GetLastError()};
    return {};
}

// Waits for the thread's first look at `finished`: if the process had ended by then, nothing would
// be forwarded.
void startForwarding(const std::shared_ptr<ProcessInfo> &info) {
    std::promise<void> begun;
    const std::future<void> hasBegun = begun.get_future();
    info->outputThread =
        new std::thread(forwardOutput, std::weak_ptr<ProcessInfo>(info), std::move(begun));
    if (info->redirectOutput)
        hasBegun.wait();
}

void startTerminationPipe(ProcessInfo &info) {
    info.terminationPipe = new TerminationPipe(info.winProcInfo.dwProcessId, info.command);
    info.terminationThread = new std::thread(servePipe, std::ref(*info.terminationPipe));
}

// The system's text for the code, without the line end that it closes with; empty if none.
std::string systemText(DWORD code) {
    LPWSTR buffer = nullptr;
    const DWORD length = ::FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM,
        nullptr, code, neutralLanguage, reinterpret_cast<LPWSTR>(&buffer), 0, nullptr);
    if (length == 0)
        return "";
    std::string text = narrow(buffer, length);
    ::LocalFree(buffer);
    text.erase(text.find_last_not_of("\r\n") + 1);
    return text;
}

// A question mark for each unit beyond ASCII, at which the wide stream would fail for good.
std::string printable(const std::basic_string<WCHAR> &text) {
    std::string result;
    for (const WCHAR unit : text)
        result += unit <= 0x7F ? static_cast<char>(unit) : '?';
    return result;
}

// Both ways of starting report the name of this call. Contract: docs/compatibility.md.
void reportFailedCreation(DWORD error, const std::basic_string<WCHAR> &commandLine) {
    std::cout << "CreateProcessAsUser Error " << error << std::endl;
    const std::string text = error != ERROR_SUCCESS ? systemText(error) : "";
    if (!text.empty()) {
        std::cout << "ERROR MESSAGE: " << text << std::endl;
        std::wcout << "command: " << printable(commandLine).c_str() << std::endl;
    }
}

void waitForTerminationPipe(const TerminationPipe &pipe) {
    awaitBriefly(pipe.pipeReady);
    while (!pipe.pipeReady)
        ::Sleep(pipePollPauseMs);
}

// Resumed before it is assigned. Contract: docs/compatibility.md. A process that has ended by the
// time of its assignment can't be assigned any more.
bool resumeInJob(ProcessInfo &info, bool useJob) {
    ::ResumeThread(info.winProcInfo.hThread);
    info.hProcess = info.winProcInfo.hProcess;
    info.processId = info.winProcInfo.dwProcessId;
    if (useJob && info.ghJob != nullptr &&
        ::AssignProcessToJobObject(info.ghJob, info.winProcInfo.hProcess) == 0) {
        std::cout << "AssignProcessToJobObject(info.ghJob, info.winProcInfo.hProcess)" << std::endl;
        return false;
    }
    return true;
}

} // namespace

std::int32_t launchProcess(std::shared_ptr<ProcessInfo> info, bool inUserSession,
                           bool useLinkedToken, bool useJob) {
    startForwarding(info);
    const STARTUPINFOW startupInfo = makeStartupInfo(*info);
    std::basic_string<WCHAR> commandLine = composeCommandLine(*info);
    const DWORD flags = makeCreationFlags(*info, inUserSession, useJob);
    const Creation creation =
        inUserSession ? createInUserSession(*info, useLinkedToken, flags, commandLine, startupInfo)
                      : createDirectly(*info, flags, commandLine, startupInfo);

    // In this order: who sees launchDone trusts launchFailed.
    info->launchFailed.exchange(creation.status != 0);
    info->launchDone.exchange(true);
    startTerminationPipe(*info); // after a failed creation too, for the process id 0

    if (creation.status != 0) {
        info->finished.exchange(true);
        info->hProcess = nullptr;
        reportFailedCreation(creation.error, commandLine);
    } else {
        waitForTerminationPipe(*info->terminationPipe);
        if (!resumeInJob(*info, useJob))
            return 1;
    }
    // A process is no console, so this fails each time. Contract: docs/compatibility.md.
    if (inUserSession && ::SetConsoleMode(info->hProcess, ENABLE_PROCESSED_OUTPUT) == 0)
        std::cout << "Cannot set ENABLE_PROCESSED_OUTPUT" << std::endl;
    return creation.status;
}

} // namespace ProcessHandling
