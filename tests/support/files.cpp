#include "support/files.h"

#include "support/host.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace testing_support {
namespace fs = std::filesystem;

std::string windowsPath(const fs::path &path) {
    std::string text = path.string();
    std::replace(text.begin(), text.end(), '/', '\\');
    return text.starts_with('\\') ? "Z:" + text : text;
}

std::string unixPath(const fs::path &path) {
    std::string text = windowsPath(path).substr(2);
    std::replace(text.begin(), text.end(), '\\', '/');
    return text;
}

fs::path hostPath(const fs::path &path) {
    return onWindows ? windowsPath(path) : unixPath(path);
}

TemporaryFolder::TemporaryFolder() {
    std::random_device random;
    do
        folder = hostPath("/tmp/launcher_test_" + std::to_string(random()));
    while (!fs::create_directory(folder));
}

TemporaryFolder::~TemporaryFolder() {
    // Not by the C++ library: it would follow links under Wine, and mind programs that still run.
    runShell("rm -rf '" + unixPath(folder) + "'");
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

void makeLink(const fs::path &link, const std::string &target) {
    fs::create_directories(link.parent_path());
    if (!runShell("ln -s '" + target + "' '" + unixPath(link) + "'"))
        throw std::runtime_error("no link " + link.string());
}

} // namespace testing_support
