#include "platform/posix/descriptor.h"
#include "platform/posix/faults.h"
#include "platform/posix/paths.h"
#include "platform/posix/variables.h"

void OutputDebugStringW(LPCWSTR text) {
    if (host::fails("OutputDebugStringW"))
        return;
    if (const auto log = host::variable("ZQHOST_DEBUG_LOG"))
        host::appendLine(*log, host::toUtf8(text));
}
