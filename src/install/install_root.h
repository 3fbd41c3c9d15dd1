#pragma once

#include <optional>
#include <string>

// The root of the installation. It is used unchanged, and nothing here tests whether it exists.

// Sets ZQ_INSTALL_ROOT for this run:
// - to the value of the option if the option was given, even an empty one;
// - otherwise, if it is empty, to the directory four levels above the running executable. It stays
//   unset if the executable is less than four levels deep.
void establishInstallRoot(const std::optional<std::string> &option);

// ZQ_INSTALL_ROOT, or if that is empty LARKSTONE_PATH_PREFIX followed by C:\ZQClient. Never empty.
// Once this last resort was returned, every later call returns it again.
std::string installRoot();

// The component directories below the root, without a trailing separator.
std::string toolsRoot();
std::string addonsRoot();
std::string frameworksRoot();
