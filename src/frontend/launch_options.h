#pragma once

#include "install/component_listing.h"

#include <cstdint>
#include <string>

// The values of the options once the command line is parsed; the defaults are those of options
// that are absent.
struct LaunchOptions {
    ListMode listMode = ListMode::None;
    std::string toolName;
    std::string toolVersion = "current";
    std::string frameworkVersion; // empty: the tool's .qtinfo may name it
    std::int32_t userId = -1;
    std::string toolArguments;
    std::string toolPath;
    bool ipcMode = false;
    bool outputRedirect = false;
    bool debugLog = false;
    bool noStartup = false;
    bool shellMode = false;
    std::string shellCommand;
};
