#include "frontend/application_frame.h"
#include "frontend/tool_launch.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace {

void expect(bool condition) {
    if (!condition)
        std::abort();
}

// Every element goes to the parser, to the side or away. A zero byte separates the elements.
void sort(const std::string &text) {
    std::vector<const char *> argv{"zqLauncher"};
    for (std::size_t at = 0; at < text.size(); at += std::strlen(argv.back()) + 1)
        argv.push_back(&text[at]);
    ApplicationFrame frame("zqLauncher", "1", static_cast<std::int32_t>(argv.size()), argv.data());
    const auto separators = std::count(argv.begin(), argv.end(), std::string_view("--"));
    expect(frame.parserArguments.size() + frame.passThroughArguments.size() +
               static_cast<std::size_t>(separators) ==
           argv.size());
}

void read(const std::string &text) {
    std::ofstream(".qtinfo", std::ios::binary) << text;
    expect(readQtInfo(".") == text.substr(0, text.find_first_of(std::string_view("\n\0", 2))));
    expect(cleanVersionText(text).find_first_of("\r\n\t ") == std::string::npos);
}

} // namespace

// Any bytes, as a command line, as a tool's arguments and as a tool's .qtinfo.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    sort(text);
    for (const std::string &argument : splitArguments(text))
        expect(!argument.empty() && argument.find(' ') == std::string::npos);
    read(text);
    return 0;
}
