#pragma once

#include <future>
#include <memory>

namespace ProcessHandling {

struct ProcessInfo;

// Copies what the process writes to its output pipe to the launcher's standard output, on a thread
// of its own: every 100 milliseconds one chunk of up to 4096 bytes, byte for byte up to its first
// zero byte. Ends at the first check of `finished` after a read, so at most one chunk is read after
// it is set: what a process writes right before its end can be lost. Without redirectOutput it ends
// at once. Keeps the record alive while it runs.
// Makes `begun` ready once it has checked `finished` for the first time.
void forwardOutput(std::weak_ptr<ProcessInfo> process, std::promise<void> begun);

} // namespace ProcessHandling
