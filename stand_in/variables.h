#pragma once

#include <unistd.h>

#include <cstdlib>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

// The environment, read safely beside _putenv_s on another thread, as Windows lets one do.
namespace stand_in {

inline std::mutex &environmentLock() {
    static std::mutex &lock = *new std::mutex;
    return lock;
}

inline std::optional<std::string> variable(const char *name) {
    const std::lock_guard guard(environmentLock());
    const char *value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

// All of it, as "name=value".
inline std::vector<std::string> allVariables() {
    const std::lock_guard guard(environmentLock());
    std::vector<std::string> variables;
    for (char **entry = environ; entry && *entry; ++entry)
        variables.emplace_back(*entry);
    return variables;
}

} // namespace stand_in
