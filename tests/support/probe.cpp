#include "platform/windows_api.h"
#include "support/files.h"
#include "support/host.h"
#ifdef _WIN32
#include "zq_end_children.h"
#endif

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>

using namespace testing_support;

namespace {

// "name=value" each, a zero byte after it: what the probe found when it was started.
void writeReport(const std::string &file, const std::vector<std::string> &arguments) {
    std::ostringstream text;
#ifdef _WIN32
    text << "session=" << ownSession() << '\0';
#endif
    text << "pipes=" << ownPipes() << '\0' << "line=" << ownCommandLine() << '\0'
         << "directory=" << std::filesystem::current_path().string() << '\0' << "arguments=";
    for (const std::string &argument : arguments)
        text << '[' << argument << ']';
    for (char **entry = ownEnvironment(); *entry; ++entry)
        text << '\0' << *entry;
    writeFile(file, text.str());
}

void print(const std::string &bytes) {
    DWORD written = 0; // the stream's text mode would add carriage returns
    ::WriteFile(::GetStdHandle(STD_OUTPUT_HANDLE), bytes.data(), static_cast<DWORD>(bytes.size()),
                &written, nullptr);
}

HANDLE openTerminationPipe() {
    const std::string name = "\\\\.\\pipe\\zqLauncher_" + std::to_string(::GetCurrentProcessId());
    return ::CreateFileW(std::basic_string<WCHAR>(name.begin(), name.end()).c_str(), GENERIC_READ,
                         0, nullptr, OPEN_EXISTING, 0, nullptr);
}

// Writes down the bytes of the message that the pipe brings, or "error " and the code.
void writeWord(const std::string &file) {
    char message[64];
    DWORD size = 0;
    const bool got = ::ReadFile(openTerminationPipe(), message, sizeof message, &size, nullptr);
    writeFile(file, got ? std::string(message, size) : "error " + std::to_string(::GetLastError()));
}

} // namespace

// A tool that does what its arguments say, in their order, and else nothing. Where nobody can give
// it arguments, it finds them in the file <program>.todo beside it.
int main(int argc, char **argv) {
    // A tool that has ended before it is in its job counts as a failed start.
    const auto earliestEnd = std::chrono::steady_clock::now() + std::chrono::milliseconds(200);
    const std::vector<std::string> arguments(argv, argv + argc);
    std::vector<std::string> orders = arguments;
    std::ifstream todo(hostPath(arguments[0]).replace_extension(".todo"));
    std::copy(std::istream_iterator<std::string>(todo), {}, std::back_inserter(orders));
    int exitCode = 0;
    const std::map<std::string, std::function<void(const std::string &)>> actions{
        {"report", [&](const auto &file) { writeReport(file, arguments); }},
        {"sleep",
         [](const auto &milliseconds) { ::Sleep(static_cast<DWORD>(std::stoul(milliseconds))); }},
        // Longer than a test waits for it to be killed.
        {"stay", [](const auto &) { std::this_thread::sleep_for(5 * waitLimit); }},
        {"await",
         [](const auto &file) { waitUntil([&] { return std::filesystem::exists(file); }); }},
        {"print", print},
        {"input", [](const auto &) { std::cin.get(); }},
        {"printerr", [](const auto &text) { std::cerr << text << std::flush; }},
        {"type", [](const auto &file) { print(readFile(file)); }},
        {"child",
         [&](const auto &file) {
             HostProcess(hostPath(arguments[0]).replace_filename("child.exe"),
                         {"await=" + file + "end"}, file);
         }},
#ifdef _WIN32
        {"endchildren", [](const auto &) { zqEndChildrenWithMe(); }},
#endif
        {"word", writeWord},
        {"ignoreword", [](const auto &) { openTerminationPipe(); }},
        {"exit", [&](const auto &code) { exitCode = static_cast<int>(std::stoul(code)); }}};
    for (const std::string &argument : orders) {
        const std::size_t end = std::min(argument.find('='), argument.size());
        const auto action = actions.find(argument.substr(0, end));
        if (action != actions.end())
            action->second(argument.substr(std::min(end + 1, argument.size())));
    }
    std::this_thread::sleep_until(earliestEnd);
    std::_Exit(exitCode);
}
