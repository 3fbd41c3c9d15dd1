#pragma once

#include "stand_in/descriptor.h"

#include <sys/types.h>

namespace stand_in {

// Kills the process that it is tied to once it goes, be it by its destructor or with this process,
// however that ends. Of two connected sockets, each has the host send SIGKILL to the process when
// the other one is closed, so it doesn't matter in which order they go.
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
