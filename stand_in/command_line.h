#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace stand_in {

// The command line as a C runtime on Windows splits it: the program as written, then its arguments.
std::vector<std::string> splitCommandLine(std::string_view commandLine);

// The path on the host of the program that the command line starts: a quoted name, or else what is
// before the first space at which a file is found. A name without a dot is tried as it is and with
// ".exe". A name with a space that was found so gets quotes in the command line. Empty if there is
// no such file.
std::string findProgram(std::string &commandLine);

} // namespace stand_in
