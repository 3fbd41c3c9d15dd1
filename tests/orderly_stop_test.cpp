#include "primitives/handle.h"
#include "primitives/wide_text.h"

#include <windows.h>

#include <functional>

namespace {

std::function<void()> g_beforeRead;

BOOL readAfterTheLauncher(HANDLE file, LPVOID buffer, DWORD size, DWORD *read, const void *) {
    g_beforeRead();
    return ::ReadFile(file, buffer, size, read, nullptr);
}

} // namespace

#define ReadFile readAfterTheLauncher
#include "zq_orderly_stop.h"
#undef ReadFile

#include <gtest/gtest.h>

namespace {

// What a tool receives from a launcher that sends a message before each read, and disconnects at
// once, or just goes when the tool reads on after the last one.
ZqStopEvent stopEventAfter(const std::vector<std::string> &messages, bool disconnects) {
    const std::string name = "\\\\.\\pipe\\zqLauncher_" + std::to_string(::GetCurrentProcessId());
    HANDLE pipe =
        ::CreateNamedPipeW(widen(name).c_str(), PIPE_ACCESS_OUTBOUND,
                           PIPE_TYPE_MESSAGE | PIPE_REJECT_REMOTE_CLIENTS, 255, 256, 0, 0, nullptr);
    auto message = messages.begin();
    g_beforeRead = [&] {
        if (message == messages.begin())
            ::ConnectNamedPipe(pipe, nullptr);
        if (message == messages.end()) {
            closeAndClear(pipe);
            return;
        }
        DWORD written = 0;
        const auto size = static_cast<DWORD>(message->size());
        EXPECT_EQ(::WriteFile(pipe, message++->data(), size, &written, nullptr), TRUE);
        if (disconnects)
            ::DisconnectNamedPipe(pipe); // drops what isn't read
    };
    const ZqStopEvent event = zqAwaitStop();
    closeAndClear(pipe);
    return event;
}

TEST(OrderlyStop, EachEndOfThePipeIsItsEvent) {
    const std::string word("zqEnd!\0", 7), part = "zqEnd!", other = "zqEnd!x";
    EXPECT_EQ(stopEventAfter({part, other, word}, /*disconnects=*/false), ZqStopAsked);
    EXPECT_EQ(stopEventAfter({part, other}, /*disconnects=*/false), ZqStopLauncherGone);
    EXPECT_EQ(stopEventAfter({word}, /*disconnects=*/true), ZqStopAsked) << "the word was dropped";
    EXPECT_EQ(zqAwaitStop(), ZqStopNoLauncher);
}

} // namespace
