#pragma once

#include "stand_in/windows_calls.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <utility>

namespace stand_in {

// Owns one descriptor of the host system, or none.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
    Descriptor(Descriptor &&other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        std::swap(m_descriptor, other.m_descriptor);
        other.reset();
        return *this;
    }
    ~Descriptor() { reset(); }

    int get() const { return m_descriptor; }
    explicit operator bool() const { return m_descriptor >= 0; }
    void reset() {
        if (m_descriptor >= 0)
            ::close(std::exchange(m_descriptor, -1));
    }

private:
    int m_descriptor = -1;
};

// The events that occur within the time, INFINITE for no limit; 0 if none does. Hang-ups and errors
// always count.
inline short awaitEvents(int descriptor, short events, DWORD milliseconds) {
    pollfd polled{descriptor, events, 0};
    ::poll(&polled, 1, static_cast<int>(milliseconds));
    return polled.revents;
}

// Appends the text and a line feed to the file in one write; what can't be written is dropped.
inline void appendLine(const std::string &path, std::string_view text) {
    const Descriptor file(::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666));
    const std::string line = std::string(text) + '\n';
    [[maybe_unused]] const ssize_t written = ::write(file.get(), line.data(), line.size());
}

} // namespace stand_in
