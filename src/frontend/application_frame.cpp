#include "frontend/application_frame.h"

#include <iostream>

namespace {

const std::string qmlDebuggerArgument = "-qmljsdebugger";

} // namespace

std::string prefixedName(const std::string &base) {
    return "zq" + base;
}

std::string buildBanner(const std::string &name, const std::string &version) {
    return "Larkstone " + name + ", Version " + version + "\n(Built " __DATE__ " " __TIME__ ")\n" +
           "Copyright (c) Larkstone. All rights reserved.";
}

ApplicationFrame::ApplicationFrame(const std::string &applicationName,
                                   const std::string &applicationVersion, std::int32_t argc,
                                   const char *const *argv)
    : name(applicationName), version(applicationVersion),
      cmdLine(buildBanner(name, version), ' ', version, true),
      shortVersionSwitch("c", "shortversion", "Only print application version and quit.", cmdLine,
                         false) {
    sortArguments(argc, argv);
}

// The parser would refuse the debugging argument of the Qt QML engine, and what follows a "--" is
// not meant for it.
void ApplicationFrame::sortArguments(std::int32_t argc, const char *const *argv) {
    bool own = true;
    for (std::int32_t index = 0; index < argc; ++index) {
        const std::string element = argv[index];
        if (element == "--")
            own = false;
        else if (own && element.find(qmlDebuggerArgument) == std::string::npos)
            parserArguments.push_back(element);
        else
            passThroughArguments.push_back(element);
    }
}

ParseOutcome ApplicationFrame::parseCommandLine() {
    if (!parsed) {
        std::vector<std::string> arguments = parserArguments; // parse() consumes its argument
        cmdLine.parse(arguments);
        parsed = true;
    }
    if (shortVersionSwitch.isSet()) {
        std::cout << version << std::flush;
        return ParseVersionPrinted;
    }
    return ParseGoOn;
}
