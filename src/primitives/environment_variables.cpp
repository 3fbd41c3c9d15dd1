#include "primitives/environment_variables.h"

#include "platform/windows_api.h"

#include <cstdlib>

namespace {

constexpr std::size_t longestValue = 32766;

} // namespace

std::string getEnvironmentVariable(const std::string &name) {
    const char *value = std::getenv(name.c_str());
    return value != nullptr ? value : "";
}

void setEnvironmentVariable(const std::string &name, const std::string &value) {
    // The C library may refuse a longer one by ending the process.
    if (value.size() <= longestValue)
        static_cast<void>(::_putenv_s(name.c_str(), value.c_str()));
}

void prependToVariable(const std::string &name, const std::string &value) {
    if (value.empty())
        return;
    const std::string old = getEnvironmentVariable(name);
    setEnvironmentVariable(name, old.empty() ? value : value + ";" + old);
}

void appendToVariable(const std::string &name, const std::string &value) {
    if (value.empty())
        return;
    const std::string old = getEnvironmentVariable(name);
    setEnvironmentVariable(name, old.empty() ? value : old + ";" + value);
}

std::string versionVariableName(VersionVariable variable) {
    return variable == VersionVariable::Tool ? "ZQ_TOOL_VERSION" : "ZQ_FW_VERSION";
}
