#pragma once

#include "stand_in/windows_calls.h"

#include <memory>

namespace stand_in {

// What a handle stands for. The table and every call in progress share it.
class Object {
public:
    virtual ~Object() = default;
    // What WaitForSingleObject gives. An object that can't be waited for gives WAIT_FAILED.
    virtual DWORD wait(DWORD milliseconds);
};

// An object with a stream of bytes. Both calls give 0 or the last error.
class Stream : public Object {
public:
    virtual DWORD read(void *buffer, DWORD size, DWORD &count);
    virtual DWORD write(const void *bytes, DWORD size, DWORD &count);
    // What a child gets for it as a standard handle; -1 if it can't be one.
    virtual int descriptor() const { return -1; }
};

HANDLE insert(std::shared_ptr<Object> object, bool inheritable = false);
bool erase(HANDLE handle);
bool isInheritable(HANDLE handle);
std::shared_ptr<Object> lookUp(HANDLE handle);

// Null, with the last error set, for a handle that isn't open or stands for something else.
template <class T> std::shared_ptr<T> find(HANDLE handle) {
    auto object = std::dynamic_pointer_cast<T>(lookUp(handle));
    if (!object)
        SetLastError(ERROR_INVALID_HANDLE);
    return object;
}

// Sets the last error, unless it is 0. Gives what a call of that outcome returns.
inline BOOL outcome(DWORD error) {
    if (error != ERROR_SUCCESS)
        SetLastError(error);
    return error == ERROR_SUCCESS;
}

} // namespace stand_in
