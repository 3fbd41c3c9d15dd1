#include "frontend/tool_launch.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

void expect(bool condition) {
    if (!condition)
        std::abort();
}

// A folder of this process that holds the file being read.
const std::string &folder() {
    static const auto &path = *new std::string( // used until the very end of the process
        std::filesystem::temp_directory_path() /
        ("launch_text_fuzz_" + std::to_string(::getpid())));
    static const bool made = std::filesystem::create_directory(path) &&
                             std::atexit([] { std::filesystem::remove_all(path); }) == 0;
    expect(made);
    return path;
}

} // namespace

// Any bytes, as a tool's arguments and as a tool's .qtinfo.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    std::size_t length = 0;
    for (const std::string &argument : splitArguments(text)) {
        expect(!argument.empty() && argument.find(' ') == std::string::npos);
        length += argument.size();
    }
    expect(length == size - static_cast<std::size_t>(std::count(text.begin(), text.end(), ' ')));

    expect(cleanVersionText(text).find_first_of("\r\n\t ") == std::string::npos);
    std::ofstream(folder() + "/.qtinfo", std::ios::binary) << text;
    expect(readQtInfo(folder()) == text.substr(0, text.find_first_of(std::string_view("\n\0", 2))));
    return 0;
}
