#pragma once

#include <optional>
#include <string>

// Where the installation lies. A root is used exactly as it was given and nobody tests here
// whether it exists.

// Settles the root for this run in ZQ_INSTALL_ROOT: the option's value if the option was given,
// also an empty one; else what the variable holds; else the directory four levels above the
// running executable. Where the executable lies less deep, the variable stays unset.
void establishInstallRoot(const std::optional<std::string> &option);

// ZQ_INSTALL_ROOT, else LARKSTONE_PATH_PREFIX followed by C:\ZQClient. Never empty. That last
// resort is kept: once it was given, the variable is not asked again.
std::string installRoot();

// The component directories below the root, without a separator at the end.
std::string toolsRoot();
std::string addonsRoot();
std::string frameworksRoot();
