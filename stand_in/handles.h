#pragma once

#include "stand_in/windows_calls.h"

#include <memory>
#include <utility>

namespace stand_in {

// What a handle refers to. The table and every call in progress share it.
class Object {
public:
    virtual ~Object() = default;
    // The result of WaitForSingleObject; this one is for objects that can't be waited for.
    virtual DWORD wait(DWORD) { return WAIT_FAILED; }
};

HANDLE insert(std::shared_ptr<Object> object, bool inheritable = false);
bool erase(HANDLE handle);
bool isInheritable(HANDLE handle);
std::shared_ptr<Object> lookUp(HANDLE handle);

// Null, with the last error set, for a handle that isn't open or is of another kind.
template <class T> std::shared_ptr<T> find(HANDLE handle) {
    auto object = std::dynamic_pointer_cast<T>(lookUp(handle));
    if (!object)
        SetLastError(ERROR_INVALID_HANDLE);
    return object;
}

// FALSE with the last error set; TRUE for the error 0.
inline BOOL resultOf(DWORD error) {
    if (error != ERROR_SUCCESS)
        SetLastError(error);
    return error == ERROR_SUCCESS;
}

// The same for calls that open something: a new handle, or INVALID_HANDLE_VALUE.
inline HANDLE handleOrInvalid(DWORD error, std::shared_ptr<Object> object) {
    return resultOf(error) ? insert(std::move(object)) : INVALID_HANDLE_VALUE;
}

} // namespace stand_in
