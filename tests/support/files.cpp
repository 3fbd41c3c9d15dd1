#include "support/files.h"

#include "support/host.h"

#include <fstream>
#include <iterator>
#include <random>
#include <regex>

namespace testing_support {
namespace fs = std::filesystem;

std::string windowsPath(const fs::path &path) {
    const std::string text = replaced(path.string(), "/", "\\");
    return text.starts_with('\\') ? "Z:" + text : text;
}

fs::path hostPath(const fs::path &path) {
    const std::string text = windowsPath(path);
    return platform() == Platform::StandIn ? replaced(replaced(text, "^Z:", ""), "\\\\", "/")
                                           : text;
}

TemporaryFolder::TemporaryFolder() {
    std::random_device random;
    do
        folder = temporaryRoot() / ("launcher_test_" + std::to_string(random()));
    while (!fs::create_directory(folder));
    clearAttributes(folder);
}

TemporaryFolder::~TemporaryFolder() {
    removeTree(folder);
}

std::string replaced(const std::string &text, const std::string &pattern, const std::string &by) {
    return std::regex_replace(text, std::regex(pattern), by);
}

std::string readFile(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const fs::path &path, const std::string &text) {
    fs::create_directories(path.parent_path());
    const fs::path unfinished = path.string() + ".unfinished";
    std::ofstream(unfinished, std::ios::binary) << text;
    fs::rename(unfinished, path);
}

void placeProgram(const fs::path &program, const fs::path &path) {
    fs::create_directories(path.parent_path());
    fs::copy_file(program, path);
}

bool isRunning(const fs::path &program) {
    return !std::ofstream(program, std::ios::binary | std::ios::app);
}

} // namespace testing_support
