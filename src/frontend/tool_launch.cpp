#include "frontend/tool_launch.h"

#include "environment/environment_variables.h"
#include "environment/launch_environment.h"
#include "environment/startup_tool.h"
#include "install/component_paths.h"
#include "install/file_system.h"
#include "platform/scope_guard.h"
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

// The shell takes the place of the tool; on PATH stands the launcher's directory in its stead.
ToolLocation locateShell(const LaunchOptions &options) {
    return {"C:\\Windows\\system32\\cmd.exe", toolDirectory("zqLauncher", options.toolVersion)};
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
    if (!isExecutableName(toolLocation.executable)) {
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

void settleFrameworkVersion(LaunchOptions &options, const ToolLocation &toolLocation) {
    if (!options.shellMode && options.frameworkVersion.empty())
        options.frameworkVersion = readQtInfo(toolLocation.directory);
    options.frameworkVersion = cleanVersionText(options.frameworkVersion);
    if (options.frameworkVersion.empty())
        options.frameworkVersion = "current";
}

void setShellPrompt(const LaunchOptions &options) {
    setEnvironmentVariable("PROMPT", "(zqshell,ver=" + options.toolVersion +
                                         ",fw=" + options.frameworkVersion + ")$P$G");
}

std::vector<std::string> makeArguments(const LaunchOptions &options) {
    if (!options.shellMode)
        return splitArguments(options.toolArguments);
    if (options.shellCommand.empty())
        return {};
    return {"/K", options.shellCommand};
}

std::int32_t runTool(const LaunchOptions &options, const ToolLocation &toolLocation) {
    const bool useLinkedToken = options.toolName == "zqStageWatch";
    const auto info = ProcessHandling::startProcess(toolLocation.executable, makeArguments(options),
                                                    options.userId, options.outputRedirect, false,
                                                    options.toolName, false, useLinkedToken, true);
    if (info->result != 0)
        return 1;
    ProcessHandling::waitForProcess(info);
    return info->result;
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

std::int32_t launchTool(LaunchOptions &options) {
    const ToolLocation toolLocation =
        options.shellMode ? locateShell(options) : locateTool(options);
    if (!options.shellMode && !testTool(toolLocation))
        return 1;
    settleFrameworkVersion(options, toolLocation);
    setVersionVariables(options.frameworkVersion, options.toolVersion);

    const FrameworkPaths paths = frameworkPaths(options.frameworkVersion);
    if (!testFramework(paths))
        return 1;
    setToolVariables(toolLocation.directory, options.frameworkVersion, paths);
    if (options.shellMode)
        setShellPrompt(options);
    appendSharedDirectories();

    runStartupTool(options.toolName, options.toolVersion, options.noStartup, options.userId);
    return runTool(options, toolLocation);
}
