#include "install/current_pointer.h"

#include "install/install_root.h"
#include "primitives/file_system.h"

#include <iostream>

CurrentPointerState readCurrentPointer(const std::string &path, std::string &versionOrPath) {
    // Whether the entry exists isn't tested first: a missing one counts as a link here, and ends as
    // CurrentMissing below, like a link whose target has gone.
    if (!hasReparseAttribute(path))
        return CurrentNotLink;
    const std::string target = resolveFinalPath(path);
    if (target.empty())
        return CurrentMissing;
    if (!isDirectory(target)) {
        versionOrPath = target;
        return CurrentTargetNotDirectory;
    }
    versionOrPath = linkTargetName(path);
    return CurrentValid;
}

void reportCurrentPointer(CurrentPointerState state, const std::string &versionOrPath,
                          std::size_t listedVersions) {
    switch (state) {
    case CurrentValid:
        std::cout << "Current version: " << versionOrPath << std::endl;
        if (listedVersions == 0) {
            std::cerr << "Warning: the 'current' version is pointing to a package outside of the "
                         "install directory. This is strongly discouraged and not supported!"
                      << std::endl;
        }
        break;
    case CurrentTargetNotDirectory:
        std::cout << "Warning: The target '" << versionOrPath
                  << "' of 'current' does not exist. This is not supported!" << std::endl;
        break;
    case CurrentNotLink:
        std::cout << "Error: 'current' is not valid. Tool will not run without fixing the "
                     "'current' direction. This is not supported!"
                  << std::endl;
        break;
    case CurrentMissing:
        std::cout << "Warning: 'current' does not exist. Tool will not run without specifying a "
                     "version. This is not supported!"
                  << std::endl;
        break;
    }
}

std::string currentToolDirectory() {
    return toolsRoot() + "\\" + currentName;
}

std::string currentFrameworkDirectory() {
    const std::string pointer = frameworksRoot() + "\\" + currentName;
    std::string version;
    if (readCurrentPointer(pointer, version) != CurrentValid)
        return pointer;
    return frameworksRoot() + "\\" + version;
}
