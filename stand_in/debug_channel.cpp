#include "stand_in/descriptor.h"
#include "stand_in/faults.h"
#include "stand_in/paths.h"
#include "stand_in/variables.h"

void OutputDebugStringW(LPCWSTR text) {
    if (stand_in::fails("OutputDebugStringW"))
        return;
    if (const auto log = stand_in::variable("ZQHOST_DEBUG_LOG"))
        stand_in::appendLine(*log, stand_in::toUtf8(text));
}
