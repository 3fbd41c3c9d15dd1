#pragma once

#include <string>

// The only ways to the process environment. Child processes inherit what is set here.

// Selects one of the two variables that tell a tool its versions.
enum class VersionVariable { Tool = 0, Framework = 1 };

// A copy of the value; empty for an unset variable as for an empty one.
std::string getEnvironmentVariable(const std::string &name);

// Replaces the value. An empty value removes the variable. A failure is ignored.
void setEnvironmentVariable(const std::string &name, const std::string &value);

// Extend a list whose entries one semicolon separates; an empty value changes nothing. Entries
// that are there already are added again.
void prependToVariable(const std::string &name, const std::string &value);
void appendToVariable(const std::string &name, const std::string &value);

std::string versionVariableName(VersionVariable variable);
