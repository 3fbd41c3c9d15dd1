#include "stand_in/standard_streams.h"

#include "stand_in/descriptor.h"
#include "stand_in/faults.h"
#include "stand_in/handles.h"

#include <csignal>

namespace {

class StandardOutput final : public stand_in::Stream {
public:
    DWORD write(const void *bytes, DWORD size, DWORD &count) override {
        return stand_in::writeFully(STDOUT_FILENO, bytes, size, count);
    }
    int descriptor() const override { return STDOUT_FILENO; }
};

} // namespace

bool stand_in::prepareStandardStreams() {
    // A closed one would be taken by the next socket or file, and be written to as the output.
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
        if (::fcntl(stream, F_GETFD) == -1)
            ::open("/dev/null", O_RDWR);
    std::signal(SIGPIPE, SIG_IGN);
    // Ignored, as a parent may leave it, it would take away the exit codes of children.
    std::signal(SIGCHLD, SIG_DFL);
    return true;
}

HANDLE GetStdHandle(DWORD which) {
    if (stand_in::fails("GetStdHandle"))
        return INVALID_HANDLE_VALUE;
    if (which != STD_OUTPUT_HANDLE) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return INVALID_HANDLE_VALUE;
    }
    static const HANDLE output = stand_in::insert(std::make_shared<StandardOutput>(), true);
    return output;
}

BOOL SetConsoleMode(HANDLE console, DWORD) {
    if (stand_in::fails("SetConsoleMode"))
        return FALSE;
    const auto output = stand_in::find<StandardOutput>(console);
    return stand_in::outcome(output && ::isatty(STDOUT_FILENO) ? ERROR_SUCCESS
                                                               : ERROR_INVALID_HANDLE);
}
