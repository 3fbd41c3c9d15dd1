#pragma once

#include <cstdint>

// Starts the D-Bus daemon of the current framework and waits for its end. Returns the launcher's
// exit status: the daemon's exit code, or 1 after a failed start. With ownConsole, the daemon gets
// a console of its own. Its output is never forwarded.
std::int32_t startIpcDaemon(bool ownConsole);
