#pragma once

#include <string>

// What a tool or shell finds in its environment beside ZQ_INSTALL_ROOT. A launch that fails in
// between leaves what was set so far; it ends with the launcher's process.

// ZQ_FW_VERSION, then ZQ_TOOL_VERSION, as they stand.
void setVersionVariables(const std::string &frameworkVersion, const std::string &toolVersion);

// The paths of one framework version.
struct FrameworkPaths {
    std::string library;
    std::string plugins;
    std::string qml;
};
FrameworkPaths frameworkPaths(const std::string &frameworkVersion);

// The D-Bus address, the directories in front of PATH, and the Qt variables.
void setToolVariables(const std::string &toolDirectory, const std::string &frameworkVersion,
                      const FrameworkPaths &paths);

// The directories behind PATH.
void appendSharedDirectories();
