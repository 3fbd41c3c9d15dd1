#pragma once

#include <cstdint>
#include <string>

// One run of the launcher, from its command line to its exit status. Whoever starts it, the console
// or the service, gets the same run. The launch happens on the calling thread. Called once in a
// process. --help, --version and a failed parse end the process from inside.
std::int32_t runLauncher(const std::string &name, const std::string &version, std::int32_t argc,
                         const char *const *argv);
