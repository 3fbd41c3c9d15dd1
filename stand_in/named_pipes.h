#pragma once

#include "stand_in/handles.h"

#include <memory>

namespace stand_in {

// Whether the path names a pipe, \\.\pipe\ and a name.
bool isPipePath(LPCWSTR path);

// Connects as the client of the pipe. Gives 0 or the last error.
DWORD openPipe(LPCWSTR path, std::shared_ptr<Object> &client);

} // namespace stand_in
