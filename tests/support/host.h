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

enum class Platform { StandIn, Wine, Windows };
Platform platform();

inline constexpr std::chrono::milliseconds waitLimit{60000};

// Asks until the answer is yes; false if the limit passes first.
template <typename Predicate>
bool waitUntil(Predicate predicate, std::chrono::milliseconds limit = waitLimit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!predicate()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
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

    // The exit code: all 32 bits on Windows, elsewhere 8, or 128 + the signal that ended it.
    std::optional<std::uint32_t> wait(std::chrono::milliseconds limit);
    void kill(); // no failure if it has gone

private:
    std::intptr_t process = 0; // the system's id or handle
    std::optional<std::uint32_t> exitCode;
};

std::filesystem::path ownFolder();     // of the running program
std::filesystem::path temporaryRoot(); // where folders may be made, without spaces in its path
void clearAttributes(const std::filesystem::path &folder); // what is made in it inherits them
// A relative target is seen from the link's directory. Throws if the system makes no such link.
void makeLink(const std::filesystem::path &link, const std::filesystem::path &target);
void removeTree(const std::filesystem::path &folder); // follows no link

std::string ownCommandLine(); // as its creator gave it
std::size_t ownPipes();       // the ends of anonymous pipes that this process has
char **ownEnvironment();      // "name=value" each, in UTF-8 on both targets

// For Windows alone. A session is "<number> <user> <desktop> <rights>", without the rights for that
// of the console. They are 2 if they are whole, 3 if lesser, and 1 if the user has no others.
std::string ownSession();
std::string consoleSession();
bool mayRegisterServices();
bool maySymbolicLink();
bool hasDriveD(); // a local one, where folders may be made

} // namespace testing_support
