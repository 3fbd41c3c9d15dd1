#include "install/component_paths.h"

#include "install/current_pointer.h"
#include "install/install_root.h"
#include "primitives/environment_variables.h"

namespace {

const std::string snapRoot = "/snap/zqstage";
const std::string snapLibraryPath = snapRoot + "/current/usr/lib/x86_64-linux-gnu";

bool isSnapLayout() {
    return !getEnvironmentVariable("ZQ_SNAP").empty();
}

// The parent of the plugins and the QML modules.
std::string qtDirectory(const std::string &version) {
    return isSnapLayout() ? snapLibraryPath + "/qt5" : frameworkDirectory(version);
}

} // namespace

std::string toolDirectory(const std::string &toolName, const std::string &version) {
    if (isSnapLayout())
        return snapRoot + "/current/bin";
    return toolsRoot() + "\\" + version + "\\" + toolName;
}

std::string toolExecutablePath(const std::string &toolName, const std::string &version) {
    return toolDirectory(toolName, version) + "\\" + toolName + ".exe";
}

std::string frameworkDirectory(const std::string &version) {
    if (version == currentName)
        return currentFrameworkDirectory();
    return frameworksRoot() + "\\" + version;
}

std::string frameworkLibraryPath(const std::string &version) {
    return isSnapLayout() ? snapLibraryPath : frameworkDirectory(version) + "\\bin";
}

std::string frameworkPluginPath(const std::string &version) {
    return qtDirectory(version) + "\\plugins";
}

std::string frameworkQmlPath(const std::string &version) {
    return qtDirectory(version) + "\\qml";
}

std::string launcherDirectory() {
    return currentToolDirectory() + "\\zqLauncher\\";
}

std::string launcherExecutablePath() {
    return launcherDirectory() + "zqLauncher.exe";
}

std::string launcherExecutablePathOf(const std::string &version) {
    return toolsRoot() + "\\" + version + "\\zqLauncher\\zqLauncher.exe";
}

std::string sharedToolsBinPath() {
    return currentToolDirectory() + "\\bin";
}

std::string dbusConfigPath() {
    return currentFrameworkDirectory() + "\\share\\dbus-1\\system.conf";
}

std::string commandInterpreterPath() {
    return "C:\\Windows\\system32\\cmd.exe";
}
