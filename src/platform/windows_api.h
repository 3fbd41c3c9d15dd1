#pragma once

// The launcher's one door to the platform: the system's own headers on Windows, elsewhere the
// declarations of a stand-in that has the same names.

#ifdef _WIN32
#include <windows.h>

#include <share.h>
#include <shlwapi.h>
#include <userenv.h>
#include <wtsapi32.h>
#else
#include "stand_in/windows_calls.h"
#endif
