#include "platform/windows_api.h"
#include "support/host.h"
#include "support/installation_tree.h"
#include "support/probe_report.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>

using namespace testing_support;

namespace {

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
    const std::string text =
        got ? std::string(message, size) : "error " + std::to_string(::GetLastError());
    writeFile(file + ".unfinished", text);
    std::filesystem::rename(file + ".unfinished", file);
}

} // namespace

// A tool that does what its arguments say, in their order, and else nothing. Where nobody can give
// it arguments, it finds them in the file <program>.todo beside it.
int main(int argc, char **argv) {
    const std::vector<std::string> arguments(argv, argv + argc);
    std::vector<std::string> orders = arguments;
    std::ifstream todo(hostPath(arguments[0]).replace_extension(".todo"));
    std::copy(std::istream_iterator<std::string>(todo), {}, std::back_inserter(orders));
    const std::map<std::string, std::function<void(const std::string &)>> actions{
        {"report", [&](const auto &file) { writeProbeReport(file, arguments); }},
        {"sleep",
         [](const auto &milliseconds) { ::Sleep(static_cast<DWORD>(std::stoul(milliseconds))); }},
        {"await",
         [](const auto &file) { waitUntil([&] { return std::filesystem::exists(file); }); }},
        {"print", print},
        {"printerr", [](const auto &text) { std::cerr << text << std::flush; }},
        {"bytes", [](const auto &count) { print(probeBytes(std::stoul(count))); }},
        {"zero", [](const auto &) { print(std::string("ab\0cd", 5)); }},
        {"closeout", [](const auto &) { std::fclose(stdout); }},
        {"child",
         [&](const auto &file) {
             HostProcess(hostPath(arguments[0]), {"report=" + file, "sleep=30000"}, file);
         }},
        {"word", writeWord},
        {"ignoreword", [](const auto &) { openTerminationPipe(); }},
        {"exit", [](const auto &code) { std::_Exit(static_cast<int>(std::stoul(code))); }}};
    for (const std::string &argument : orders) {
        const std::size_t end = std::min(argument.find('='), argument.size());
        const auto action = actions.find(argument.substr(0, end));
        if (action != actions.end())
            action->second(argument.substr(std::min(end + 1, argument.size())));
    }
}
