#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The start-up tool zqPrelude, which runs ahead of the main tools zqStage and zqHostPrep, through a
// second launcher.

struct StartupCommand {
    std::vector<std::string> arguments; // one element each, quoted where one may hold a space
    std::string executablePath;         // the launcher to run
};

// The command line of a second launcher that starts the tool. An empty version selects the current
// launcher. An empty toolPath is left out. suppressUser overrides requestUser.
StartupCommand buildStartupCommand(const std::string &toolName, const std::string &version,
                                   bool requestUser, bool suppressUser,
                                   const std::string &toolPath);

// Starts the start-up tool in the session of the user at the console, if the tool being launched is
// one of the main tools, userId isn't -1 and noStartup isn't set. Waits for a user, but not for the
// start-up tool. A failure prints the lines of startProcess and changes nothing else.
void runStartupTool(const std::string &toolName, const std::string &version, bool noStartup,
                    std::int32_t userId);
