#include "stand_in/handles.h"

#include "stand_in/descriptor.h"
#include "stand_in/faults.h"

#include <csignal>
#include <mutex>
#include <unordered_map>

namespace {

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

// Before anything else is opened. Here because every program that has a handle links this file.
[[maybe_unused]] const bool g_processPrepared = [] {
    // A closed stream would be taken by the next socket or file, and be written to as the output.
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        if (::fcntl(stream, F_GETFD) == -1)
            ::open("/dev/null", O_RDWR);
    std::signal(SIGPIPE, SIG_IGN);
    // Ignored, as a parent may leave it, it would take away the exit codes of children.
    std::signal(SIGCHLD, SIG_DFL);
    return true;
}();

} // namespace

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

BOOL CloseHandle(HANDLE handle) {
    return !stand_in::fails("CloseHandle") &&
           stand_in::resultOf(stand_in::erase(handle) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE);
}

BOOL SetHandleInformation(HANDLE handle, DWORD mask, DWORD flags) {
    if (stand_in::fails("SetHandleInformation", mask != HANDLE_FLAG_INHERIT))
        return FALSE;
    const std::lock_guard guard(table().lock);
    const auto entry = table().entries.find(handle);
    if (entry != table().entries.end())
        entry->second.inheritable = (flags & HANDLE_FLAG_INHERIT) != 0;
    return stand_in::resultOf(entry != table().entries.end() ? ERROR_SUCCESS
                                                             : ERROR_INVALID_HANDLE);
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    if (stand_in::fails("WaitForSingleObject"))
        return WAIT_FAILED;
    const auto object = stand_in::find<stand_in::Object>(handle);
    return object ? object->wait(milliseconds) : WAIT_FAILED;
}
