#pragma once

#include "platform/windows_api.h"

#include <cstddef>
#include <string>

// Converts the launcher's narrow texts to the platform's wide ones and back, without a code page:
// only the characters 0x00 to 0x7F pass unchanged.

// One 16-bit unit per byte, the byte sign-extended: 0x41 becomes 0x0041, 0xE4 becomes 0xFFE4.
std::basic_string<WCHAR> widen(const std::string &text);

// The low 8 bits of each unit.
std::string narrow(const WCHAR *text, std::size_t length);
