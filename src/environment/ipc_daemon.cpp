#include "environment/ipc_daemon.h"

#include "install/component_paths.h"
#include "process/process_handling.h"

std::int32_t startIpcDaemon(bool ownConsole) {
    const auto info = ProcessHandling::startProcess(
        frameworkLibraryPath("current") + "\\dbus-daemon.exe",
        {"--config-file=" + dbusConfigPath()}, 0, false, ownConsole, "", true, false, true);
    if (info->result != 0)
        return 1;
    ProcessHandling::waitForProcess(info);
    return info->result;
}
