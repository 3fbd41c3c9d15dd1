#include "environment/ipc_daemon.h"

#include "install/component_paths.h"
#include "install/current_pointer.h"
#include "process/process_handling.h"

#include <string>

std::int32_t startIpcDaemon(bool ownConsole) {
    const std::string daemon = frameworkLibraryPath(currentName) + "\\dbus-daemon.exe";
    const std::string configuration = "--config-file=" + dbusConfigPath();
    // A console of its own is hidden all the same.
    const auto info = ProcessHandling::startProcess(
        daemon, {configuration}, /*userId=*/0, /*redirectOutput=*/false,
        /*newConsole=*/ownConsole, /*name=*/"", /*hideWindow=*/true, /*useLinkedToken=*/false,
        /*useJob=*/true);
    if (info->result != 0)
        return 1;
    ProcessHandling::waitForProcess(info);
    return info->result;
}
