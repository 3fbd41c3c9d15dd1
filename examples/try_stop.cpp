// Starts a tool and asks it to end some seconds after it has opened its pipe, as the launcher does
// when its service is stopped; but on a console, and with no launcher or service:
//
//     try_stop SECONDS TOOL.EXE [ARGUMENT]...
//
// SECONDS is a whole number from 1 on. Arguments are in ASCII and are passed on unquoted, as the
// launcher does. Exits with the tool's exit code, or with 1 if it can't start the tool, or if the
// tool does not open its pipe within 30 s, has closed it, or still runs 2.9 s after it was asked.

#include <windows.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>

namespace {

// Long enough for any tool that opens its pipe early, however busy the machine is.
constexpr DWORD timeToOpenMs = 30000;
constexpr DWORD openPollPauseMs = 20;

// What a tool has in the worst case if the service is to report its exit code.
constexpr DWORD timeToEndMs = 2900;

using WideText = std::basic_string<WCHAR>;

struct Pipe {
    HANDLE server;
    HANDLE connected; // an event
};

void say(const std::string &text) {
    std::cout << "try_stop: " << text << std::endl;
}

int fail(const std::string &call) {
    say(call + " failed, error " + std::to_string(::GetLastError()));
    return 1;
}

WideText widen(const std::string &text) {
    return {text.begin(), text.end()};
}

// Nothing is quoted, as the launcher quotes nothing.
WideText composeCommandLine(int argc, char **argv) {
    std::string line = argv[2];
    for (int argument = 3; argument < argc; ++argument)
        line += (argument == 3 ? "  " : " ") + std::string(argv[argument]);
    return widen(line);
}

// Kills the tool at this program's end.
HANDLE createJob() {
    const HANDLE job = ::CreateJobObjectW(nullptr, nullptr);
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags =
        JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_SILENT_BREAKAWAY_OK;
    ::SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits);
    return job;
}

HANDLE createPipe(DWORD processId) {
    const std::string name = "\\\\.\\pipe\\zqLauncher_" + std::to_string(processId);
    return ::CreateNamedPipeW(widen(name).c_str(), PIPE_ACCESS_OUTBOUND,
                              PIPE_TYPE_MESSAGE | PIPE_REJECT_REMOTE_CLIENTS, 1, 256, 0, 0,
                              nullptr);
}

DWORD WINAPI awaitClient(LPVOID argument) {
    const Pipe &pipe = *static_cast<const Pipe *>(argument);
    if (::ConnectNamedPipe(pipe.server, nullptr) != 0 || ::GetLastError() == ERROR_PIPE_CONNECTED)
        ::SetEvent(pipe.connected);
    return 0;
}

bool hasEnded(HANDLE process, DWORD milliseconds) {
    return ::WaitForSingleObject(process, milliseconds) == WAIT_OBJECT_0;
}

bool hasClient(const Pipe &pipe) {
    return ::WaitForSingleObject(pipe.connected, 0) == WAIT_OBJECT_0;
}

// Returns false if the tool neither opens its pipe nor ends in time.
bool awaitClientOrEnd(const Pipe &pipe, HANDLE process) {
    for (DWORD waitedMs = 0; waitedMs < timeToOpenMs; waitedMs += openPollPauseMs)
        if (hasClient(pipe) || hasEnded(process, openPollPauseMs))
            return true;
    return false;
}

int reportEnd(HANDLE process, const std::string &when) {
    DWORD code = 1;
    ::GetExitCodeProcess(process, &code);
    say("the tool ended " + when + " with exit code " + std::to_string(code));
    return static_cast<int>(code);
}

int askToEnd(HANDLE process, HANDLE pipe) {
    const char word[] = "zqEnd!";
    DWORD written = 0;
    if (::WriteFile(pipe, word, sizeof word, &written, nullptr) == FALSE) {
        say("the tool has closed its pipe: it can't be asked, and is killed");
        return 1;
    }
    ::DisconnectNamedPipe(pipe);
    ::CloseHandle(pipe);
    say("the tool is asked to end");
    if (hasEnded(process, timeToEndMs))
        return reportEnd(process, "in time");
    say("the tool still runs after 2.9 s: a service may kill it, and report 0");
    return 1;
}

} // namespace

int main(int argc, char **argv) {
    const unsigned long seconds = argc < 3 ? 0 : std::strtoul(argv[1], nullptr, 10);
    if (seconds == 0) {
        say("usage: try_stop SECONDS TOOL.EXE [ARGUMENT]...");
        return 1;
    }
    const auto delayMs = static_cast<DWORD>(1000 * seconds);
    const HANDLE job = createJob();
    WideText commandLine = composeCommandLine(argc, argv);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION tool{};
    if (::CreateProcessW(nullptr, &commandLine[0], nullptr, nullptr, FALSE, CREATE_SUSPENDED,
                         nullptr, nullptr, &startup, &tool) == FALSE)
        return fail("CreateProcessW");

    // The pipe is there before the tool's first instruction.
    Pipe pipe{createPipe(tool.dwProcessId), ::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    if (pipe.server == INVALID_HANDLE_VALUE)
        return fail("CreateNamedPipeW");
    ::CreateThread(nullptr, 0, awaitClient, &pipe, 0, nullptr);
    ::ResumeThread(tool.hThread);
    if (::AssignProcessToJobObject(job, tool.hProcess) == FALSE) {
        say("the tool ended too soon: a launcher would take this for a failed start");
        return 1;
    }
    say("the tool runs, process id " + std::to_string(tool.dwProcessId));

    if (!awaitClientOrEnd(pipe, tool.hProcess)) {
        say("the tool hasn't opened its pipe: it can't be asked, and is killed");
        return 1;
    }
    if (hasEnded(tool.hProcess, delayMs))
        return reportEnd(tool.hProcess, "by itself");
    return askToEnd(tool.hProcess, pipe.server);
}
