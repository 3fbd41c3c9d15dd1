#pragma once

#include "stand_in/descriptor.h"
#include "stand_in/handles.h"

#include <sys/types.h>

#include <mutex>
#include <utility>

namespace stand_in {

// A child. It is reaped when its exit code is asked for after its end, or with this object if it
// has ended by then; one that goes on longer is left to the host.
class Process final : public Object {
public:
    Process(pid_t id, Descriptor descriptor) : m_id(id), m_descriptor(std::move(descriptor)) {}
    ~Process() override { exitCode(); }

    DWORD wait(DWORD milliseconds) override;
    bool hasEnded() const { return awaitEvents(m_descriptor.get(), POLLIN, 0) != 0; }
    // STILL_ACTIVE before the end.
    DWORD exitCode();
    pid_t id() const { return m_id; }

private:
    const pid_t m_id;
    const Descriptor m_descriptor;
    std::mutex m_lock;
    DWORD m_exitCode = STILL_ACTIVE;
};

} // namespace stand_in
