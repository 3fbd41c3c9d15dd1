#include <windows.h>

namespace {

DWORD g_pauseBeforeReadMs = 0;

BOOL readAfterPause(HANDLE file, LPVOID buffer, DWORD size, DWORD *read, const void *) {
    ::Sleep(g_pauseBeforeReadMs);
    return ::ReadFile(file, buffer, size, read, nullptr);
}

} // namespace

#define ReadFile readAfterPause
#include "zq_orderly_stop.h"
#undef ReadFile

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

// What a tool hears from a launcher that sends the messages and then disconnects, or just goes.
ZqStopEvent stopEventAfter(const std::vector<std::string> &messages, bool disconnects) {
    const std::string name = "\\\\.\\pipe\\zqLauncher_" + std::to_string(::GetCurrentProcessId());
    const HANDLE pipe = ::CreateNamedPipeW(
        std::basic_string<WCHAR>(name.begin(), name.end()).c_str(), PIPE_ACCESS_OUTBOUND,
        PIPE_TYPE_MESSAGE | PIPE_REJECT_REMOTE_CLIENTS, 255, 256, 0, 0, nullptr);
    std::thread server([&] {
        ::ConnectNamedPipe(pipe, nullptr);
        for (const std::string &message : messages) {
            DWORD written = 0;
            const auto size = static_cast<DWORD>(message.size());
            EXPECT_EQ(::WriteFile(pipe, message.data(), size, &written, nullptr), TRUE);
            ::Sleep(disconnects ? 0 : 200); // for a read of its own for each
        }
        if (disconnects)
            ::DisconnectNamedPipe(pipe); // drops what isn't read by now
        ::CloseHandle(pipe);
    });
    const ZqStopEvent event = zqAwaitStop();
    server.join();
    return event;
}

TEST(OrderlyStop, EachEndOfThePipeIsItsEvent) {
    const std::string word("zqEnd!\0", 7);
    EXPECT_EQ(stopEventAfter({word}, /*disconnects=*/true), ZqStopAsked);
    EXPECT_EQ(stopEventAfter({word.substr(0, 6), word + "x", word}, /*disconnects=*/false),
              ZqStopAsked);
    EXPECT_EQ(stopEventAfter({word.substr(0, 6), word + "x"}, /*disconnects=*/false),
              ZqStopLauncherGone);
    g_pauseBeforeReadMs = 300;
    EXPECT_EQ(stopEventAfter({word}, /*disconnects=*/true), ZqStopAsked) << "dropped unread";
    EXPECT_EQ(zqAwaitStop(), ZqStopNoLauncher);
}

} // namespace
