#include "stand_in/named_pipes.h"

#include "stand_in/faults.h"
#include "stand_in/paths.h"
#include "stand_in/streams.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstddef>
#include <functional>
#include <string_view>

// A pipe is a listening socket whose queue holds one client. The client stays in the queue until
// something is written to it, so that any other finds the pipe busy. The socket's name is abstract,
// so that no file stays behind, and holds the user and the drive C, which stands for a machine:
// programs of another user or with another drive C don't find it.

namespace {

constexpr std::string_view prefix = "\\\\.\\pipe\\";

template <class Call> int withAddress(const Call &call, int socket, const std::string &path) {
    const std::size_t machine = std::hash<std::string>()(stand_in::toHost("C:\\"));
    const std::string name = "zqhost." + std::to_string(::geteuid()) + '.' +
                             std::to_string(machine) + '.' + path.substr(prefix.size());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::size_t length = name.copy(address.sun_path + 1, sizeof address.sun_path - 1);
    return call(socket, reinterpret_cast<const sockaddr *>(&address),
                static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + length));
}

// The server's end. One thread at a time uses it.
class Instance final : public stand_in::Stream {
public:
    explicit Instance(stand_in::Descriptor listener)
        : Stream(stand_in::Descriptor()), m_listener(std::move(listener)) {}
    DWORD awaitClient() const;
    void disconnect();
    DWORD write(const void *bytes, DWORD size, DWORD &count) override;

private:
    stand_in::Descriptor m_listener;
};

class Client final : public stand_in::Stream {
public:
    using Stream::Stream;
    DWORD read(void *buffer, DWORD size, DWORD &count) override;
};

DWORD Instance::awaitClient() const {
    if (stand_in::awaitEvents(m_listener.get(), POLLIN, 0) != 0)
        return ERROR_PIPE_CONNECTED;
    stand_in::awaitEvents(m_listener.get(), POLLIN, INFINITE);
    return ERROR_SUCCESS;
}

// With the greeting read, the client sees an orderly end: see Client::read.
void Instance::disconnect() {
    char greeting;
    ::recv(m_descriptor.get(), &greeting, 1, MSG_DONTWAIT);
    m_descriptor.reset();
    m_listener.reset();
}

DWORD Instance::write(const void *bytes, DWORD size, DWORD &count) {
    if (!m_descriptor)
        m_descriptor =
            stand_in::Descriptor(::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    return Stream::write(bytes, size, count);
}

// A client sends one byte, the greeting, which the server reads only to disconnect. A socket that
// is closed with something unread reports an error at its other end. So the client tells a broken
// pipe from one that was disconnected, whose unread bytes are lost.
DWORD Client::read(void *buffer, DWORD size, DWORD &count) {
    const short events = stand_in::awaitEvents(m_descriptor.get(), POLLIN, 0);
    if ((events & POLLHUP) != 0 && (events & POLLERR) == 0)
        return ERROR_PIPE_NOT_CONNECTED;
    const ssize_t taken = ::recv(m_descriptor.get(), buffer, size, 0);
    if (taken <= 0)
        return taken == 0 ? ERROR_PIPE_NOT_CONNECTED : ERROR_BROKEN_PIPE;
    count = static_cast<DWORD>(taken);
    return ERROR_SUCCESS;
}

} // namespace

bool stand_in::isPipePath(const std::string &path) {
    return path.starts_with(prefix);
}

DWORD stand_in::openPipe(const std::string &path, std::shared_ptr<Object> &client) {
    // Without waiting for room in the queue.
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (withAddress(::connect, socket.get(), path) != 0)
        return errno == EAGAIN ? ERROR_PIPE_BUSY : ERROR_FILE_NOT_FOUND;
    ::fcntl(socket.get(), F_SETFL, 0);
    ::send(socket.get(), "", 1, MSG_NOSIGNAL);
    client = std::make_shared<Client>(std::move(socket));
    return ERROR_SUCCESS;
}

HANDLE CreateNamedPipeW(LPCWSTR name, DWORD openMode, DWORD pipeMode, DWORD, DWORD outBufferSize,
                        DWORD, DWORD, LPSECURITY_ATTRIBUTES) {
    const std::string path = stand_in::toNarrow(name);
    if (stand_in::fails("CreateNamedPipeW",
                        openMode != PIPE_ACCESS_OUTBOUND || outBufferSize == 0 ||
                            !stand_in::isPipePath(path) ||
                            pipeMode != (PIPE_TYPE_MESSAGE | PIPE_REJECT_REMOTE_CLIENTS)))
        return INVALID_HANDLE_VALUE;
    stand_in::Descriptor listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const bool listens =
        withAddress(::bind, listener.get(), path) == 0 && ::listen(listener.get(), 0) == 0;
    return stand_in::handleOrInvalid(listens ? ERROR_SUCCESS : stand_in::lastErrorOf(errno),
                                     std::make_shared<Instance>(std::move(listener)));
}

BOOL ConnectNamedPipe(HANDLE pipe, LPVOID overlapped) {
    if (stand_in::fails("ConnectNamedPipe", overlapped != nullptr))
        return FALSE;
    const auto instance = stand_in::find<Instance>(pipe);
    return instance && stand_in::resultOf(instance->awaitClient());
}

BOOL DisconnectNamedPipe(HANDLE pipe) {
    if (stand_in::fails("DisconnectNamedPipe"))
        return FALSE;
    const auto instance = stand_in::find<Instance>(pipe);
    if (instance)
        instance->disconnect();
    return instance != nullptr;
}

BOOL DeleteFileW(LPCWSTR name) {
    const std::string path = stand_in::toNarrow(name);
    std::shared_ptr<stand_in::Object> client;
    return !stand_in::fails("DeleteFileW", !stand_in::isPipePath(path)) &&
           stand_in::resultOf(stand_in::openPipe(path, client));
}
