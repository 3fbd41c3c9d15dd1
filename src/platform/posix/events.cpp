#include "platform/posix/faults.h"
#include "platform/posix/handles.h"
#include "platform/posix/signal_state.h"

namespace {

class Event final : public host::Object {
public:
    DWORD wait(DWORD milliseconds) override { return m_state.wait(milliseconds); }
    void set() { m_state.set(); }

private:
    host::SignalState m_state;
};

} // namespace

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState,
                    LPCWSTR name) {
    if (host::fails("CreateEventW"))
        return nullptr;
    if (!manualReset || name) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    const auto event = std::make_shared<Event>();
    if (initialState)
        event->set();
    return host::insert(event, attributes && attributes->bInheritHandle);
}

BOOL SetEvent(HANDLE event) {
    if (host::fails("SetEvent"))
        return FALSE;
    const auto found = host::find<Event>(event);
    if (found)
        found->set();
    return found != nullptr;
}
