#include "stand_in/streams.h"

#include "stand_in/faults.h"

#include <sys/ioctl.h>

#include <cerrno>

namespace {

// The size of a pipe that Windows makes when asked for 0; the host's default is sixteen times that.
constexpr int pipeSize = 4096;

} // namespace

DWORD stand_in::Stream::read(void *buffer, DWORD size, DWORD &count) {
    const ssize_t taken = ::read(m_descriptor.get(), buffer, size);
    count = taken > 0 ? static_cast<DWORD>(taken) : 0;
    return taken > 0 ? ERROR_SUCCESS : ERROR_BROKEN_PIPE;
}

DWORD stand_in::Stream::write(const void *bytes, DWORD size, DWORD &count) {
    for (count = 0; count < size;) {
        const ssize_t written =
            ::write(m_descriptor.get(), static_cast<const char *>(bytes) + count, size - count);
        if (written < 0)
            return lastErrorOf(errno);
        count += static_cast<DWORD>(written);
    }
    return ERROR_SUCCESS;
}

BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD size, LPDWORD read, LPVOID overlapped) {
    if (stand_in::fails("ReadFile", overlapped != nullptr))
        return FALSE;
    *read = 0;
    const auto stream = stand_in::find<stand_in::Stream>(file);
    return stream && stand_in::resultOf(stream->read(buffer, size, *read));
}

BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD size, LPDWORD written, LPVOID overlapped) {
    if (stand_in::fails("WriteFile", overlapped != nullptr))
        return FALSE;
    *written = 0;
    const auto stream = stand_in::find<stand_in::Stream>(file);
    return stream && stand_in::resultOf(stream->write(buffer, size, *written));
}

BOOL CreatePipe(HANDLE *readEnd, HANDLE *writeEnd, LPSECURITY_ATTRIBUTES attributes, DWORD size) {
    int ends[2];
    if (stand_in::fails("CreatePipe", size != 0) ||
        !stand_in::resultOf(::pipe2(ends, O_CLOEXEC) == 0 ? ERROR_SUCCESS : ERROR_GEN_FAILURE))
        return FALSE;
    ::fcntl(ends[1], F_SETPIPE_SZ, pipeSize);
    HANDLE *const handles[] = {readEnd, writeEnd};
    for (int end = 0; end < 2; ++end)
        *handles[end] =
            stand_in::insert(std::make_shared<stand_in::Stream>(stand_in::Descriptor(ends[end])),
                             attributes && attributes->bInheritHandle);
    return TRUE;
}

BOOL PeekNamedPipe(HANDLE pipe, LPVOID buffer, DWORD, LPDWORD read, LPDWORD available,
                   LPDWORD leftInMessage) {
    if (stand_in::fails("PeekNamedPipe", buffer || read || leftInMessage))
        return FALSE;
    const auto end = stand_in::find<stand_in::Stream>(pipe);
    if (!end)
        return FALSE;
    int waiting = 0;
    // The hang-up is asked for first: what was written before it is counted then.
    const bool hungUp = (stand_in::awaitEvents(end->descriptor(), POLLIN, 0) & POLLHUP) != 0;
    ::ioctl(end->descriptor(), FIONREAD, &waiting);
    *available = static_cast<DWORD>(waiting);
    return stand_in::resultOf(waiting == 0 && hungUp ? ERROR_BROKEN_PIPE : ERROR_SUCCESS);
}
