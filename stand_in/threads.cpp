#include "stand_in/event.h"
#include "stand_in/faults.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>

namespace {

std::atomic<DWORD> g_lastThreadId{0};
thread_local DWORD t_threadId = 0;

// The queues of messages, by the thread.
struct Queues {
    std::mutex lock;
    std::unordered_map<DWORD, std::deque<UINT>> ofThread;
};

// Never destroyed: threads still use their queues while the process ends.
Queues &queues() {
    static Queues &instance = *new Queues;
    return instance;
}

void runThread(DWORD id, const std::shared_ptr<stand_in::Event> &end,
               LPTHREAD_START_ROUTINE routine, LPVOID argument) {
    t_threadId = id;
    routine(argument);
    {
        const std::lock_guard guard(queues().lock);
        queues().ofThread.erase(id);
    }
    end->set();
}

} // namespace

HANDLE CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T stackSize, LPTHREAD_START_ROUTINE routine,
                    LPVOID argument, DWORD flags, LPDWORD threadId) {
    if (stand_in::fails("CreateThread", stackSize != 0 || flags != 0))
        return nullptr;
    const DWORD id = ++g_lastThreadId;
    if (threadId)
        *threadId = id;
    const auto end = std::make_shared<stand_in::Event>();
    std::thread(runThread, id, end, routine, argument).detach();
    return stand_in::insert(end);
}

DWORD GetCurrentThreadId() {
    if (t_threadId == 0) // not made by CreateThread
        t_threadId = ++g_lastThreadId;
    return t_threadId;
}

BOOL PeekMessageW(MSG *message, HWND window, UINT first, UINT last, UINT remove) {
    if (stand_in::fails("PeekMessageW", window || first != 0 || last != 0 || remove != PM_REMOVE))
        return FALSE;
    const std::lock_guard guard(queues().lock);
    std::deque<UINT> &queue = queues().ofThread[GetCurrentThreadId()];
    if (queue.empty())
        return FALSE;
    message->message = queue.front();
    queue.pop_front();
    return TRUE;
}

BOOL PostThreadMessageW(DWORD threadId, UINT message, WPARAM, LPARAM) {
    if (stand_in::fails("PostThreadMessageW"))
        return FALSE;
    const std::lock_guard guard(queues().lock);
    const auto queue = queues().ofThread.find(threadId);
    if (queue == queues().ofThread.end())
        return stand_in::resultOf(ERROR_INVALID_THREAD_ID);
    queue->second.push_back(message);
    return TRUE;
}

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL initialState, LPCWSTR name) {
    if (stand_in::fails("CreateEventW", !manualReset || initialState || name))
        return nullptr;
    return stand_in::insert(std::make_shared<stand_in::Event>());
}

BOOL SetEvent(HANDLE event) {
    if (stand_in::fails("SetEvent"))
        return FALSE;
    const auto found = stand_in::find<stand_in::Event>(event);
    if (found)
        found->set();
    return found != nullptr;
}

void Sleep(DWORD milliseconds) {
    stand_in::note("Sleep " + std::to_string(milliseconds));
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
