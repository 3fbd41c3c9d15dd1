#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace testing_support {

// What a probe found when it was started.
struct ProbeReport {
    std::uint32_t pid = 0;
    std::string user, commandLine, workingDirectory;
    std::vector<std::string> arguments;             // the program's name first
    std::map<std::string, std::string> environment; // names in capitals
};

// The report appears all at once.
void writeProbeReport(const std::filesystem::path &path, const std::vector<std::string> &arguments);
// Waits for the report; throws if none comes.
ProbeReport readProbeReport(const std::filesystem::path &path);

// The bytes that a probe writes for bytes=<n>: no zero byte, lines of different lengths.
std::string probeBytes(std::size_t count);

} // namespace testing_support
