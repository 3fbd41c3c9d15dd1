#include "frontend/application_frame.h"
#include "frontend/tool_launch.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

void expect(bool condition) {
    if (!condition)
        std::abort();
}

// Every element goes to the parser, to the side or away. A zero byte separates the elements.
void sort(const std::string &text) {
    std::vector<std::string> elements{"zqLauncher"};
    std::istringstream stream(text);
    for (std::string element; std::getline(stream, element, '\0');)
        elements.push_back(element);
    std::vector<const char *> argv;
    for (const std::string &element : elements)
        argv.push_back(element.c_str());
    ApplicationFrame frame("zqLauncher", "1", static_cast<std::int32_t>(argv.size()), argv.data());
    const auto separators = std::count(elements.begin(), elements.end(), "--");
    expect(frame.parserArguments.size() + frame.passThroughArguments.size() +
               static_cast<std::size_t>(separators) ==
           elements.size());
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
