#pragma once

#include "install/component_listing.h"
#include "install/current_pointer.h"

#include <cstdint>
#include <string>

// The values of the options once the command line is parsed, those of absent ones included.
struct LaunchOptions {
    ListMode listMode = ListMode::None;
    std::string toolName;
    std::string toolVersion = currentName;
    std::string frameworkVersion; // empty: the tool's .qtinfo may name it
    std::int32_t userId = -1;     // -1: not given
    std::string toolArguments;
    std::string toolPath;
    bool ipcMode = false;
    bool outputRedirect = false;
    bool debugLog = false;
    bool noStartup = false;
    bool shellMode = false;
    std::string shellCommand;
};
