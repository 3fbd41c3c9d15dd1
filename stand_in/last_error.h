#pragma once

#include "stand_in/windows_calls.h"

namespace stand_in {

// The last error for an error number of the host.
DWORD lastErrorOf(int hostError);

// FALSE with the last error set; TRUE for the error 0.
BOOL resultOf(DWORD error);

} // namespace stand_in
