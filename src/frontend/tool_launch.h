#pragma once

#include "frontend/launch_options.h"

#include <string>
#include <vector>

// Finds the tool and its framework, prepares the environment, starts the tool or a shell and waits
// for its end. Settles options.frameworkVersion on the way. Gives the run's exit status: the tool's
// exit code, or 1 after a failure, which was told on the standard streams.
std::int32_t launchTool(LaunchOptions &options);

// The first line of the file .qtinfo in the tool's directory, which names its framework version;
// empty without the file.
std::string readQtInfo(const std::string &directory);

// The text without its carriage returns, line feeds, tabs and blanks.
std::string cleanVersionText(std::string text);

// The pieces between blanks, without empty ones. A tab or a quote is a character like any other.
std::vector<std::string> splitArguments(const std::string &text);
