#include "frontend/launcher.h"

#include "environment/ipc_daemon.h"
#include "frontend/application_frame.h"
#include "frontend/launch_options.h"
#include "frontend/tool_launch.h"
#include "install/component_listing.h"
#include "install/install_root.h"
#include "primitives/environment_variables.h"

#include <tclap/CmdLine.h>
#include <tclap/SwitchArg.h>
#include <tclap/ValueArg.h>

#include <iostream>
#include <optional>
#include <utility>

namespace {

using TextOption = TCLAP::ValueArg<std::string>;
using NumberOption = TCLAP::ValueArg<int>;
using Switch = TCLAP::SwitchArg;

// The options, added to the parser in this order. For each: flag, name and description; for a value
// also whether it is required, its default and its name in the usage.
// clang-format off
struct CommandLineOptions {
    explicit CommandLineOptions(TCLAP::CmdLine &parser) : cmdLine(parser) {}

    TCLAP::CmdLine &cmdLine;
    TextOption list{"l", "list", "List installed versions of components (tool, addon, framework, all)", false, "", "string", cmdLine};
    TextOption tool{"t", "tool", "Name of the tool (zqStage, zqFeedSink, etc.)", false, "", "toolname", cmdLine};
    TextOption packageVersion{"p", "packageVersion", "Version of the tool to be used (default: current)", false, "current", "version", cmdLine};
    TextOption framework{"f", "framework", "Version of the framework to be used (default: current)", false, "", "version", cmdLine};
    NumberOption user{"u", "user", "Start application in a user context", false, -1, "uid", cmdLine};
    TextOption args{"a", "args", "Arguments to pass to the application", false, "", "args", cmdLine};
    TextOption toolpath{"b", "toolpath", "Provides a path for the tool", false, "", "string", cmdLine};
    TextOption installRoot{"r", "installRoot", "Sets the root directory of the installation", false, "", "path", cmdLine};
    Switch debuglog{"d", "debuglog", "Enable debug log forwarding", cmdLine, false};
    Switch ipc{"i", "ipc", "Start DBus IPC daemon (Windows only)", cmdLine, false};
    Switch outputredirect{"o", "outputredirect", "Output stdout of tool (Windows only)", cmdLine, false};
    TextOption cmdArg{"k", "cmd_arg", "exe to start in the shell.", false, "", "string", cmdLine};
    Switch nostartup{"n", "nostartup", "Skip execution of zqPrelude tool (Windows only)", cmdLine, false};
    Switch shell{"s", "shell", "Start a shell with the default environment", cmdLine, false};
};
// clang-format on

ListMode listModeOf(const std::string &word) {
    if (word == "tools")
        return ListMode::Tools;
    if (word == "addons")
        return ListMode::Addons;
    if (word == "frameworks")
        return ListMode::Frameworks;
    return word == "all" ? ListMode::All : ListMode::None;
}

LaunchOptions copyValues(const CommandLineOptions &options) {
    return {.listMode = listModeOf(options.list.getValue()),
            .toolName = options.tool.getValue(),
            .toolVersion = options.packageVersion.getValue(),
            .frameworkVersion = options.framework.getValue(),
            .userId = options.user.getValue(),
            .toolArguments = options.args.getValue(),
            .toolPath = options.toolpath.getValue(),
            .ipcMode = options.ipc.getValue(),
            .outputRedirect = options.outputredirect.getValue(),
            .debugLog = options.debuglog.getValue(),
            .noStartup = options.nostartup.getValue(),
            .shellMode = options.shell.getValue(),
            .shellCommand = options.cmdArg.getValue()};
}

// Hands the run to its mode; the first that applies decides.
std::int32_t runMode(LaunchOptions options) {
    if (options.listMode != ListMode::None) {
        listInstalled(options.listMode);
        return 0;
    }
    if (options.debugLog) {
        options.outputRedirect = true;
        setEnvironmentVariable("ZQ_LOG_ENABLE_STDOUT", "1");
    }
    if (options.ipcMode)
        return startIpcDaemon(/*ownConsole=*/options.outputRedirect);
    if (!options.shellMode && options.toolName.empty()) {
        std::cout << "ERROR: No toolname specified (and shell mode is disabled), bailing."
                  << std::endl;
        return 1;
    }
    return launchTool(options);
}

} // namespace

std::int32_t runLauncher(const std::string &name, const std::string &version, std::int32_t argc,
                         const char *const *argv) {
    ApplicationFrame frame(name, version, argc, argv);
    LaunchOptions options;
    try {
        // The parser keeps pointers to these, and isn't used after this block.
        CommandLineOptions given(frame.cmdLine);
        if (frame.parseCommandLine() == ParseVersionPrinted)
            return 0;
        establishInstallRoot(given.installRoot.isSet() ? std::optional(given.installRoot.getValue())
                                                       : std::nullopt);
        options = copyValues(given);
    } catch (const TCLAP::ArgException &exception) {
        // The options can't be set up. A wrong command line never gets here: the parser reports it
        // and ends the process.
        std::cerr << "error: " << exception.error() << " for arg " << exception.argId()
                  << std::endl;
        return 1;
    }
    return runMode(std::move(options));
}
