#include "primitives/handle.h"
#include "primitives/wide_text.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <deque>
#include <utility>

namespace {

// A launcher that sends a message before each read, and disconnects at once or not. It goes when
// the tool reads on after the last one.
HANDLE g_pipe;
std::deque<std::string> g_messages;
bool g_connects, g_disconnects;

BOOL readAfterTheLauncher(HANDLE file, LPVOID buffer, DWORD size, DWORD *read, const void *) {
    if (std::exchange(g_connects, false))
        ::ConnectNamedPipe(g_pipe, nullptr);
    if (g_messages.empty()) {
        closeAndClear(g_pipe);
    } else {
        DWORD written = 0;
        const std::string message = g_messages.front();
        g_messages.pop_front();
        EXPECT_EQ(::WriteFile(g_pipe, message.data(), static_cast<DWORD>(message.size()), &written,
                              nullptr),
                  TRUE);
        if (g_disconnects)
            ::DisconnectNamedPipe(g_pipe); // drops what isn't read
    }
    return ::ReadFile(file, buffer, size, read, nullptr);
}

} // namespace

#define ReadFile readAfterTheLauncher
#include "zq_orderly_stop.h"
#undef ReadFile

static ZqStopEvent stopEventAfter(const std::deque<std::string> &messages, bool disconnects) {
    const std::string name = "\\\\.\\pipe\\zqLauncher_" + std::to_string(::GetCurrentProcessId());
    g_pipe =
        ::CreateNamedPipeW(widen(name).c_str(), PIPE_ACCESS_OUTBOUND,
                           PIPE_TYPE_MESSAGE | PIPE_REJECT_REMOTE_CLIENTS, 255, 256, 0, 0, nullptr);
    g_messages = messages;
    g_connects = true;
    g_disconnects = disconnects;
    const ZqStopEvent event = zqAwaitStop();
    closeAndClear(g_pipe);
    return event;
}

TEST(OrderlyStop, EachEndOfThePipeIsItsEvent) {
    const std::string word("zqEnd!\0", 7), part = "zqEnd!", other = "zqEnd!x";
    EXPECT_EQ(stopEventAfter({part, other, word}, /*disconnects=*/false), ZqStopAsked);
    EXPECT_EQ(stopEventAfter({part, other}, /*disconnects=*/false), ZqStopLauncherGone);
    EXPECT_EQ(stopEventAfter({word}, /*disconnects=*/true), ZqStopAsked) << "the word was dropped";
    EXPECT_EQ(zqAwaitStop(), ZqStopNoLauncher);
}
