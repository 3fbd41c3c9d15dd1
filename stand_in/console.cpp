#include "stand_in/faults.h"
#include "stand_in/last_error.h"
#include "stand_in/streams.h"

HANDLE GetStdHandle(DWORD which) {
    if (stand_in::fails("GetStdHandle", which != STD_OUTPUT_HANDLE))
        return INVALID_HANDLE_VALUE;
    static const HANDLE output =
        stand_in::insert(std::make_shared<stand_in::Stream>(stand_in::Descriptor(STDOUT_FILENO)),
                         /*inheritable=*/true);
    return output;
}

// Nothing here is a console.
BOOL SetConsoleMode(HANDLE, DWORD) {
    return !stand_in::fails("SetConsoleMode") && stand_in::resultOf(ERROR_INVALID_HANDLE);
}
