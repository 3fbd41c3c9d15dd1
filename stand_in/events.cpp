#include "stand_in/faults.h"
#include "stand_in/handles.h"
#include "stand_in/signal_state.h"

namespace {

class Event final : public stand_in::Object {
public:
    DWORD wait(DWORD milliseconds) override { return m_state.wait(milliseconds); }
    void set() { m_state.set(); }

private:
    stand_in::SignalState m_state;
};

} // namespace

HANDLE CreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState,
                    LPCWSTR name) {
    if (stand_in::fails("CreateEventW"))
        return nullptr;
    if (!manualReset || name) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    const auto event = std::make_shared<Event>();
    if (initialState)
        event->set();
    return stand_in::insert(event, attributes && attributes->bInheritHandle);
}

BOOL SetEvent(HANDLE event) {
    if (stand_in::fails("SetEvent"))
        return FALSE;
    const auto found = stand_in::find<Event>(event);
    if (found)
        found->set();
    return found != nullptr;
}
