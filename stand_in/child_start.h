#pragma once

#include "stand_in/processes.h"
#include "stand_in/tether.h"

#include <memory>

namespace stand_in {

// Starts the program of the command line and leaves it traced by this thread, held at its first
// instruction, and tied to the tether. Without an environment block it gets the variables of this
// process. Returns 0 or the last error.
DWORD startHeld(LPCWSTR commandLine, LPVOID environment, const STARTUPINFOW &startup,
                bool inheritHandles, bool newConsole, const Tether &tether,
                std::shared_ptr<Process> &process);

} // namespace stand_in
