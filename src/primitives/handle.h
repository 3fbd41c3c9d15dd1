#pragma once

#include "platform/windows_api.h"

// Closes the handle, if it is one, and sets it to null.
inline void closeAndClear(HANDLE &handle) {
    if (handle != nullptr)
        ::CloseHandle(handle);
    handle = nullptr;
}
