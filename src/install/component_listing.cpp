#include "install/component_listing.h"

#include "install/current_pointer.h"
#include "install/install_root.h"
#include "primitives/file_system.h"

#include <iostream>
#include <string>
#include <vector>

namespace {

// Reads and reports the pointer in the directory of the versions.
CurrentPointerState reportPointerOf(const std::string &directory, std::size_t listedVersions) {
    std::string version;
    const CurrentPointerState state = readCurrentPointer(directory + "\\" + currentName, version);
    reportCurrentPointer(state, version, listedVersions);
    return state;
}

void listVersions(const std::string &root) {
    const std::vector<std::string> versions = listDirectories(root);
    reportPointerOf(root, versions.size());
    for (const std::string &version : versions)
        std::cout << "* " << version << std::endl;
}

void listPackage(const std::string &addon, const std::string &package) {
    std::cout << "    " << package << ": "; // the report goes on in this line
    const std::string directory = addonsRoot() + "\\" + addon + "\\" + package;
    const std::vector<std::string> versions = listDirectories(directory);
    if (reportPointerOf(directory, versions.size()) == CurrentValid)
        std::cout << std::endl; // an empty line, after a valid pointer alone
    for (const std::string &version : versions)
        std::cout << "        * " << version << std::endl;
}

} // namespace

void listTools() {
    listVersions(toolsRoot());
}

void listFrameworks() {
    listVersions(frameworksRoot());
}

void listAddons() {
    const std::vector<std::string> addons = listDirectories(addonsRoot());
    if (addons.empty()) {
        std::cout << "No addons installed" << std::endl;
        return;
    }
    for (const std::string &addon : addons) {
        std::cout << addon << ":" << std::endl;
        for (const std::string &package : listDirectories(addonsRoot() + "\\" + addon))
            listPackage(addon, package);
    }
}

void listInstalled(ListMode mode) {
    if (mode == ListMode::All || mode == ListMode::Tools)
        listTools();
    if (mode == ListMode::All || mode == ListMode::Addons)
        listAddons();
    if (mode == ListMode::All || mode == ListMode::Frameworks)
        listFrameworks();
}
