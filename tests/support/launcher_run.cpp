#include "support/launcher_run.h"

#include "platform/windows_api.h"

#include <cstdlib>
#include <iostream>

namespace testing_support {
namespace fs = std::filesystem;
namespace {

// Gives this process the values, and keeps those that it had.
void exchangeVariables(std::map<std::string, std::string> &variables) {
    for (auto &[name, value] : variables) {
        const char *own = std::getenv(name.c_str());
        const std::string before = own != nullptr ? own : "";
        ::_putenv_s(name.c_str(), value.c_str());
        value = before;
    }
}

} // namespace

LauncherRun::LauncherRun(const TemporaryFolder &folder, const LauncherStart &start) {
    static int count = 0;
    streams = (folder / ("run" + std::to_string(++count))).string();
    writeFile(streams + ".in", start.input);
    commandLine = start.program.string();
    for (const std::string &argument : start.arguments)
        commandLine += " [" + argument + "]";

    std::map<std::string, std::string> variables = start.environment;
    for (const char *name : {"ZQ_INSTALL_ROOT", "ZQ_SNAP", "ZQ_LOG_ENABLE_STDOUT", "ZQ_FW_VERSION",
                             "ZQ_TOOL_VERSION", "LARKSTONE_PATH_PREFIX"})
        variables.emplace(name, "");
    if (platform() == Platform::StandIn) {
        const fs::path interpreter = folder / "drive_c" / "Windows" / "system32" / "cmd.exe";
        if (!fs::exists(interpreter))
            placeProgram(ownFolder() / "cmd.exe", interpreter);
        variables.emplace("ZQHOST_DRIVE_C", (folder / "drive_c").string());
    }

    const fs::path directory = fs::current_path();
    if (!start.workingDirectory.empty())
        fs::current_path(start.workingDirectory);
    exchangeVariables(variables);
    process = std::make_unique<HostProcess>(start.program, start.arguments, streams);
    exchangeVariables(variables);
    fs::current_path(directory);
}

LauncherRun::~LauncherRun() {
    kill();
    // A sanitizer's exit code can be lost: a service ends abruptly.
    const std::string printed = rawOutput() + errors();
    for (const char *mark : {"Sanitizer", "runtime error: "})
        EXPECT_EQ(printed.find(mark), printed.npos) << "a sanitizer has reported";
    if (::testing::Test::HasFailure())
        std::cout << commandLine << "\n--- output (" << rawOutput().size() << " bytes)\n"
                  << rawOutput().substr(0, 2000) << "\n--- errors\n"
                  << errors().substr(0, 2000);
}

std::string LauncherRun::plainText(const std::string &stream) const {
    const std::string text = readFile(streams + stream);
    // On Windows the C library's text mode puts a carriage return before each line feed.
    return platform() == Platform::StandIn ? text : replaced(text, "\r\n", "\n");
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
    process->kill();
    process->wait(waitLimit);
}

LaunchTest::LaunchTest() {
    addTool("7.1", "zqStage");
    addTool("7.2", "zqStage");
    for (const char *part : {"bin", "plugins", "qml"})
        fs::create_directories(framework / part);
    makeLink(tools / "current", "7.2");
    makeLink(tree / "frameworks" / "current", "5.15.2");
}

fs::path LaunchTest::addTool(const std::string &version, const std::string &tool,
                             const fs::path &program) const {
    const fs::path path = tools / version / tool / (tool + ".exe");
    placeProgram(program, path);
    return path;
}

LauncherStart LaunchTest::start(const std::vector<std::string> &options,
                                const std::map<std::string, std::string> &environment) const {
    LauncherStart result{.arguments = {"-r", root}, .environment = environment};
    result.arguments.insert(result.arguments.end(), options.begin(), options.end());
    return result;
}

Report LaunchTest::readReport(const std::string &file) const {
    std::string text;
    EXPECT_TRUE(waitUntil([&] { return !(text = readFile(folder / file)).empty(); })) << file;
    Report report;
    std::istringstream entries(text);
    for (std::string entry; std::getline(entries, entry, '\0');)
        if (const std::size_t end = entry.find('='); end != entry.npos)
            report[entry.substr(0, end)] = entry.substr(end + 1);
    return report;
}

bool LaunchTest::isAnyRunning() const {
    for (const auto &entry : fs::recursive_directory_iterator(tree))
        if (entry.path().extension() == ".exe" && isRunning(entry.path()))
            return true;
    return false;
}

} // namespace testing_support
