#include "support/probe_report.h"

#include "platform/windows_api.h"
#include "support/host.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <stdexcept>

namespace testing_support {

// Each text ends with a zero byte; an empty one ends the arguments.
void writeProbeReport(const std::filesystem::path &path,
                      const std::vector<std::string> &arguments) {
    const std::filesystem::path unfinished = path.string() + ".unfinished";
    std::ofstream file(unfinished, std::ios::binary);
    file << ::GetCurrentProcessId() << '\0' << ownUser() << '\0' << ownCommandLine() << '\0'
         << std::filesystem::current_path().string() << '\0' << arguments.size() << '\0';
    for (const std::string &argument : arguments)
        file << argument << '\0';
    for (const std::string &entry : ownEnvironment())
        file << entry << '\0';
    file.close();
    std::filesystem::rename(unfinished, path);
}

ProbeReport readProbeReport(const std::filesystem::path &path) {
    std::ifstream file;
    const auto opened = [&] { // not if it only exists: a file that is being renamed may be shut
        file.open(path, std::ios::binary);
        return file.is_open();
    };
    if (!waitUntil(opened))
        throw std::runtime_error("no report " + path.string());
    std::string text;
    const auto next = [&] {
        std::getline(file, text, '\0');
        return text;
    };
    ProbeReport report;
    report.pid = static_cast<std::uint32_t>(std::stoul(next()));
    report.user = next();
    report.commandLine = next();
    report.workingDirectory = next();
    for (unsigned long count = std::stoul(next()); count > 0; --count)
        report.arguments.push_back(next());
    while (!next().empty()) {
        std::string name = text.substr(0, text.find('='));
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char each) { return static_cast<char>(std::toupper(each)); });
        report.environment[name] = text.substr(std::min(text.size(), text.find('=') + 1));
    }
    return report;
}

std::string probeBytes(std::size_t count) {
    std::string bytes(count, '\n');
    for (std::size_t at = 0; at < count; ++at)
        if (at % 83 != 82 && at % 301 != 300)
            bytes[at] = static_cast<char>('0' + at % 71);
    return bytes;
}

} // namespace testing_support
