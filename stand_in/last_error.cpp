#include "stand_in/last_error.h"

#include <cerrno>

namespace {

thread_local DWORD t_lastError = ERROR_SUCCESS;

} // namespace

DWORD GetLastError() {
    return t_lastError;
}

void SetLastError(DWORD error) {
    t_lastError = error;
}

DWORD stand_in::lastErrorOf(int hostError) {
    return hostError == ENOENT    ? ERROR_FILE_NOT_FOUND
           : hostError == EACCES  ? ERROR_ACCESS_DENIED
           : hostError == ENOEXEC ? ERROR_BAD_EXE_FORMAT
                                  : ERROR_GEN_FAILURE;
}

BOOL stand_in::resultOf(DWORD error) {
    if (error != ERROR_SUCCESS)
        SetLastError(error);
    return error == ERROR_SUCCESS;
}
