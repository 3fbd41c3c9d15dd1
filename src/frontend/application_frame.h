#pragma once

#include <tclap/CmdLine.h>

#include <cstdint>
#include <string>
#include <vector>

enum ParseOutcome : std::int32_t { ParseGoOn = 0, ParseVersionPrinted = 3 };

std::string prefixedName(const std::string &base);

// The end of the usage: maker, name, version, build stamp and notice.
std::string buildBanner(const std::string &name, const std::string &version);

// The application's identity and its command line, for one run. Options register with cmdLine and
// must live until their values are read.
class ApplicationFrame {
public:
    // Adds --shortversion and sorts the arguments.
    ApplicationFrame(const std::string &applicationName, const std::string &applicationVersion,
                     std::int32_t argc, const char *const *argv);
    ApplicationFrame(const ApplicationFrame &) = delete;
    ApplicationFrame &operator=(const ApplicationFrame &) = delete;

    // Parses the command line at the first call. With --shortversion, prints the version alone. For
    // --help, --version and a failed parse, the parser itself ends the process.
    ParseOutcome parseCommandLine();

    std::string name;
    std::string version;
    bool parsed = false;
    std::vector<std::string> parserArguments;      // what the parser sees
    std::vector<std::string> passThroughArguments; // what it doesn't see; read by nobody
    TCLAP::CmdLine cmdLine;
    TCLAP::SwitchArg shortVersionSwitch;

private:
    void sortArguments(std::int32_t argc, const char *const *argv);
};
