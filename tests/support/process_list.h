#pragma once

#include <string>

namespace testing_support {

// The processes whose command line holds the text, one a line: id and command line. Under Wine they
// are those of the system below it.
std::string processesWith(const std::string &text);

} // namespace testing_support
