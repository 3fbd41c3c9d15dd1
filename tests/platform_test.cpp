#include "platform/windows_api.h"
#include "support/host.h"
#include "support/installation_tree.h"
#include "support/probe_report.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

// Facts of the platform that the launcher rests on. Each must hold on every target.

using namespace testing_support;
namespace fs = std::filesystem;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;

namespace {

using WideText = std::basic_string<WCHAR>;

WideText wide(const std::string &text) {
    return {text.begin(), text.end()};
}
std::string narrow(const WCHAR *text) {
    std::string result;
    while (*text)
        result += static_cast<char>(*text++);
    return result;
}

struct Handle {
    HANDLE value = nullptr;
    ~Handle() { close(); }
    void close() {
        if (value && value != INVALID_HANDLE_VALUE)
            ::CloseHandle(value);
        value = nullptr;
    }
};

// A process from its suspended creation on; it ends with this.
struct Process {
    Handle process, thread;
    DWORD pid = 0, error = 0;

    explicit Process(const std::string &commandLine, HANDLE output = nullptr) {
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        if (output) {
            startup.dwFlags = STARTF_USESTDHANDLES;
            startup.hStdOutput = startup.hStdError = output;
        }
        PROCESS_INFORMATION information{};
        WideText line = wide(commandLine);
        if (!::CreateProcessW(nullptr, line.data(), nullptr, nullptr, output != nullptr,
                              CREATE_SUSPENDED, nullptr, nullptr, &startup, &information))
            error = ::GetLastError();
        process.value = information.hProcess;
        thread.value = information.hThread;
        pid = information.dwProcessId;
    }
    ~Process() {
        if (pid != 0)
            endProcess(pid);
    }
    void resume() const { ::ResumeThread(thread.value); }
    DWORD exitCode() const {
        DWORD code = 0;
        EXPECT_EQ(::WaitForSingleObject(process.value, 30000), WAIT_OBJECT_0);
        EXPECT_TRUE(::GetExitCodeProcess(process.value, &code));
        return code;
    }
};

struct Job : Handle {
    Job() {
        value = ::CreateJobObjectW(nullptr, nullptr);
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
        limits.BasicLimitInformation.LimitFlags =
            JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE | JOB_OBJECT_LIMIT_SILENT_BREAKAWAY_OK;
        EXPECT_TRUE(::SetInformationJobObject(value, JobObjectExtendedLimitInformation, &limits,
                                              sizeof limits));
    }
};

class PlatformProcess : public ::testing::Test {
protected:
    std::string place(const std::string &name) {
        placeProgram(probeProgram(), folder / name);
        return windowsPath(folder / name);
    }
    TemporaryFolder folder;
    std::string probe = place("probe.exe");
    std::string report = (folder / "report").string();
};

TEST_F(PlatformProcess, RunsNoInstructionBeforeItIsResumed) {
    const Process created(probe + " report=" + report + " exit=3");
    EXPECT_EQ(::WaitForSingleObject(created.process.value, 300), WAIT_TIMEOUT);
    EXPECT_FALSE(fs::exists(report));
    created.resume();
    EXPECT_EQ(created.exitCode(), 3u);
    EXPECT_EQ(readProbeReport(report).pid, created.pid);
}

TEST_F(PlatformProcess, TellsWhyItCannotBeCreated) {
    writeFile(folder / "text.exe", "no program\n");
    writeFile(folder / "empty.exe", "");
    const std::string root = windowsPath(folder.path()) + "\\";
    // Wine looks for a file and says 2 of all that isn't one; Windows tells more.
    const struct {
        std::string line;
        DWORD error, orElse;
    } cases[] = {{root + "absent.exe", ERROR_FILE_NOT_FOUND, ERROR_FILE_NOT_FOUND},
                 {root + "no\\tool.exe", ERROR_PATH_NOT_FOUND, ERROR_FILE_NOT_FOUND},
                 {windowsPath(folder.path()), ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND},
                 {root + "text.exe", ERROR_BAD_EXE_FORMAT, ERROR_BAD_EXE_FORMAT},
                 {root + "text.exe a", ERROR_BAD_EXE_FORMAT, ERROR_BAD_EXE_FORMAT},
                 {root + "empty.exe", ERROR_BAD_EXE_FORMAT, ERROR_BAD_EXE_FORMAT}};
    for (const auto &[line, error, orElse] : cases)
        EXPECT_THAT(Process(line).error, AnyOf(error, orElse)) << line;
}

TEST_F(PlatformProcess, FindsTheProgramInAnUnquotedCommandLine) {
    place("a b/tool.exe");
    const std::string root = windowsPath(folder.path()) + "\\";
    const auto start = [&](const std::string &program, const std::string &rest) {
        fs::remove(report);
        const Process created(program + " report=" + report + rest);
        EXPECT_EQ(created.error, 0u) << program;
        created.resume();
        const ProbeReport found = readProbeReport(report);
        EXPECT_EQ(created.exitCode(), 0u);
        EXPECT_THAT(found.commandLine, EndsWith(" report=" + report + rest));
        return found.arguments;
    };
    EXPECT_THAT(start(root + "probe", "  \"x  y\"z a\\\\b \\\\\"c d"),
                ElementsAre(root + "probe", "report=" + report, "x  yz", "a\\\\b", "\\c d"));
    // Found behind a blank, the program's path is given to it as one argument, in quotes.
    for (const char *name : {"a b\\tool.exe", "a b\\tool"})
        EXPECT_THAT(start(root + name, ""), ElementsAre(root + name, "report=" + report));
    place("a.exe"); // now the program with the shorter path comes first
    EXPECT_THAT(start(root + "a b\\tool.exe", " \\\"q\\\" \"\""),
                ElementsAre(root + "a", "b\\tool.exe", "report=" + report, "\"q\"", ""));
}

TEST_F(PlatformProcess, InheritsOnlyTheHandlesThatItIsGiven) {
    for (const bool given : {true, false}) {
        SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
        Handle reading, writing;
        ASSERT_TRUE(::CreatePipe(&reading.value, &writing.value, &inheritable, 0));
        ASSERT_TRUE(::SetHandleInformation(reading.value, HANDLE_FLAG_INHERIT, 0));
        const Process created(probe + " sleep=200 print=abc sleep=300",
                              given ? writing.value : nullptr);
        writing.close();
        created.resume();
        DWORD available = 0, size = 0;
        const auto peek = [&] {
            return ::PeekNamedPipe(reading.value, nullptr, 0, nullptr, &available, nullptr);
        };
        EXPECT_EQ(peek(), given) << "an open writing end keeps the empty pipe alive";
        if (!given)
            continue;
        EXPECT_TRUE(waitUntil([&] { return peek() && available == 3; }));
        char bytes[8];
        EXPECT_TRUE(::ReadFile(reading.value, bytes, sizeof bytes, &size, nullptr));
        EXPECT_EQ(std::string(bytes, size), "abc");
        created.exitCode();
        EXPECT_FALSE(peek());
        EXPECT_EQ(::GetLastError(), ERROR_BROKEN_PIPE);
    }
}

TEST_F(PlatformProcess, CannotJoinAJobOnceItHasEnded) {
    const Job job;
    const Process created(probe);
    created.resume();
    created.exitCode();
    EXPECT_FALSE(::AssignProcessToJobObject(job.value, created.process.value));
    EXPECT_EQ(::GetLastError(), ERROR_ACCESS_DENIED);
}

// The server's end of a termination pipe, and what a client sees of it.
class PlatformPipe : public ::testing::Test {
protected:
    HANDLE open() const {
        return ::CreateFileW(name.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    }
    bool send(const std::string &text) const {
        DWORD written = 0;
        return ::WriteFile(server.value, text.data(), static_cast<DWORD>(text.size()), &written,
                           nullptr) &&
               written == text.size();
    }
    std::string receive(HANDLE client) const {
        char bytes[64];
        DWORD size = 0;
        return ::ReadFile(client, bytes, sizeof bytes, &size, nullptr)
                   ? std::string(bytes, size)
                   : "error " + std::to_string(::GetLastError());
    }
    static WideText pipeName(DWORD pid) {
        return wide("\\\\.\\pipe\\zqLauncher_" + std::to_string(pid));
    }
    static HANDLE create(DWORD pid) {
        return ::CreateNamedPipeW(pipeName(pid).c_str(), PIPE_ACCESS_OUTBOUND,
                                  PIPE_TYPE_MESSAGE | PIPE_REJECT_REMOTE_CLIENTS,
                                  PIPE_UNLIMITED_INSTANCES, 256, 0, 0, nullptr);
    }
    const WideText name = pipeName(::GetCurrentProcessId());
    Handle server{create(::GetCurrentProcessId())};
    const std::string word{"zqEnd!\0", 7};
};

TEST_F(PlatformPipe, KeepsTheServerWaitingUntilAClientOpensIt) {
    for (const bool byDeletion : {false, true}) {
        std::atomic<bool> connected{false};
        std::thread waiting([&] {
            EXPECT_TRUE(::ConnectNamedPipe(server.value, nullptr) ||
                        ::GetLastError() == ERROR_PIPE_CONNECTED);
            connected = true;
        });
        EXPECT_FALSE(waitUntil([&] { return connected.load(); }, std::chrono::milliseconds(200)));
        Handle client;
        EXPECT_TRUE(waitUntil([&] { // not at the first try if the thread begins late
            if (byDeletion)
                ::DeleteFileW(name.c_str()); // opens the name, then fails on it
            else if (client.value == nullptr || client.value == INVALID_HANDLE_VALUE)
                client.value = open();
            return connected.load();
        }));
        waiting.join();
        EXPECT_EQ(send(word), !byDeletion) << "after the deletion the client has gone again";
        EXPECT_TRUE(::DisconnectNamedPipe(server.value));
    }
}

TEST_F(PlatformPipe, TellsOfAClientThatCameFirst) {
    Handle client{open()};
    EXPECT_FALSE(::ConnectNamedPipe(server.value, nullptr));
    EXPECT_EQ(::GetLastError(), ERROR_PIPE_CONNECTED);
    EXPECT_EQ(open(), INVALID_HANDLE_VALUE) << "one instance, one client";
    EXPECT_EQ(::GetLastError(), ERROR_PIPE_BUSY);
    client.close();
    EXPECT_FALSE(send(word));
    server.close();
    server.value = create(::GetCurrentProcessId());
    client.value = open();
    client.close();
    EXPECT_FALSE(::ConnectNamedPipe(server.value, nullptr));
    EXPECT_EQ(::GetLastError(), ERROR_NO_DATA) << "it came first and has gone";
}

TEST_F(PlatformPipe, DropsAtTheDisconnectWhatNobodyHasRead) {
    const Handle client{open()};
    ::ConnectNamedPipe(server.value, nullptr);
    EXPECT_TRUE(send(word));
    EXPECT_TRUE(::DisconnectNamedPipe(server.value));
    EXPECT_EQ(receive(client.value), "error " + std::to_string(ERROR_PIPE_NOT_CONNECTED));
}

TEST_F(PlatformPipe, IsGoneWithItsServer) {
    const Handle client{open()};
    server.close();
    EXPECT_EQ(receive(client.value), "error " + std::to_string(ERROR_BROKEN_PIPE));
    EXPECT_EQ(open(), INVALID_HANDLE_VALUE);
    EXPECT_EQ(::GetLastError(), ERROR_FILE_NOT_FOUND);
}

struct Event : Handle {
    Event() { value = ::CreateEventW(nullptr, TRUE, FALSE, nullptr); }
    void set() const { EXPECT_TRUE(::SetEvent(value)); }
    DWORD wait(DWORD milliseconds) const { return ::WaitForSingleObject(value, milliseconds); }
};

struct Listener {
    Event mayLook, hasLooked, mayTake;
    UINT first = 0, second = 0;
};

DWORD WINAPI listen(LPVOID argument) {
    Listener &listener = *static_cast<Listener *>(argument);
    MSG message{};
    listener.mayLook.wait(INFINITE);
    EXPECT_FALSE(::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
    listener.hasLooked.set();
    listener.mayTake.wait(INFINITE);
    for (UINT *seen : {&listener.first, &listener.second})
        if (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            *seen = message.message;
    return 7;
}

TEST(PlatformThread, TakesMessagesFromItsFirstLookOn) {
    Listener listener;
    DWORD id = 0;
    const Handle thread{::CreateThread(nullptr, 0, listen, &listener, 0, &id)};
    EXPECT_FALSE(::PostThreadMessageW(id, WM_CLOSE, 0, 0)) << "no queue yet";
    EXPECT_EQ(listener.hasLooked.wait(50), WAIT_TIMEOUT);
    listener.mayLook.set();
    EXPECT_EQ(listener.hasLooked.wait(30000), WAIT_OBJECT_0);
    EXPECT_EQ(listener.hasLooked.wait(0), WAIT_OBJECT_0) << "it stays set";
    EXPECT_TRUE(::PostThreadMessageW(id, WM_CLOSE + 1, 0, 0));
    EXPECT_TRUE(::PostThreadMessageW(id, WM_CLOSE, 0, 0));
    EXPECT_EQ(::WaitForSingleObject(thread.value, 0), WAIT_TIMEOUT);
    listener.mayTake.set();
    EXPECT_EQ(::WaitForSingleObject(thread.value, 30000), WAIT_OBJECT_0);
    EXPECT_EQ(listener.first, WM_CLOSE + 1);
    EXPECT_EQ(listener.second, WM_CLOSE);
    EXPECT_FALSE(::PostThreadMessageW(id, WM_CLOSE, 0, 0)) << "the thread has ended";
}

TEST(PlatformFiles, MakeAPathFull) {
    const std::string here = windowsPath(fs::current_path());
    const std::pair<std::string, std::string> cases[] = {
        {"Z:\\a\\b", "Z:\\a\\b"},     {"Z:/a/./b\\", "Z:\\a\\b\\"},
        {"Z:\\a\\..\\b\\.", "Z:\\b"}, {"Z:\\..\\x\\\\y", "Z:\\x\\y"},
        {"x\\..\\y", here + "\\y"},   {"\\a", here.substr(0, 2) + "\\a"},
        {"C:\\a\\..\\b", "C:\\b"}};
    for (const auto &[path, full] : cases) {
        WCHAR buffer[MAX_PATH];
        EXPECT_EQ(::GetFullPathNameW(wide(path).c_str(), MAX_PATH, buffer, nullptr), full.size());
        EXPECT_EQ(narrow(buffer), full) << path;
    }
}

} // namespace
