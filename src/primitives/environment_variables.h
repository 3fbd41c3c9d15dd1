#pragma once

#include <string>

// All access to the process environment. Child processes inherit what is set here.

// The two variables that pass a tool its versions.
enum class VersionVariable { Tool = 0, Framework = 1 };

// A copy of the value. Empty if the variable is unset.
std::string getEnvironmentVariable(const std::string &name);

// Replaces the value. An empty value removes the variable. A failure is ignored; a value of more
// than 32,766 bytes, which Windows doesn't take, is one.
void setEnvironmentVariable(const std::string &name, const std::string &value);

// Extend a list whose entries are separated by semicolons. An empty value changes nothing. An entry
// that the list already holds is added again.
void prependToVariable(const std::string &name, const std::string &value);
void appendToVariable(const std::string &name, const std::string &value);

std::string versionVariableName(VersionVariable variable);
