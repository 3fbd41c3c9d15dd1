#include "process/output_forwarding.h"

#include "platform/windows_api.h"
#include "process/process_info.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>

namespace ProcessHandling {

namespace {

constexpr std::chrono::milliseconds passPause(100);

using Chunk = std::array<char, 4096>;

// The launcher keeps the pipe's other end open too, so a read never reports the end of the data;
// without data it would block for good.
DWORD readChunk(HANDLE pipe, Chunk &chunk) {
    DWORD available = 0;
    if (::PeekNamedPipe(pipe, nullptr, 0, nullptr, &available, nullptr) == 0 || available == 0)
        return 0;
    DWORD read = 0;
    const BOOL done =
        ::ReadFile(pipe, chunk.data(), static_cast<DWORD>(chunk.size()), &read, nullptr);
    return done != 0 ? read : 0;
}

// Past the C library, whose text mode would put a carriage return before each line feed. Nothing is
// buffered on the way, and a call that doesn't fail writes all. A write of no bytes could look like
// the end of the output to its reader.
void writeToStandardOutput(const char *text, DWORD size) {
    DWORD written = 0;
    if (size > 0)
        ::WriteFile(::GetStdHandle(STD_OUTPUT_HANDLE), text, size, &written, nullptr);
}

} // namespace

void forwardOutput(std::weak_ptr<ProcessInfo> process, std::promise<void> begun) {
    const std::shared_ptr<ProcessInfo> info = process.lock();
    const bool forwards = info != nullptr && info->redirectOutput && !info->finished;
    begun.set_value();
    if (!forwards)
        return;
    do {
        std::this_thread::sleep_for(passPause);
        Chunk chunk = {};
        const DWORD size = readChunk(info->hStdOutRead, chunk);
        const char *end = std::find(chunk.data(), chunk.data() + size, '\0');
        writeToStandardOutput(chunk.data(), static_cast<DWORD>(end - chunk.data()));
    } while (!info->finished);
}

} // namespace ProcessHandling
