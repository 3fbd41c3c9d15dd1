#pragma once

#include "stand_in/last_error.h"

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

// The result of a call that opens something: a new handle, or for another error than 0
// INVALID_HANDLE_VALUE with the last error set.
inline HANDLE handleOrInvalid(DWORD error, std::shared_ptr<Object> object) {
    return resultOf(error) ? insert(std::move(object)) : INVALID_HANDLE_VALUE;
}

} // namespace stand_in
