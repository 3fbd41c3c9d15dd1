#pragma once

#include "stand_in/handles.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace stand_in {

// Set once. An event, or the end of a thread.
class Event final : public Object {
public:
    void set() {
        const std::lock_guard guard(m_lock);
        m_set = true;
        m_changed.notify_all();
    }

    DWORD wait(DWORD milliseconds) override {
        std::unique_lock guard(m_lock);
        const auto isSet = [this] { return m_set; };
        if (milliseconds != INFINITE)
            m_changed.wait_for(guard, std::chrono::milliseconds(milliseconds), isSet);
        else
            m_changed.wait(guard, isSet);
        return m_set ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_set = false;
};

} // namespace stand_in
