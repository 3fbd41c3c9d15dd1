#include "stand_in/command_line.h"

#include "stand_in/paths.h"
#include "stand_in/windows_calls.h"

#include <sys/stat.h>

#include <algorithm>

namespace {

constexpr std::string_view blanks = " \t";

void skipBlanks(std::string_view &text) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
}

// The program's name may have quotes, but no backslash that escapes one.
std::string takeProgram(std::string_view &text) {
    std::string program;
    bool quoted = false;
    std::size_t at = 0;
    for (; at < text.size() && (quoted || blanks.find(text[at]) == text.npos); ++at)
        if (text[at] == '"')
            quoted = !quoted;
        else
            program += text[at];
    text.remove_prefix(at);
    return program;
}

// Backslashes escape only before a quote; two quotes within quotes mean one.
std::string takeArgument(std::string_view &text) {
    std::string argument;
    bool quoted = false;
    std::size_t at = 0;
    while (at < text.size() && (quoted || blanks.find(text[at]) == text.npos)) {
        const std::size_t after = std::min(text.find_first_not_of('\\', at), text.size());
        const std::size_t backslashes = after - at;
        if (text.substr(after, 1) != "\"") {
            const std::size_t plain = std::max<std::size_t>(backslashes, 1);
            argument += text.substr(at, plain);
            at += plain;
            continue;
        }
        argument.append(backslashes / 2, '\\');
        at = after + 1;
        if (backslashes % 2 == 1) {
            argument += '"';
        } else if (quoted && text.substr(at, 1) == "\"") {
            argument += '"';
            ++at;
        } else {
            quoted = !quoted;
        }
    }
    text.remove_prefix(at);
    return argument;
}

// The path on the host of the file of this name, or of this name and ".exe"; empty if there is
// none.
std::string findFile(std::string_view name) {
    const std::size_t component = name.find_last_of("/\\") + 1;
    const bool hasDot = name.find('.', component) != name.npos;
    for (const std::string &candidate : {std::string(name), std::string(name) + ".exe"}) {
        const std::string path = stand_in::toHost(candidate);
        struct stat status;
        if (::stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode))
            return path;
        if (hasDot)
            break;
    }
    return "";
}

} // namespace

std::vector<std::string> stand_in::splitCommandLine(std::string_view commandLine) {
    std::vector<std::string> arguments{takeProgram(commandLine)};
    skipBlanks(commandLine);
    while (!commandLine.empty()) {
        arguments.push_back(takeArgument(commandLine));
        skipBlanks(commandLine);
    }
    return arguments;
}

std::string stand_in::findProgram(std::string &commandLine) {
    const std::string_view line = commandLine;
    if (line.starts_with('"'))
        return findFile(line.substr(1, line.substr(1).find('"')));
    for (std::size_t cut = 0; cut < line.size();) {
        cut = std::min(line.find_first_of(blanks, cut + 1), line.size());
        const std::string name(line.substr(0, cut));
        const std::string program = findFile(name);
        if (program.empty())
            continue;
        // Found after a space, the name gets quotes, so that it stays one argument.
        if (name.find_first_of(blanks) != name.npos)
            commandLine = '"' + name + '"' + std::string(line.substr(cut));
        return program;
    }
    return "";
}
