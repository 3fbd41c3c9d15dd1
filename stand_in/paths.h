#pragma once

#include "stand_in/windows_calls.h"

#include <string>
#include <string_view>

namespace stand_in {

// Between UTF-16 and UTF-8, without failing: unpaired surrogates and stray bytes pass through.
std::string toUtf8(std::u16string_view text);
std::u16string toWide(std::string_view text);

// The full form of a path: drive, `\`, and "." and ".." resolved by the text alone. Empty for an
// empty path.
std::string fullPath(LPCWSTR path);
// Where the path lies on the host. Empty, which no host call finds, for a drive that isn't there.
std::string toHost(LPCWSTR path);
// The path, with its drive, of an absolute path of the host.
std::string toGuest(const std::string &hostPath);

// The last error for an error number of the host, and for one that came with a host path.
DWORD lastErrorOf(int hostError);
DWORD lastErrorOf(int hostError, const std::string &hostPath);

} // namespace stand_in
