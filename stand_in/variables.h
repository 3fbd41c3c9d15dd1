#pragma once

#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace stand_in {

// What CreateEnvironmentBlock's block points to: "name=value" entries.
using EnvironmentBlock = std::vector<std::string>;

inline std::optional<std::string> variable(const char *name) {
    const char *value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

inline EnvironmentBlock allVariables() {
    EnvironmentBlock variables;
    for (char **entry = environ; *entry; ++entry)
        variables.emplace_back(*entry);
    return variables;
}

} // namespace stand_in
