#include "stand_in/named_pipes.h"

#include "stand_in/descriptor.h"
#include "stand_in/faults.h"
#include "stand_in/paths.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstddef>
#include <string>

// An instance is a listening socket with room for one client, and a second socket, the marker,
// that tells "there, but taken" from "not there". Both names are abstract, so nothing stays behind.

namespace {

constexpr std::string_view prefix = "\\\\.\\pipe\\";
// Can't stand in a pipe's name, so no pipe is mistaken for another's marker.
constexpr std::string_view markerSuffix = "?";

std::string lowerCased(LPCWSTR path) {
    std::string text = stand_in::toUtf8(path);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
    return text;
}

std::string socketName(LPCWSTR path) {
    return '\0' + ("zqhost." + std::to_string(::geteuid())) + '.' +
           lowerCased(path).substr(prefix.size());
}

template <class Call> int withAddress(const Call &call, int socket, const std::string &name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (name.size() > sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    name.copy(address.sun_path, name.size());
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    return call(socket, reinterpret_cast<const sockaddr *>(&address), length);
}

stand_in::Descriptor makeSocket(int type) {
    return stand_in::Descriptor(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
}

bool hasMarker(const std::string &name) {
    const stand_in::Descriptor probe = makeSocket(SOCK_DGRAM);
    return withAddress(::connect, probe.get(), name + std::string(markerSuffix)) == 0;
}

bool hasGone(int socket) {
    return (stand_in::awaitEvents(socket, POLLIN, 0) & POLLHUP) != 0;
}

bool isOwnUser(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           peer.uid == ::geteuid();
}

// The server's end. One thread at a time uses it.
class Instance final : public stand_in::Stream {
public:
    explicit Instance(std::string name) : m_name(std::move(name)) {}
    DWORD create();
    DWORD awaitClient();
    DWORD disconnect();
    DWORD write(const void *bytes, DWORD size, DWORD &count) override;

private:
    DWORD listen();

    std::string m_name;
    stand_in::Descriptor m_marker, m_listener, m_client;
};

class Client final : public stand_in::Stream {
public:
    explicit Client(stand_in::Descriptor socket) : m_socket(std::move(socket)) {}
    DWORD read(void *buffer, DWORD size, DWORD &count) override;

private:
    stand_in::Descriptor m_socket;
};

DWORD Instance::create() {
    m_marker = makeSocket(SOCK_DGRAM);
    if (withAddress(::bind, m_marker.get(), m_name + std::string(markerSuffix)) != 0)
        return errno == EADDRINUSE ? ERROR_PIPE_BUSY : stand_in::lastErrorOf(errno);
    return listen();
}

DWORD Instance::listen() {
    m_listener = makeSocket(SOCK_STREAM);
    if (withAddress(::bind, m_listener.get(), m_name) != 0 || ::listen(m_listener.get(), 0) != 0)
        return errno == EADDRINUSE ? ERROR_PIPE_BUSY : stand_in::lastErrorOf(errno);
    return ERROR_SUCCESS;
}

DWORD Instance::awaitClient() {
    bool waited = false;
    while (!m_client) {
        if (const DWORD error = m_listener ? ERROR_SUCCESS : listen())
            return error;
        if (stand_in::awaitEvents(m_listener.get(), POLLIN, 0) == 0) {
            waited = true;
            stand_in::awaitEvents(m_listener.get(), POLLIN, INFINITE);
        }
        // Before the client is taken off, or the next would get its place in the queue.
        ::shutdown(m_listener.get(), SHUT_RD);
        stand_in::Descriptor client(::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        m_listener.reset();
        if (client && isOwnUser(client.get()))
            m_client = std::move(client);
    }
    if (waited)
        return ERROR_SUCCESS;
    return hasGone(m_client.get()) ? ERROR_NO_DATA : ERROR_PIPE_CONNECTED;
}

DWORD Instance::disconnect() {
    if (!m_client)
        return ERROR_PIPE_NOT_CONNECTED;
    // With the greeting read, the client sees an orderly end: see Client::read.
    char greeting;
    ::recv(m_client.get(), &greeting, 1, MSG_DONTWAIT);
    m_client.reset();
    return ERROR_SUCCESS;
}

DWORD Instance::write(const void *bytes, DWORD size, DWORD &count) {
    if (!m_client)
        return ERROR_PIPE_NOT_CONNECTED;
    return stand_in::writeFully(m_client.get(), bytes, size, count);
}

// Each client sends one byte that the server leaves unread until it disconnects. So the host
// reports an error after any other end of the server, which doesn't take away what is unread.
DWORD Client::read(void *buffer, DWORD size, DWORD &count) {
    const short events = stand_in::awaitEvents(m_socket.get(), POLLIN, 0);
    if ((events & POLLHUP) != 0 && (events & POLLERR) == 0)
        return ERROR_PIPE_NOT_CONNECTED;
    ssize_t taken;
    do
        taken = ::recv(m_socket.get(), buffer, size, 0);
    while (taken < 0 && errno == EINTR);
    if (taken <= 0)
        return ERROR_BROKEN_PIPE;
    count = static_cast<DWORD>(taken);
    return ERROR_SUCCESS;
}

DWORD connectClient(LPCWSTR path, stand_in::Descriptor &client) {
    const std::string name = socketName(path);
    // Without waiting for room in the queue.
    client = makeSocket(SOCK_STREAM | SOCK_NONBLOCK);
    if (withAddress(::connect, client.get(), name) == 0)
        return ERROR_SUCCESS;
    if (errno != EAGAIN && errno != ECONNREFUSED)
        return stand_in::lastErrorOf(errno);
    return hasMarker(name) ? ERROR_PIPE_BUSY : ERROR_FILE_NOT_FOUND;
}

} // namespace

bool stand_in::isPipePath(LPCWSTR path) {
    const std::string text = lowerCased(path);
    return text.size() > prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}

DWORD stand_in::openPipe(LPCWSTR path, std::shared_ptr<Object> &client) {
    Descriptor socket;
    if (const DWORD error = connectClient(path, socket))
        return error;
    ::fcntl(socket.get(), F_SETFL, 0);
    ::send(socket.get(), "", 1, MSG_NOSIGNAL);
    client = std::make_shared<Client>(std::move(socket));
    return ERROR_SUCCESS;
}

HANDLE CreateNamedPipeW(LPCWSTR name, DWORD openMode, DWORD pipeMode, DWORD maxInstances, DWORD,
                        DWORD, DWORD, LPSECURITY_ATTRIBUTES) {
    if (stand_in::fails("CreateNamedPipeW"))
        return INVALID_HANDLE_VALUE;
    DWORD error = ERROR_SUCCESS;
    if (openMode != PIPE_ACCESS_OUTBOUND || maxInstances == 0 ||
        pipeMode != (PIPE_TYPE_MESSAGE | PIPE_REJECT_REMOTE_CLIENTS))
        error = ERROR_NOT_SUPPORTED;
    else if (!stand_in::isPipePath(name))
        error = ERROR_INVALID_NAME;
    if (!stand_in::outcome(error))
        return INVALID_HANDLE_VALUE;
    const auto instance = std::make_shared<Instance>(socketName(name));
    return stand_in::outcome(instance->create()) ? stand_in::insert(instance)
                                                 : INVALID_HANDLE_VALUE;
}

BOOL ConnectNamedPipe(HANDLE pipe, LPVOID overlapped) {
    if (stand_in::fails("ConnectNamedPipe"))
        return FALSE;
    if (overlapped)
        return stand_in::outcome(ERROR_NOT_SUPPORTED);
    const auto instance = stand_in::find<Instance>(pipe);
    return instance && stand_in::outcome(instance->awaitClient());
}

BOOL DisconnectNamedPipe(HANDLE pipe) {
    if (stand_in::fails("DisconnectNamedPipe"))
        return FALSE;
    const auto instance = stand_in::find<Instance>(pipe);
    return instance && stand_in::outcome(instance->disconnect());
}

BOOL DeleteFileW(LPCWSTR path) {
    if (stand_in::fails("DeleteFileW"))
        return FALSE;
    stand_in::Descriptor client;
    return stand_in::outcome(stand_in::isPipePath(path) ? connectClient(path, client)
                                                        : ERROR_NOT_SUPPORTED);
}
