#include "support/installation_tree.h"

#include "support/host.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>

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
    return fs::exists("Z:\\") ? windowsPath(path) : unixPath(path);
}

TemporaryFolder::TemporaryFolder() {
    std::random_device random;
    do
        folder = hostPath("/tmp/launcher_test_" + std::to_string(random()));
    while (!fs::create_directory(folder));
}

TemporaryFolder::~TemporaryFolder() {
    // Not by the C++ library: it would follow links under Wine, and mind programs that still run.
    // One that is just ending may add a file meanwhile, hence the second try.
    const std::string removal = "rm -rf '" + unixPath(folder) + "'";
    runShell(removal + " || sleep 1 && " + removal + " || true");
}

std::string readFile(const fs::path &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const fs::path &path, const std::string &text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

void placeProgram(const fs::path &program, const fs::path &path) {
    fs::create_directories(path.parent_path());
    std::error_code error;
    fs::create_hard_link(program, path, error);
    if (error)
        fs::copy_file(program, path);
}

void makeLink(const fs::path &link, const std::string &target) {
    runShell("ln -s '" + target + "' '" + unixPath(link) + "'");
}

fs::path launcherProgram() {
    return hostPath(LAUNCHER_PROGRAM);
}
fs::path probeProgram() {
    return hostPath(PROBE_PROGRAM);
}

InstallationTree::InstallationTree(const fs::path &root) : rootPath(root) {}

fs::path InstallationTree::addLauncher(const std::string &version) const {
    const fs::path path = rootPath / "tools" / version / "zqLauncher" / "zqLauncher.exe";
    placeProgram(launcherProgram(), path);
    return path;
}

fs::path InstallationTree::addTool(const std::string &version, const std::string &tool) const {
    const fs::path path = rootPath / "tools" / version / tool / (tool + ".exe");
    placeProgram(probeProgram(), path);
    return path;
}

fs::path InstallationTree::addFramework(const std::string &version) const {
    const fs::path path = rootPath / "frameworks" / version;
    for (const char *part : {"bin", "plugins", "qml"})
        fs::create_directories(path / part);
    return path;
}

void InstallationTree::writeQtInfo(const std::string &version, const std::string &tool,
                                   const std::string &text) const {
    writeFile(rootPath / "tools" / version / tool / ".qtinfo", text);
}

void InstallationTree::setCurrent(const std::string &folder, const std::string &version) const {
    fs::create_directories(rootPath / folder);
    makeLink(rootPath / folder / "current", version);
}

} // namespace testing_support
