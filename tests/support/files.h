#pragma once

#include <filesystem>
#include <string>

namespace testing_support {

// Forms of one path: as the launcher knows it, with a drive, and as the test itself opens it.
std::string windowsPath(const std::filesystem::path &path);
std::filesystem::path hostPath(const std::filesystem::path &path);

// A fresh folder, removed at the end with all that it holds.
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

// Each match of the regular expression gives way to the other text.
std::string replaced(const std::string &text, const std::string &pattern, const std::string &by);
// Bytes as they are; what can't be read is empty.
std::string readFile(const std::filesystem::path &path);
// The file appears all at once, and the directories above it if they are missing.
void writeFile(const std::filesystem::path &path, const std::string &text);
// Makes the directories above it.
void placeProgram(const std::filesystem::path &program, const std::filesystem::path &path);
// Whether the program runs: the system lets nobody write to it then.
bool isRunning(const std::filesystem::path &program);

} // namespace testing_support
