#include "frontend/application_frame.h"
#include "frontend/launcher.h"
#include "service/service_host.h"

#include <cstdlib>
#include <iostream>

int main(int argc, char *argv[]) {
    // Each stream buffers for itself: the C library's common one refuses wide text where narrow
    // text has gone before.
    std::ios::sync_with_stdio(false);

    ServiceContext context;
    context.argc = argc;
    context.argv = argv;
    context.name = prefixedName("Launcher");
    context.version = LAUNCHER_VERSION;
    if (runAsService(context)) {
        // No return: threads of the service may still use this frame, and all statics.
        std::_Exit(static_cast<int>(context.exitCode.load()));
    }
    return runLauncher(context.name, context.version, argc, argv);
}
