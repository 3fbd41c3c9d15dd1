#include "install/install_root.h"

#include "primitives/environment_variables.h"
#include "primitives/file_system.h"

namespace {

// <root>\tools\<version>\zqLauncher\zqLauncher.exe
constexpr int executableDepth = 4;

// The part of the path before its fourth `\` from the end, empty if there are fewer.
std::string rootOfExecutable(const std::string &path) {
    std::size_t position = path.size();
    for (int level = 0; level < executableDepth; ++level) {
        position = position == 0 ? std::string::npos : path.rfind('\\', position - 1);
        if (position == std::string::npos)
            return "";
    }
    return path.substr(0, position);
}

} // namespace

void establishInstallRoot(const std::optional<std::string> &option) {
    if (option) {
        setEnvironmentVariable("ZQ_INSTALL_ROOT", *option);
        return;
    }
    if (!getEnvironmentVariable("ZQ_INSTALL_ROOT").empty())
        return;
    const std::string root = rootOfExecutable(ownModulePath());
    if (!root.empty())
        setEnvironmentVariable("ZQ_INSTALL_ROOT", root);
}

std::string installRoot() {
    static std::string fixedDefault;
    if (!fixedDefault.empty())
        return fixedDefault;
    const std::string root = getEnvironmentVariable("ZQ_INSTALL_ROOT");
    if (!root.empty())
        return root;
    fixedDefault = getEnvironmentVariable("LARKSTONE_PATH_PREFIX") + "C:\\ZQClient";
    return fixedDefault;
}

std::string toolsRoot() {
    return installRoot() + "\\tools";
}

std::string addonsRoot() {
    return installRoot() + "\\addons";
}

std::string frameworksRoot() {
    return installRoot() + "\\frameworks";
}
