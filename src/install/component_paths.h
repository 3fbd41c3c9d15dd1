#pragma once

#include <string>

// The only places where a path of a tool or framework is composed. Nothing is tested, nothing
// fails. The version "current" selects the version in force. With ZQ_SNAP not empty, the paths of
// tools and of a framework's libraries, plugins and QML modules lie in the fixed tree of a snap
// package instead.

std::string toolDirectory(const std::string &toolName, const std::string &version);
std::string toolExecutablePath(const std::string &toolName, const std::string &version);

// Of the installation tree, also with ZQ_SNAP.
std::string frameworkDirectory(const std::string &version);
std::string frameworkLibraryPath(const std::string &version);
std::string frameworkPluginPath(const std::string &version);
std::string frameworkQmlPath(const std::string &version);

// Of the current tools version. The directory ends in `\`, unlike all others.
std::string launcherDirectory();
std::string launcherExecutablePath();
std::string launcherExecutablePathOf(const std::string &version);

// The directory of programs that all tools share, in the current tools version.
std::string sharedToolsBinPath();

// The D-Bus daemon's configuration in the current framework.
std::string dbusConfigPath();
