#include "stand_in/descriptor.h"
#include "stand_in/faults.h"
#include "stand_in/handles.h"
#include "stand_in/paths.h"

#include <sys/ioctl.h>

#include <cerrno>

namespace {

// What Windows takes for a size of 0; the host's default holds sixteen times as much.
constexpr DWORD defaultPipeSize = 4096;

class ReadEnd final : public stand_in::Stream {
public:
    explicit ReadEnd(int descriptor) : m_descriptor(descriptor) {}
    DWORD read(void *buffer, DWORD size, DWORD &count) override;
    DWORD available(DWORD &count) const;
    int descriptor() const override { return m_descriptor.get(); }

private:
    stand_in::Descriptor m_descriptor;
};

class WriteEnd final : public stand_in::Stream {
public:
    explicit WriteEnd(int descriptor) : m_descriptor(descriptor) {}
    DWORD write(const void *bytes, DWORD size, DWORD &count) override {
        return stand_in::writeFully(m_descriptor.get(), bytes, size, count);
    }
    int descriptor() const override { return m_descriptor.get(); }

private:
    stand_in::Descriptor m_descriptor;
};

DWORD ReadEnd::read(void *buffer, DWORD size, DWORD &count) {
    ssize_t taken;
    do
        taken = ::read(m_descriptor.get(), buffer, size);
    while (taken < 0 && errno == EINTR);
    if (taken < 0)
        return stand_in::lastErrorOf(errno);
    count = static_cast<DWORD>(taken);
    return taken == 0 && size > 0 ? ERROR_BROKEN_PIPE : ERROR_SUCCESS;
}

DWORD ReadEnd::available(DWORD &count) const {
    int waiting = 0;
    // Asked for the hang-up first: what was written before it is counted then.
    const short events = stand_in::awaitEvents(m_descriptor.get(), POLLIN, 0);
    if (::ioctl(m_descriptor.get(), FIONREAD, &waiting) != 0)
        return stand_in::lastErrorOf(errno);
    count = static_cast<DWORD>(waiting);
    return waiting == 0 && (events & POLLHUP) != 0 ? ERROR_BROKEN_PIPE : ERROR_SUCCESS;
}

} // namespace

BOOL CreatePipe(HANDLE *readEnd, HANDLE *writeEnd, LPSECURITY_ATTRIBUTES attributes, DWORD size) {
    if (stand_in::fails("CreatePipe"))
        return FALSE;
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return stand_in::outcome(stand_in::lastErrorOf(errno));
    ::fcntl(ends[1], F_SETPIPE_SZ, size == 0 ? defaultPipeSize : size);
    const bool inheritable = attributes && attributes->bInheritHandle;
    *readEnd = stand_in::insert(std::make_shared<ReadEnd>(ends[0]), inheritable);
    *writeEnd = stand_in::insert(std::make_shared<WriteEnd>(ends[1]), inheritable);
    return TRUE;
}

BOOL PeekNamedPipe(HANDLE pipe, LPVOID buffer, DWORD, LPDWORD read, LPDWORD available,
                   LPDWORD leftInMessage) {
    if (stand_in::fails("PeekNamedPipe"))
        return FALSE;
    if (buffer || read || leftInMessage || !available)
        return stand_in::outcome(ERROR_NOT_SUPPORTED);
    const auto end = stand_in::find<ReadEnd>(pipe);
    return end && stand_in::outcome(end->available(*available));
}
