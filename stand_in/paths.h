#pragma once

#include "stand_in/windows_calls.h"

#include <string>
#include <string_view>

namespace stand_in {

// Convert the texts of the calls to those of the host and back: one unit per byte, the low 8 bits
// of each unit.
inline std::string toNarrow(std::u16string_view text) {
    return {text.begin(), text.end()};
}
inline std::u16string toWide(std::string_view text) {
    return {text.begin(), text.end()};
}

// The full form of a path: drive, `\`, and "." and ".." resolved by the text alone.
std::string fullPath(std::string path);
// The path on the host. Empty, which no host call finds, for a drive that doesn't exist, and for a
// path that is longer than Windows takes.
std::string toHost(const std::string &path);
// The path on drive Z: of an absolute path of the host.
std::string toGuest(std::string hostPath);

} // namespace stand_in
