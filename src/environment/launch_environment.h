#pragma once

#include <string>

// The variables that every tool and shell gets, apart from ZQ_INSTALL_ROOT. They are set in the
// launcher's own process, which passes them on; nothing is undone after a failed launch.

// Sets ZQ_FW_VERSION and ZQ_TOOL_VERSION to the texts as given: `current` is not resolved.
void setVersionVariables(const std::string &toolVersion, const std::string &frameworkVersion);

// The paths of one framework version, but for its own directory: QTDIR alone needs that, so it is
// asked for last.
struct FrameworkPaths {
    std::string library;
    std::string plugins;
    std::string qml;
};
FrameworkPaths frameworkPaths(const std::string &frameworkVersion);

// Sets the D-Bus address and the Qt variables, and prepends the framework's libraries and then the
// tool's directory to PATH.
void setToolVariables(const std::string &toolDirectory, const FrameworkPaths &paths,
                      const std::string &frameworkVersion);

// Appends the launcher's directory and the shared programs' directory to PATH.
void appendSharedDirectories();
