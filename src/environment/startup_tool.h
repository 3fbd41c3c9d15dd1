#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The run of the family's start-up tool ahead of its main tools, through a second launcher.

struct StartupCommand {
    std::vector<std::string> arguments; // one element each, with any quotes that they need
    std::string executablePath;         // the launcher to run
};

// The command of a second launcher that starts the tool. An empty version stands for the current
// launcher; an empty toolPath is left out; requestUser counts unless suppressUser is set.
StartupCommand buildStartupCommand(const std::string &toolName, const std::string &version,
                                   bool requestUser, bool suppressUser,
                                   const std::string &toolPath);

// Starts the start-up tool in the user's session if the tool being launched is one of the main
// tools, --user was given and --nostartup was not. Waits until there is a user at the console, but
// neither for the tool nor for its end: nothing that goes wrong here changes the launch.
void runStartupTool(const std::string &toolName, const std::string &version, bool noStartup,
                    std::int32_t userId);
