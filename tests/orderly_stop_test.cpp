#include "support/host.h"

#include <windows.h>

#include <atomic>

namespace {

std::atomic<int> g_readsBegun = 0;
std::atomic<bool> g_mayRead = true;

BOOL readWhenAllowed(HANDLE file, LPVOID buffer, DWORD size, DWORD *read, const void *) {
    ++g_readsBegun;
    testing_support::waitUntil([] { return g_mayRead.load(); });
    return ::ReadFile(file, buffer, size, read, nullptr);
}

} // namespace

#define ReadFile readWhenAllowed
#include "zq_orderly_stop.h"
#undef ReadFile

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

// What a tool hears from a launcher that sends the messages, each to a read of its own, and then
// disconnects, or just goes when the last was read.
ZqStopEvent stopEventAfter(const std::vector<std::string> &messages, bool disconnects) {
    g_readsBegun = 0;
    std::atomic<bool> heard = false;
    const auto awaitRead = [&](int number) {
        EXPECT_TRUE(testing_support::waitUntil([&] { return g_readsBegun >= number || heard; }));
    };
    const std::string name = "\\\\.\\pipe\\zqLauncher_" + std::to_string(::GetCurrentProcessId());
    const HANDLE pipe = ::CreateNamedPipeW(
        std::basic_string<WCHAR>(name.begin(), name.end()).c_str(), PIPE_ACCESS_OUTBOUND,
        PIPE_TYPE_MESSAGE | PIPE_REJECT_REMOTE_CLIENTS, 255, 256, 0, 0, nullptr);
    std::thread server([&] {
        ::ConnectNamedPipe(pipe, nullptr);
        int number = 0;
        for (const std::string &message : messages) {
            awaitRead(++number);
            DWORD written = 0;
            const auto size = static_cast<DWORD>(message.size());
            EXPECT_EQ(::WriteFile(pipe, message.data(), size, &written, nullptr), TRUE);
        }
        if (disconnects)
            ::DisconnectNamedPipe(pipe); // drops what isn't read by now
        else
            awaitRead(number + 1);
        ::CloseHandle(pipe);
        g_mayRead = true;
    });
    const ZqStopEvent event = zqAwaitStop();
    heard = true;
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
    g_mayRead = false;
    EXPECT_EQ(stopEventAfter({word}, /*disconnects=*/true), ZqStopAsked) << "dropped unread";
    EXPECT_EQ(zqAwaitStop(), ZqStopNoLauncher);
}

} // namespace
