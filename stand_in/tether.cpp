#include "stand_in/tether.h"

#include <sys/socket.h>

#include <algorithm>
#include <csignal>
#include <iterator>

stand_in::Tether::Tether() {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0) {
        m_ends[0] = Descriptor(ends[0]);
        m_ends[1] = Descriptor(ends[1]);
    }
}

bool stand_in::Tether::tie(pid_t process) const {
    const auto tieEnd = [process](const Descriptor &end) {
        return ::fcntl(end.get(), F_SETOWN, process) == 0 &&
               ::fcntl(end.get(), F_SETSIG, SIGKILL) == 0 &&
               ::fcntl(end.get(), F_SETFL, O_ASYNC) == 0;
    };
    return std::all_of(std::begin(m_ends), std::end(m_ends), tieEnd);
}

void stand_in::Tether::untie() const {
    for (const Descriptor &end : m_ends)
        ::fcntl(end.get(), F_SETFL, 0);
}
