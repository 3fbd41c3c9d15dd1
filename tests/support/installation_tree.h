#pragma once

#include <filesystem>
#include <string>

namespace testing_support {

// Forms of one path: Z:\tmp\x, /tmp/x, and whichever of them the test itself opens.
std::string windowsPath(const std::filesystem::path &path);
std::string unixPath(const std::filesystem::path &path);
std::filesystem::path hostPath(const std::filesystem::path &path);

// A fresh folder below /tmp, removed at the end with all that it holds.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::filesystem::path &path() const { return folder; }
    std::filesystem::path operator/(const std::string &name) const { return folder / name; }

private:
    std::filesystem::path folder;
};

// Bytes as they are; what can't be read is empty. Writing makes the directories above.
std::string readFile(const std::filesystem::path &path);
void writeFile(const std::filesystem::path &path, const std::string &text);
// A hard link, or a copy where that can't be. Makes the directories above.
void placeProgram(const std::filesystem::path &program, const std::filesystem::path &path);
// The target as the link is to hold it; a relative one is seen from the link's directory.
void makeLink(const std::filesystem::path &link, const std::string &target);

std::filesystem::path launcherProgram();
std::filesystem::path probeProgram();

// Builds an installation below a root; paths come back in the form that the test opens.
class InstallationTree {
public:
    explicit InstallationTree(const std::filesystem::path &root);

    std::filesystem::path root() const { return rootPath; }
    std::filesystem::path addLauncher(const std::string &version) const;
    std::filesystem::path addTool(const std::string &version, const std::string &tool) const;
    std::filesystem::path addFramework(const std::string &version) const; // bin, plugins, qml
    void writeQtInfo(const std::string &version, const std::string &tool,
                     const std::string &text) const;
    // <folder>\current becomes a link to the version beside it; folder is "tools" or the like.
    void setCurrent(const std::string &folder, const std::string &version) const;

private:
    std::filesystem::path rootPath;
};

} // namespace testing_support
