#include "frontend/application_frame.h"

#include <tclap/SwitchArg.h>
#include <tclap/ValueArg.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

// A command line, its elements separated by zero bytes: every element is sorted to the parser, to
// the side or away, and the parser takes or refuses what it gets without harm.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::vector<std::string> elements{"zqLauncher"};
    std::string element;
    for (std::size_t index = 0; index < size; ++index) {
        if (data[index] == 0) {
            elements.push_back(element);
            element.clear();
        } else {
            element.push_back(static_cast<char>(data[index]));
        }
    }
    elements.push_back(element);
    std::vector<const char *> argv;
    std::size_t separators = 0;
    for (const std::string &text : elements) {
        argv.push_back(text.c_str());
        separators += text == "--" ? 1 : 0;
    }

    ApplicationFrame frame("zqLauncher", "1", static_cast<std::int32_t>(argv.size()), argv.data());
    if (frame.parserArguments.size() + frame.passThroughArguments.size() + separators !=
        elements.size())
        std::abort();
    frame.cmdLine.setExceptionHandling(false); // the parser would end the process
    const TCLAP::ValueArg<std::string> text("t", "tool", "", false, "", "text", frame.cmdLine);
    const TCLAP::ValueArg<int> number("u", "user", "", false, -1, "number", frame.cmdLine);
    const TCLAP::SwitchArg debug("d", "debuglog", "", frame.cmdLine);
    const TCLAP::SwitchArg redirect("o", "outputredirect", "", frame.cmdLine);
    try {
        frame.cmdLine.parse(frame.parserArguments);
    } catch (const TCLAP::ArgException &) {
    } catch (const TCLAP::ExitException &) {
    }
    return 0;
}
