#include "stand_in/handles.h"

#include "stand_in/descriptor.h"
#include "stand_in/faults.h"
#include "stand_in/paths.h"
#include "stand_in/standard_streams.h"

#include <cerrno>
#include <chrono>
#include <mutex>
#include <thread>
#include <unordered_map>

namespace {

thread_local DWORD t_lastError = ERROR_SUCCESS;

struct Entry {
    std::shared_ptr<stand_in::Object> object;
    bool inheritable;
};

struct Table {
    std::mutex lock;
    std::unordered_map<HANDLE, Entry> entries;
    ULONG_PTR lastValue = 0;
};

// Never destroyed: threads still use handles while the process ends.
Table &table() {
    static Table &instance = *new Table;
    return instance;
}

// Called from here because every program that has a handle links this file.
[[maybe_unused]] const bool g_streamsPrepared = stand_in::prepareStandardStreams();

} // namespace

DWORD GetLastError() {
    return t_lastError;
}

void SetLastError(DWORD error) {
    t_lastError = error;
}

DWORD stand_in::Object::wait(DWORD) {
    SetLastError(ERROR_INVALID_HANDLE);
    return WAIT_FAILED;
}

DWORD stand_in::Stream::read(void *, DWORD, DWORD &) {
    return ERROR_ACCESS_DENIED;
}

DWORD stand_in::Stream::write(const void *, DWORD, DWORD &) {
    return ERROR_ACCESS_DENIED;
}

HANDLE stand_in::insert(std::shared_ptr<Object> object, bool inheritable) {
    const std::lock_guard guard(table().lock);
    const auto handle = reinterpret_cast<HANDLE>(table().lastValue += 4);
    table().entries.emplace(handle, Entry{std::move(object), inheritable});
    return handle;
}

bool stand_in::erase(HANDLE handle) {
    // The object goes after the lock: its end may take time.
    std::unique_lock guard(table().lock);
    const auto entry = table().entries.extract(handle);
    guard.unlock();
    return !entry.empty();
}

bool stand_in::isInheritable(HANDLE handle) {
    const std::lock_guard guard(table().lock);
    const auto entry = table().entries.find(handle);
    return entry != table().entries.end() && entry->second.inheritable;
}

std::shared_ptr<stand_in::Object> stand_in::lookUp(HANDLE handle) {
    const std::lock_guard guard(table().lock);
    const auto entry = table().entries.find(handle);
    return entry == table().entries.end() ? nullptr : entry->second.object;
}

short stand_in::awaitEvents(int descriptor, short events, DWORD milliseconds) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        const int timeout = milliseconds == INFINITE ? -1
                            : left.count() > 0       ? static_cast<int>(left.count())
                                                     : 0;
        pollfd polled{descriptor, events, 0};
        const int ready = ::poll(&polled, 1, timeout);
        if (ready >= 0 || errno != EINTR)
            return ready > 0 ? polled.revents : short{0};
    }
}

DWORD stand_in::writeFully(int descriptor, const void *bytes, DWORD size, DWORD &count) {
    for (count = 0; count < size;) {
        const auto *rest = static_cast<const char *>(bytes) + count;
        const ssize_t written = ::write(descriptor, rest, size - count);
        if (written >= 0)
            count += static_cast<DWORD>(written);
        else if (errno == EAGAIN)
            awaitEvents(descriptor, POLLOUT, INFINITE);
        else if (errno != EINTR)
            return lastErrorOf(errno);
    }
    return ERROR_SUCCESS;
}

BOOL CloseHandle(HANDLE handle) {
    if (stand_in::fails("CloseHandle"))
        return FALSE;
    return stand_in::outcome(stand_in::erase(handle) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE);
}

BOOL SetHandleInformation(HANDLE handle, DWORD mask, DWORD flags) {
    if (stand_in::fails("SetHandleInformation"))
        return FALSE;
    if (mask != HANDLE_FLAG_INHERIT)
        return stand_in::outcome(ERROR_INVALID_PARAMETER);
    const std::lock_guard guard(table().lock);
    const auto entry = table().entries.find(handle);
    if (entry == table().entries.end())
        return stand_in::outcome(ERROR_INVALID_HANDLE);
    entry->second.inheritable = (flags & HANDLE_FLAG_INHERIT) != 0;
    return TRUE;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    if (stand_in::fails("WaitForSingleObject"))
        return WAIT_FAILED;
    const auto object = stand_in::find<stand_in::Object>(handle);
    return object ? object->wait(milliseconds) : WAIT_FAILED;
}

void Sleep(DWORD milliseconds) {
    stand_in::fails("Sleep " + std::to_string(milliseconds)); // noted only, as it can't fail
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
