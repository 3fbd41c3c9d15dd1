// How a tool lets the launcher ask it to end: it opens the pipe that bears its own process id and
// keeps a read pending. The request is one message, the seven bytes "zqEnd!" and a zero.

#include "platform/windows_api.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <iostream>
#include <string>
#include <thread>

namespace {

constexpr char endRequest[] = "zqEnd!";

std::atomic<bool> g_EndRequested = false;

HANDLE openTerminationPipe() {
    const std::string name = "\\\\.\\pipe\\zqLauncher_" + std::to_string(::GetCurrentProcessId());
    const std::basic_string<WCHAR> wideName(name.begin(), name.end());
    return ::CreateFileW(wideName.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
}

// Comes back when the request has arrived or the launcher has gone. The launcher drops what isn't
// read at once, so nothing else is done on this thread.
void awaitEndRequest(HANDLE pipe) {
    char message[sizeof(endRequest)] = {};
    DWORD size = 0;
    if (::ReadFile(pipe, message, sizeof(message), &size, nullptr) == TRUE &&
        size == sizeof(endRequest) && std::memcmp(message, endRequest, sizeof(endRequest)) == 0)
        g_EndRequested = true;
    ::CloseHandle(pipe);
}

} // namespace

int main() {
    // The pipe is there before a tool's first instruction. Without a launcher there is none, and
    // the tool works on its own.
    const HANDLE pipe = openTerminationPipe();
    if (pipe != INVALID_HANDLE_VALUE)
        std::thread(awaitEndRequest, pipe).detach();

    std::cout << "working" << std::endl;
    while (!g_EndRequested)
        std::this_thread::sleep_for(std::chrono::milliseconds(50)); // the tool's work
    std::cout << "asked to end, all is put away" << std::endl;
    return 0;
}
