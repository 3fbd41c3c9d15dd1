#pragma once

#include "stand_in/descriptor.h"

#include <sys/types.h>

namespace stand_in {

// When a Tether is destroyed, or this process ends in any way, the tied process is killed. Of two
// connected sockets, each has the host send SIGKILL to the process when the other one is closed, so
// it doesn't matter in which order they go.
class Tether {
public:
    Tether(); // tied to nothing
    // Both make plain calls of the host only, so that a child may tie itself before its program.
    bool tie(pid_t process) const;
    void untie() const;

private:
    Descriptor m_ends[2];
};

} // namespace stand_in
