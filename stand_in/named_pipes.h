#pragma once

#include "stand_in/handles.h"

#include <string>

namespace stand_in {

// Whether the path names a pipe, \\.\pipe\ and a name.
bool isPipePath(const std::string &path);

// Connects as the client of the pipe. Returns 0 or the last error.
DWORD openPipe(const std::string &path, std::shared_ptr<Object> &client);

} // namespace stand_in
