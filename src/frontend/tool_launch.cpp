#include "frontend/tool_launch.h"

#include "environment/launch_environment.h"
#include "environment/startup_tool.h"
#include "install/component_paths.h"
#include "install/current_pointer.h"
#include "platform/windows_api.h"
#include "primitives/environment_variables.h"
#include "primitives/file_system.h"
#include "primitives/scope_guard.h"
#include "process/process_handling.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <vector>

namespace {

struct ToolLocation {
    std::string executable;
    std::string directory;
};

ToolLocation locateTool(const LaunchOptions &options) {
    if (options.toolPath.empty()) {
        return {toolExecutablePath(options.toolName, options.toolVersion),
                toolDirectory(options.toolName, options.toolVersion)};
    }
    return {options.toolPath + "\\" + options.toolName + ".exe", options.toolPath};
}

// In place of a tool's directory, the launcher's own is in the PATH of a shell.
ToolLocation locateShell(const LaunchOptions &options) {
    return {commandInterpreterPath(), toolDirectory("zqLauncher", options.toolVersion)};
}

bool testTool(const ToolLocation &toolLocation) {
    if (!isDirectory(toolLocation.directory)) {
        std::cout << "ERROR: directory " << toolLocation.directory << " does not exist, bailing."
                  << std::endl;
        return false;
    }
    if (!fileExists(toolLocation.executable)) {
        std::cerr << "ERROR: File " << toolLocation.executable << " does not exist, bailing."
                  << std::endl;
        return false;
    }
    if (!isExecutableName(toolLocation.executable)) { // it is, as long as ".exe" is appended
        std::cerr << "ERROR: " << toolLocation.executable << " is not executable, bailing."
                  << std::endl;
        return false;
    }
    return true;
}

bool testFramework(const FrameworkPaths &paths) {
    if (!isDirectory(paths.library)) {
        std::cerr << "ERROR: Framework library path " << paths.library
                  << " does not exist, bailing." << std::endl;
        return false;
    }
    if (!isDirectory(paths.plugins)) {
        std::cerr << "ERROR: Framework plugin path " << paths.plugins << " does not exist, bailing."
                  << std::endl;
        return false;
    }
    return true;
}

void setPrompt(const LaunchOptions &options) {
    setEnvironmentVariable("PROMPT", "(zqshell,ver=" + options.toolVersion +
                                         ",fw=" + options.frameworkVersion + ")$P$G");
}

std::vector<std::string> shellArguments(const std::string &shellCommand) {
    if (shellCommand.empty())
        return {};
    return {"/K", shellCommand};
}

} // namespace

std::string readQtInfo(const std::string &directory) {
    std::FILE *file = ::_fsopen((directory + "\\.qtinfo").c_str(), "r", _SH_DENYNO);
    if (file == nullptr)
        return "";
    const ScopeGuard closeFile([file] { std::fclose(file); });
    std::string line;
    char chunk[4096];
    while (const std::size_t size = std::fread(chunk, 1, sizeof(chunk), file)) {
        // A zero byte ends the text too, as it would end every path and variable made of it.
        const char *end = std::find_if(chunk, chunk + size, [](char character) {
            return character == '\n' || character == '\0';
        });
        line.append(chunk, static_cast<std::size_t>(end - chunk));
        if (end != chunk + size)
            break;
    }
    return line;
}

std::string cleanVersionText(std::string text) {
    std::erase_if(text, [](char character) {
        return character == '\r' || character == '\n' || character == '\t' || character == ' ';
    });
    return text;
}

std::vector<std::string> splitArguments(const std::string &text) {
    std::vector<std::string> arguments;
    std::istringstream stream(text);
    for (std::string piece; std::getline(stream, piece, ' ');)
        if (!piece.empty())
            arguments.push_back(piece);
    return arguments;
}

// The steps of a launch in their order. A shell needs no tool, so it tests none and reads no
// .qtinfo; the tool's name counts for it all the same.
std::int32_t launchTool(LaunchOptions &options) {
    ToolLocation toolLocation;
    if (!options.shellMode) {
        toolLocation = locateTool(options);
        if (!testTool(toolLocation))
            return 1;
        if (options.frameworkVersion.empty())
            options.frameworkVersion = readQtInfo(toolLocation.directory);
    }
    options.frameworkVersion = cleanVersionText(options.frameworkVersion);
    if (options.frameworkVersion.empty())
        options.frameworkVersion = currentName;
    setVersionVariables(options.toolVersion, options.frameworkVersion);
    if (options.shellMode)
        toolLocation = locateShell(options);
    const FrameworkPaths paths = frameworkPaths(options.frameworkVersion);
    if (!testFramework(paths))
        return 1;
    setToolVariables(toolLocation.directory, paths, options.frameworkVersion);
    if (options.shellMode)
        setPrompt(options);
    const std::vector<std::string> arguments = options.shellMode
                                                   ? shellArguments(options.shellCommand)
                                                   : splitArguments(options.toolArguments);
    appendSharedDirectories();
    runStartupTool(options.toolName, options.toolVersion, options.noStartup, options.userId);
    const auto info = ProcessHandling::startProcess(
        toolLocation.executable, arguments, options.userId, options.outputRedirect,
        /*newConsole=*/false, options.toolName, /*hideWindow=*/false,
        /*useLinkedToken=*/options.toolName == "zqStageWatch", /*useJob=*/true);
    if (info->result != 0)
        return 1;
    ProcessHandling::waitForProcess(info);
    return info->result;
}
