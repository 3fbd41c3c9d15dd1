#pragma once

#include "platform/windows_api.h"

inline void closeAndClear(HANDLE &handle) {
    if (handle != nullptr)
        ::CloseHandle(handle);
    handle = nullptr;
}
