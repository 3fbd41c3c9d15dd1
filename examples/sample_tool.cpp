// A tool that shows what the launcher passes to it: its arguments and its variables. If the last
// argument is a number, the tool ends with it as its exit code.

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

namespace {

void printArguments(int argc, char **argv) {
    for (int i = 1; i < argc; ++i)
        std::cout << "argument " << i << ": " << argv[i] << "\n";
}

void printVariables() {
    for (const char *name :
         {"ZQ_INSTALL_ROOT", "ZQ_TOOL_VERSION", "ZQ_FW_VERSION", "DBUS_SESSION_BUS_ADDRESS", "PATH",
          "QML2_IMPORT_PATH", "QT_PLUGIN_PATH", "QTDIR", "ZQ_LOG_ENABLE_STDOUT"}) {
        const char *value = std::getenv(name);
        std::cout << name << "=" << (value != nullptr ? value : "") << "\n";
    }
}

int exitCodeOf(const std::string &text) {
    char *end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 10);
    return !text.empty() && *end == '\0' ? static_cast<int>(number) : 0;
}

} // namespace

int main(int argc, char **argv) {
    printArguments(argc, argv);
    printVariables();
    std::cout.flush();
    // The launcher resumes a tool before it puts it into its job, and takes a tool that is already
    // gone by then for a failed start.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    return argc > 1 ? exitCodeOf(argv[argc - 1]) : 0;
}
