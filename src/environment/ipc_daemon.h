#pragma once

#include <cstdint>

// Starts the D-Bus daemon of the current framework and waits for its end. Gives the launcher's exit
// status: the daemon's exit code, or 1 after a failed start. ownConsole gives the daemon a console
// of its own; its output is never forwarded.
std::int32_t startIpcDaemon(bool ownConsole);
