#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

// What the tests and the probe need of the host, in one source for each target.
namespace testing_support {

inline constexpr std::chrono::milliseconds waitLimit{30000};

// Asks until the answer is yes; false if the limit passes first.
template <typename Predicate>
bool waitUntil(Predicate predicate, std::chrono::milliseconds limit = waitLimit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!predicate()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

// A program started with the caller's environment and directory; it may outlive this object.
class HostProcess {
public:
    // Its standard streams are the files <streams>.in, .out and .err; throws if it can't start.
    HostProcess(const std::filesystem::path &program, const std::vector<std::string> &arguments,
                const std::string &streams);
    ~HostProcess();
    HostProcess(const HostProcess &) = delete;
    HostProcess &operator=(const HostProcess &) = delete;

    std::uint32_t pid() const { return processId; }
    // The exit code: all 32 bits on Windows, elsewhere 8, or 128 + the signal that ended it.
    std::optional<std::uint32_t> wait(std::chrono::milliseconds limit);

private:
    std::uint32_t processId = 0;
    std::optional<std::uint32_t> exitCode;
    [[maybe_unused]] void *processHandle = nullptr; // the system's, where it has one
};

bool isRunning(std::uint32_t pid);  // not if it only waits for its parent to collect it
void endProcess(std::uint32_t pid); // abruptly; no failure if it has gone

// Runs a line of the Linux shell, from under Wine too, with paths in the unixPath form.
void runShell(const std::string &line);

std::string ownCommandLine(); // as its creator gave it
std::string ownUser();        // the user's id, on Windows the name

// The environment of this process, "name=value" each, in UTF-8 on both targets.
std::vector<std::string> ownEnvironment();
std::string variable(const std::string &name);                       // empty if it isn't set
void setVariable(const std::string &name, const std::string &value); // an empty value removes it

extern const bool onWindows;

// What is left of a tool's exit code in the launcher's exit status.
std::uint32_t visibleExitCode(std::uint32_t code);

// A user who can be at the console, another one than the test's if it may choose, and what
// ownUser gives for that one.
std::string consoleUserName();
std::string consoleUserId();

void hideFolder(const std::filesystem::path &path);

} // namespace testing_support
