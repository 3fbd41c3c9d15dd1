#include "support/process_list.h"

#include "support/installation_tree.h"

#include <algorithm>
#include <fstream>

namespace testing_support {

std::string processesWith(const std::string &text) {
    std::string found;
    for (const auto &entry : std::filesystem::directory_iterator(hostPath("/proc"))) {
        const std::string id = entry.path().filename().string();
        if (id.find_first_not_of("0123456789") != std::string::npos)
            continue;
        std::ifstream file(entry.path() / "cmdline"); // a process that ends meanwhile has none
        std::string commandLine;
        std::getline(file, commandLine);
        std::replace(commandLine.begin(), commandLine.end(), '\0', ' ');
        if (commandLine.find(text) != std::string::npos)
            found.append(id).append(" ").append(commandLine).append("\n");
    }
    return found;
}

} // namespace testing_support
