#include "environment/launch_environment.h"

#include "install/component_paths.h"
#include "primitives/environment_variables.h"

void setVersionVariables(const std::string &toolVersion, const std::string &frameworkVersion) {
    setEnvironmentVariable(versionVariableName(VersionVariable::Framework), frameworkVersion);
    setEnvironmentVariable(versionVariableName(VersionVariable::Tool), toolVersion);
}

FrameworkPaths frameworkPaths(const std::string &frameworkVersion) {
    return {.library = frameworkLibraryPath(frameworkVersion),
            .plugins = frameworkPluginPath(frameworkVersion),
            .qml = frameworkQmlPath(frameworkVersion)};
}

void setToolVariables(const std::string &toolDirectory, const FrameworkPaths &paths,
                      const std::string &frameworkVersion) {
    setEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS", "tcp:host=localhost,port=8245,family=ipv4");
    prependToVariable("PATH", paths.library);
    prependToVariable("PATH", toolDirectory);
    setEnvironmentVariable("QML2_IMPORT_PATH", paths.qml);
    setEnvironmentVariable("QT_PLUGIN_PATH", paths.plugins);
    setEnvironmentVariable("QTDIR", frameworkDirectory(frameworkVersion));
}

void appendSharedDirectories() {
    appendToVariable("PATH", launcherDirectory());
    appendToVariable("PATH", sharedToolsBinPath());
}
