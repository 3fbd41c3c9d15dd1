#include "stand_in/command_line.h"
#include "stand_in/paths.h"

#include <cstdint>
#include <cstdlib>

namespace {

// The folder that is a drive gains a separator on its way.
std::string withoutEnd(std::string path) {
    while (path.ends_with('/'))
        path.pop_back();
    return path;
}

} // namespace

// Any bytes, as a command line and as a path of the stand-in.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    std::size_t length = 0;
    for (const std::string &argument : stand_in::splitCommandLine(text))
        length += argument.size();
    if (length > size)
        std::abort();
    std::string commandLine = text, program;
    if (stand_in::findProgram(commandLine, program) == 0 && program.empty())
        std::abort();
    const std::u16string wide = stand_in::toWide(text);
    if (stand_in::toWide(stand_in::toUtf8(wide)) != wide)
        std::abort();
    const std::string path = stand_in::toHost(wide.c_str());
    if (!path.empty() && path.front() == '/' &&
        withoutEnd(stand_in::toHost(stand_in::toWide(stand_in::toGuest(path)).c_str())) !=
            withoutEnd(path))
        std::abort();
    return 0;
}
