#include "stand_in/descriptor.h"
#include "stand_in/faults.h"
#include "stand_in/paths.h"

#include <cstdlib>

namespace {

// Read before there are threads: any of them may write, while another one sets variables.
const char *const g_log = std::getenv("ZQHOST_DEBUG_LOG");

} // namespace

void OutputDebugStringW(LPCWSTR text) {
    if (!stand_in::fails("OutputDebugStringW") && g_log)
        stand_in::appendLine(g_log, stand_in::toNarrow(text));
}
