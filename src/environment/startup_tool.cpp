#include "environment/startup_tool.h"

#include "install/component_paths.h"
#include "process/process_handling.h"

namespace {

constexpr std::int32_t startupUserId = 1000; // any number above 0 selects the user's session

bool isMainTool(const std::string &toolName) {
    return toolName == "zqStage" || toolName == "zqHostPrep";
}

} // namespace

StartupCommand buildStartupCommand(const std::string &toolName, const std::string &version,
                                   bool requestUser, bool suppressUser,
                                   const std::string &toolPath) {
    const bool isSecondStage = toolName == "zqStage2";
    StartupCommand startup;
    startup.executablePath =
        version.empty() ? launcherExecutablePath() : launcherExecutablePathOf(version);
    startup.arguments = {"-t", isSecondStage ? "zqStage" : toolName};
    if (requestUser && !suppressUser)
        startup.arguments.insert(startup.arguments.end(), {"-u", "1000"});
    if (!toolPath.empty())
        startup.arguments.insert(startup.arguments.end(), {"-b", "\"" + toolPath + "\""});
    if (isSecondStage)
        startup.arguments.insert(startup.arguments.end(), {"-a", "\"-n 1\""});
    return startup;
}

void runStartupTool(const std::string &toolName, const std::string &version, bool noStartup,
                    std::int32_t userId) {
    if (noStartup || userId == -1 || !isMainTool(toolName))
        return;
    const StartupCommand startup =
        buildStartupCommand("zqPrelude", version, /*requestUser=*/false, /*suppressUser=*/false,
                            /*toolPath=*/"");
    const std::string commandLine =
        startup.executablePath + ProcessHandling::joinArguments(startup.arguments);
    // With the linked token, if there is one, the start-up tool has the user's full rights.
    const auto info = ProcessHandling::startProcess(
        commandInterpreterPath(), {"/C", commandLine}, startupUserId, /*redirectOutput=*/false,
        /*newConsole=*/false, toolName, /*hideWindow=*/false, /*useLinkedToken=*/true,
        /*useJob=*/true);
    ProcessHandling::closeProcess(info); // ends the watch over it, not the process
}
