#pragma once

#include "frontend/launch_options.h"

#include <cstdint>
#include <string>
#include <vector>

// Finds the tool and its framework, prepares the environment, starts the tool or a shell and waits
// for its end. Sets options.frameworkVersion to the version that was chosen. Returns the exit
// status of the run: the exit code of the tool, or 1 after a failure reported on the standard
// streams.
std::int32_t launchTool(LaunchOptions &options);

// The first line of the file .qtinfo in the tool's directory, which names the tool's framework
// version. Ends at a zero byte too. Empty if there is no such file.
std::string readQtInfo(const std::string &directory);

// The text without its carriage returns, line feeds, tabs and spaces.
std::string cleanVersionText(std::string text);

// The pieces between spaces, without empty ones. A tab or a quote is an ordinary character.
std::vector<std::string> splitArguments(const std::string &text);
