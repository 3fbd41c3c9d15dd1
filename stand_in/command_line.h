#pragma once

#include "stand_in/windows_calls.h"

#include <string>
#include <string_view>
#include <vector>

namespace stand_in {

// The command line as a C runtime on Windows splits it: the program as written, then its arguments.
std::vector<std::string> splitCommandLine(std::string_view commandLine);

// Sets the path on the host of the program that the command line starts: a quoted name, or else
// what stands before the first blank at which a file is found. A name without a dot is tried as
// it is and with ".exe". A name with a blank that was found so gets quotes in the command line.
// Gives 0 or the last error.
DWORD findProgram(std::string &commandLine, std::string &program);

} // namespace stand_in
