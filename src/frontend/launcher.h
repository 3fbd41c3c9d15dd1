#pragma once

#include <cstdint>
#include <string>

// One run of the launcher, from its command line to its exit status, the same on a console and as a
// service. Everything is started from the calling thread, whose message queue the run reads. To be
// called once per process. For --help, --version and a failed parse the parser itself ends the
// process.
std::int32_t runLauncher(const std::string &name, const std::string &version, std::int32_t argc,
                         const char *const *argv);
