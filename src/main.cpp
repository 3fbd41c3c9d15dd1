#include "frontend/application_frame.h"
#include "frontend/launcher.h"
#include "service/service_host.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

namespace {

std::string describe(const std::exception_ptr &exception) {
    try {
        if (exception != nullptr)
            std::rethrow_exception(exception);
    } catch (const std::exception &known) {
        return known.what();
    } catch (...) {
        return "unknown exception";
    }
    return "terminated";
}

// For exceptions that nothing catches, such as exhausted memory: the run fails like any other, with
// a line and status 1. The end of the process ends the tools that are in their jobs.
[[noreturn]] void bail() {
    std::cerr << "ERROR: " << describe(std::current_exception()) << ", bailing." << std::endl;
    std::_Exit(1);
}

} // namespace

int main(int argc, char *argv[]) {
    // A line on the standard output then reaches the system in one piece if it fits the stream's
    // buffer. Through the C library's stream, a console would get it in several.
    std::ios::sync_with_stdio(false);
    std::set_terminate(bail);

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
