#pragma once

#include "install/component_listing.h"

#include <cstdint>
#include <string>

// The values of the options once the command line is parsed.
struct LaunchOptions {
    ListMode listMode;
    std::string toolName;
    std::string toolVersion;
    std::string frameworkVersion; // empty: the tool's .qtinfo may name it
    std::int32_t userId;          // -1: not given
    std::string toolArguments;
    std::string toolPath;
    bool ipcMode;
    bool outputRedirect;
    bool debugLog;
    bool noStartup;
    bool shellMode;
    std::string shellCommand;
};
