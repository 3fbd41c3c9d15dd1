// What code needs that is compiled with a stack protector and fortified calls. GCC's libssp has the
// same, but takes the guard from the system's cryptography, which loads three more libraries at
// each start.

#include "platform/windows_api.h"

#include <cstdint>
#include <cstdlib>
#include <initializer_list>

namespace {

// Differs in each process. Somebody could guess the time and the identifiers, but hardly the
// address of the stack and the counter.
std::uintptr_t composeGuard() {
    FILETIME time;
    LARGE_INTEGER counter;
    ::GetSystemTimeAsFileTime(&time);
    ::QueryPerformanceCounter(&counter);
    std::uintptr_t guard = reinterpret_cast<std::uintptr_t>(&counter);
    for (const std::uintptr_t part :
         {std::uintptr_t{time.dwLowDateTime}, std::uintptr_t{time.dwHighDateTime},
          static_cast<std::uintptr_t>(counter.QuadPart), std::uintptr_t{::GetCurrentProcessId()},
          std::uintptr_t{::GetCurrentThreadId()}})
        guard = (guard ^ part) * 0x9e3779b97f4a7c15;      // spreads each bit to all above it
    return (guard ^ guard >> 32) & ~std::uintptr_t{0xff}; // no text can write the zero byte
}

// Nothing of the process can be trusted any more, so none of its handlers is asked. The status is
// 0xC0000602.
[[noreturn]] void endAtOnce() {
    ::RaiseFailFastException(nullptr, nullptr, 0);
    std::abort();
}

} // namespace

extern "C" {

// Initialised while no frame of protected code is open.
extern std::uintptr_t __stack_chk_guard;
std::uintptr_t __stack_chk_guard = composeGuard();

// A function finds its guard overwritten.
[[noreturn]] void __stack_chk_fail() {
    endAtOnce();
}

// A fortified call would write past its buffer.
void __chk_fail() {
    endAtOnce();
}
}
