#include "support/launcher_run.h"

#include <gtest/gtest.h>
#include <iostream>

namespace testing_support {
namespace fs = std::filesystem;

namespace {

std::string withPlainLineEnds(std::string text) {
    for (std::size_t at = 0; (at = text.find("\r\n", at)) != std::string::npos;)
        text.erase(at, 1);
    return text;
}

// Sets variables of this process, and sets them back at its end.
class Variables {
public:
    ~Variables() {
        for (const auto &[name, value] : before)
            setVariable(name, value);
    }
    void set(const std::string &name, const std::string &value) {
        before.emplace(name, variable(name));
        setVariable(name, value);
    }

private:
    std::map<std::string, std::string> before;
};

} // namespace

LauncherRun::LauncherRun(const TemporaryFolder &folder, const LauncherStart &start) {
    static int count = 0;
    streams = (folder / ("run" + std::to_string(++count))).string();
    writeFile(streams + ".in", start.input);
    commandLine = start.program.string();
    for (const std::string &argument : start.arguments)
        commandLine += " [" + argument + "]";

    Variables variables;
    for (const char *name : {"ZQ_INSTALL_ROOT", "ZQ_SNAP", "ZQ_LOG_ENABLE_STDOUT", "ZQ_FW_VERSION",
                             "ZQ_TOOL_VERSION", "LARKSTONE_PATH_PREFIX"})
        variables.set(name, "");
    if (const std::string interpreter = COMMAND_INTERPRETER; !interpreter.empty()) {
        const fs::path drive = folder / "drive_c", system = drive / "Windows" / "system32";
        if (!fs::exists(system / "cmd.exe"))
            placeProgram(interpreter, system / "cmd.exe");
        variables.set("ZQHOST_DRIVE_C", drive.string());
    }
    for (const auto &[name, value] : start.environment)
        variables.set(name, value);

    const fs::path directory = fs::current_path();
    if (!start.workingDirectory.empty())
        fs::current_path(start.workingDirectory);
    process = std::make_unique<HostProcess>(start.program, start.arguments, streams);
    fs::current_path(directory);
}

LauncherRun::~LauncherRun() {
    kill();
    if (::testing::Test::HasFailure())
        std::cout << commandLine << "\n--- output\n" << rawOutput() << "\n--- errors\n" << errors();
}

std::string LauncherRun::output() const {
    return withPlainLineEnds(rawOutput());
}

std::string LauncherRun::errors() const {
    return withPlainLineEnds(readFile(streams + ".err"));
}

bool LauncherRun::awaitOutput(const std::string &text) const {
    return waitUntil([&] { return output().find(text) != std::string::npos; });
}

std::uint32_t LauncherRun::wait() {
    if (const auto exitCode = process->wait(waitLimit))
        return *exitCode;
    ADD_FAILURE() << "still running: " << commandLine;
    kill();
    return static_cast<std::uint32_t>(-1);
}

void LauncherRun::kill() {
    if (process->wait(std::chrono::milliseconds(0)))
        return;
    endProcess(pid());
    process->wait(waitLimit);
}

} // namespace testing_support
