#include "frontend/application_frame.h"
#include "frontend/launcher.h"
#include "service/service_host.h"

#include <cstdlib>
#include <iostream>

int main(int argc, char *argv[]) {
    // A line on the standard output then reaches the system in one piece if it fits the stream's
    // buffer. Through the C library's stream, a console would get it in several.
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
