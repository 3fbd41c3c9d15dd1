#pragma once

#include <string>

// The paths of tools and frameworks in the installation. A path isn't tested, and no call fails.
// The version `current` stays a link in the paths of tools; in those of frameworks it is resolved
// to the name of a version.
//
// If the variable ZQ_SNAP isn't empty, tools and the libraries, plugins and QML modules of
// frameworks come from the fixed tree of a snap package. All other paths stay in the installation.

std::string toolDirectory(const std::string &toolName, const std::string &version);
std::string toolExecutablePath(const std::string &toolName, const std::string &version);

// Always in the installation.
std::string frameworkDirectory(const std::string &version);

std::string frameworkLibraryPath(const std::string &version);
std::string frameworkPluginPath(const std::string &version);
std::string frameworkQmlPath(const std::string &version);

// The launcher's directory in the current tools version. Ends in `\`, unlike every other path here.
std::string launcherDirectory();
std::string launcherExecutablePath();
std::string launcherExecutablePathOf(const std::string &version);

// The programs that all tools share, in the current tools version.
std::string sharedToolsBinPath();

// The D-Bus daemon's configuration in the current framework.
std::string dbusConfigPath();

// The system's cmd.exe, at its fixed place: a PATH doesn't decide what runs.
std::string commandInterpreterPath();
