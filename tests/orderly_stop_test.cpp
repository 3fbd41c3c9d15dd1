#include <windows.h>

namespace {

DWORD pauseBeforeReadMs = 0;

BOOL readAfterPause(HANDLE file, LPVOID buffer, DWORD size, DWORD *read, const void *) {
    ::Sleep(pauseBeforeReadMs);
    return ::ReadFile(file, buffer, size, read, nullptr);
}

} // namespace

#define ReadFile readAfterPause
#include "zq_orderly_stop.h"
#undef ReadFile

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>

namespace {

using Server = std::function<void(HANDLE)>;

void send(HANDLE pipe, const std::string &message) {
    DWORD written = 0;
    EXPECT_EQ(
        ::WriteFile(pipe, message.data(), static_cast<DWORD>(message.size()), &written, nullptr),
        TRUE);
}

const std::string word("zqEnd!\0", 7);

// A pause in which the client's read has become pending.
void letClientRead() {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
}

// What a tool hears from a launcher that serves its pipe so.
ZqStopEvent stopEventFrom(const Server &serve) {
    const std::string name = "\\\\.\\pipe\\zqLauncher_" + std::to_string(::GetCurrentProcessId());
    const HANDLE pipe = ::CreateNamedPipeW(
        std::basic_string<WCHAR>(name.begin(), name.end()).c_str(), PIPE_ACCESS_OUTBOUND,
        PIPE_TYPE_MESSAGE | PIPE_REJECT_REMOTE_CLIENTS, 255, 256, 0, 0, nullptr);
    EXPECT_NE(pipe, INVALID_HANDLE_VALUE);
    std::thread server([&] {
        ::ConnectNamedPipe(pipe, nullptr);
        serve(pipe);
        ::CloseHandle(pipe);
    });
    const ZqStopEvent event = zqAwaitStop();
    server.join();
    return event;
}

TEST(OrderlyStop, WordIsTheRequestAlsoIfItIsDroppedUnread) {
    for (const DWORD pauseMs : {DWORD{0}, DWORD{300}}) {
        pauseBeforeReadMs = pauseMs;
        EXPECT_EQ(stopEventFrom([](HANDLE pipe) {
                      send(pipe, word);
                      ::DisconnectNamedPipe(pipe); // drops the word, unless it was read
                  }),
                  ZqStopAsked);
    }
    pauseBeforeReadMs = 0;
}

TEST(OrderlyStop, AnyOtherMessageIsPassedOver) {
    EXPECT_EQ(stopEventFrom([](HANDLE pipe) {
                  for (const std::string &message : {word.substr(0, 6), word + "x", word}) {
                      letClientRead();
                      send(pipe, message);
                  }
                  letClientRead();
              }),
              ZqStopAsked);
}

TEST(OrderlyStop, LauncherThatGoesAndLauncherThatIsNotThereDiffer) {
    EXPECT_EQ(stopEventFrom([](HANDLE) { letClientRead(); }), ZqStopLauncherGone);
    EXPECT_EQ(zqAwaitStop(), ZqStopNoLauncher);
}

} // namespace
