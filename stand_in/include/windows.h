#pragma once

// For code that is written for Windows alone, such as a tool's.
#include "stand_in/windows_calls.h"
