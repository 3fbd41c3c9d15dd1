#include "stand_in/faults.h"
#include "stand_in/handles.h"
#include "stand_in/signal_state.h"

#include <unistd.h>

#include <deque>
#include <future>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <unordered_map>

namespace {

class Thread final : public stand_in::Object {
public:
    DWORD wait(DWORD milliseconds) override { return m_ended.wait(milliseconds); }
    void end() { m_ended.set(); }

private:
    stand_in::SignalState m_ended;
};

struct Queues {
    std::mutex lock;
    std::unordered_map<DWORD, std::deque<MSG>> ofThread;
};

// Never destroyed: threads still use their queues while the process ends.
Queues &queues() {
    static Queues &instance = *new Queues;
    return instance;
}

// The queue of a thread, there for as long as this is.
class QueueOfThread {
public:
    QueueOfThread() {
        const std::lock_guard guard(queues().lock);
        queues().ofThread.try_emplace(m_thread);
    }
    ~QueueOfThread() {
        const std::lock_guard guard(queues().lock);
        queues().ofThread.erase(m_thread);
    }
    QueueOfThread(const QueueOfThread &) = delete;
    QueueOfThread &operator=(const QueueOfThread &) = delete;

private:
    const DWORD m_thread = GetCurrentThreadId();
};

thread_local std::optional<QueueOfThread> t_queue;

void runThread(const std::shared_ptr<Thread> &thread, LPTHREAD_START_ROUTINE routine,
               LPVOID argument, std::promise<DWORD> id) {
    id.set_value(GetCurrentThreadId());
    routine(argument);
    // Before anybody sees that the thread has ended.
    t_queue.reset();
    thread->end();
}

} // namespace

HANDLE CreateThread(LPSECURITY_ATTRIBUTES, SIZE_T stackSize, LPTHREAD_START_ROUTINE routine,
                    LPVOID argument, DWORD flags, LPDWORD threadId) {
    if (stand_in::fails("CreateThread"))
        return nullptr;
    if (stackSize != 0 || flags != 0) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    const auto thread = std::make_shared<Thread>();
    std::promise<DWORD> promise;
    std::future<DWORD> id = promise.get_future();
    try {
        std::thread(runThread, thread, routine, argument, std::move(promise)).detach();
    } catch (const std::system_error &) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    const DWORD known = id.get();
    if (threadId)
        *threadId = known;
    return stand_in::insert(thread);
}

DWORD GetCurrentThreadId() {
    return static_cast<DWORD>(::gettid());
}

BOOL PeekMessageW(MSG *message, HWND window, UINT first, UINT last, UINT remove) {
    if (stand_in::fails("PeekMessageW"))
        return FALSE;
    if (window || first != 0 || last != 0 || remove != PM_REMOVE)
        return stand_in::outcome(ERROR_NOT_SUPPORTED);
    if (!t_queue)
        t_queue.emplace();
    const std::lock_guard guard(queues().lock);
    std::deque<MSG> &queue = queues().ofThread[GetCurrentThreadId()];
    if (queue.empty())
        return FALSE;
    *message = queue.front();
    queue.pop_front();
    return TRUE;
}

BOOL PostThreadMessageW(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam) {
    if (stand_in::fails("PostThreadMessageW"))
        return FALSE;
    const std::lock_guard guard(queues().lock);
    const auto queue = queues().ofThread.find(threadId);
    if (queue == queues().ofThread.end())
        return stand_in::outcome(ERROR_INVALID_THREAD_ID);
    queue->second.push_back({nullptr, message, wParam, lParam, 0, {0, 0}});
    return TRUE;
}
