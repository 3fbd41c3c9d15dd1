#pragma once

#include "support/files.h"

#include <map>
#include <sstream>

namespace testing_support {

// The calls that a launcher has made so far, in their order. Empty on Windows, as only the stand-in
// logs them.
class CallLog {
public:
    CallLog(const TemporaryFolder &folder, const std::string &name = "calls")
        : path(folder / name) {}

    std::map<std::string, std::string> variables() const {
        return {{"ZQHOST_CALL_LOG", path.string()}};
    }
    std::string text() const { return "\n" + readFile(path); }
    // How often a call was made before another one, or so far.
    std::ptrdiff_t count(const std::string &call, const std::string &before = {}) const {
        std::istringstream lines(readFile(path));
        std::ptrdiff_t found = 0;
        for (std::string line; std::getline(lines, line) && line != before;)
            found += line == call ? 1 : 0;
        return found;
    }

private:
    std::filesystem::path path;
};

} // namespace testing_support
