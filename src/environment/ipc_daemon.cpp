#include "environment/ipc_daemon.h"

#include "install/component_paths.h"
#include "install/current_pointer.h"
#include "process/process_handling.h"

std::int32_t startIpcDaemon(bool ownConsole) {
    // The console of its own is hidden all the same.
    return ProcessHandling::exitStatusOf(ProcessHandling::startProcess(
        frameworkLibraryPath(currentName) + "\\dbus-daemon.exe",
        {"--config-file=" + dbusConfigPath()}, /*userId=*/0, /*redirectOutput=*/false,
        /*newConsole=*/ownConsole, /*name=*/"", /*hideWindow=*/true, /*useLinkedToken=*/false,
        /*useJob=*/true));
}
