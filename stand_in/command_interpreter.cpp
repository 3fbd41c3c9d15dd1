// The command interpreter of C:\Windows\system32: runs the command behind /C, or, behind /K or
// without any, goes on with the lines of its standard input.

#include "stand_in/paths.h"
#include "stand_in/variables.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>

namespace {

constexpr std::string_view blanks = " \t";

struct Interpreter {
    int exitCode = 0;
    bool ended = false;
};

// The first word and what follows it, without the blanks between.
struct Command {
    std::string name;
    std::string rest;
};

std::string trimmed(std::string text) {
    text.erase(0, std::min(text.find_first_not_of(blanks), text.size()));
    text.erase(text.find_last_not_of(" \t\r") + 1);
    return text;
}

std::string lowerCased(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
    return text;
}

Command splitCommand(const std::string &line) {
    std::size_t end = line.find_first_of(blanks);
    if (line[0] == '"')
        end = line.find('"', 1);
    if (end == line.npos)
        end = line.size();
    const std::size_t start = line[0] == '"' ? 1 : 0;
    return {line.substr(start, end - start),
            trimmed(line.substr(std::min(end + start, line.size())))};
}

bool isFile(const std::string &path) {
    struct stat status;
    return ::stat(stand_in::toHost(stand_in::toWide(path).c_str()).c_str(), &status) == 0 &&
           !S_ISDIR(status.st_mode);
}

// The file as it is, or with ".exe"; empty if there is none.
std::string findIn(const std::string &directory, const std::string &name) {
    for (const char *extension : {"", ".exe"})
        if (isFile(directory + name + extension))
            return directory + name + extension;
    return "";
}

// The entries of PATH: a list as Windows has it, each of which may be a list of the host's.
std::vector<std::string> searchDirectories() {
    std::vector<std::string> directories{".\\"};
    std::istringstream list(stand_in::variable("PATH").value_or(""));
    for (std::string entry; std::getline(list, entry, ';');) {
        const bool isHostList = !entry.empty() && entry[0] == '/';
        std::istringstream parts(entry);
        for (std::string part; std::getline(parts, part, isHostList ? ':' : ';');)
            directories.push_back(part + (isHostList ? '/' : '\\'));
    }
    return directories;
}

std::string findCommand(const std::string &name) {
    if (name.find_first_of("\\/:") != name.npos)
        return findIn("", name);
    for (const std::string &directory : searchDirectories())
        if (std::string found = findIn(directory, name); !found.empty())
            return found;
    return "";
}

int runProgram(const std::string &text) {
    std::u16string commandLine = stand_in::toWide(text);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &information)) {
        std::cerr << text << ": can't be started, error " << GetLastError() << std::endl;
        return 1;
    }
    DWORD exitCode = 1;
    WaitForSingleObject(information.hProcess, INFINITE);
    GetExitCodeProcess(information.hProcess, &exitCode);
    CloseHandle(information.hThread);
    CloseHandle(information.hProcess);
    return static_cast<int>(exitCode);
}

int changeDirectory(const std::string &path) {
    if (path.empty()) {
        std::cout << stand_in::toUtf8(stand_in::toWide(stand_in::fullPath(u"."))) << std::endl;
        return 0;
    }
    if (::chdir(stand_in::toHost(stand_in::toWide(path).c_str()).c_str()) == 0)
        return 0;
    std::cerr << "The system cannot find the path specified." << std::endl;
    return 1;
}

int setVariable(const std::string &assignment) {
    const std::size_t equals = assignment.find('=');
    if (equals != assignment.npos)
        return _putenv_s(assignment.substr(0, equals).c_str(),
                         assignment.substr(equals + 1).c_str());
    bool found = false;
    for (const std::string &entry : stand_in::allVariables()) {
        if (lowerCased(entry).compare(0, assignment.size(), lowerCased(assignment)) != 0)
            continue;
        found = true;
        std::cout << entry << '\n';
    }
    std::cout << std::flush;
    return found ? 0 : 1;
}

int runCommand(const std::string &line) {
    const Command command = splitCommand(line);
    const std::string name = lowerCased(command.name);
    if (name == "cd")
        return changeDirectory(command.rest);
    if (name == "set")
        return setVariable(command.rest);
    if (name == "echo") {
        std::cout << command.rest << std::endl;
        return 0;
    }
    const std::string path = findCommand(command.name);
    if (!path.empty()) // A command that tells its own place is passed on as it was written.
        return runProgram(path == command.name ? line : '"' + path + "\" " + command.rest);
    std::cerr << '\'' << command.name
              << "' is not recognized as an internal or external command,\n"
                 "operable program or batch file."
              << std::endl;
    return 1;
}

void run(Interpreter &interpreter, const std::string &text) {
    const std::string line = trimmed(text);
    if (line.empty())
        return;
    const Command command = splitCommand(line);
    if (lowerCased(command.name) != "exit") {
        interpreter.exitCode = runCommand(line);
        return;
    }
    interpreter.ended = true;
    if (!command.rest.empty())
        interpreter.exitCode = std::atoi(command.rest.c_str());
}

std::string prompt() {
    const std::string format = stand_in::variable("PROMPT").value_or("$P$G");
    std::string text;
    for (std::size_t at = 0; at < format.size(); ++at) {
        if (format[at] != '$' || at + 1 == format.size()) {
            text += format[at];
            continue;
        }
        const int code = std::toupper(static_cast<unsigned char>(format[++at]));
        if (code == 'P')
            text += stand_in::fullPath(u".");
        else if (code == 'G')
            text += '>';
        else if (code == '$')
            text += '$';
    }
    return text;
}

// Byte by byte: what follows the line may be meant for the command that it starts.
bool readLine(std::string &line) {
    line.clear();
    char byte;
    while (::read(STDIN_FILENO, &byte, 1) == 1) {
        if (byte == '\n')
            return true;
        line += byte;
    }
    return !line.empty();
}

// The command without the pair of quotes around it. A lone quoted name keeps its own.
std::string unwrapped(std::string text) {
    if (text.empty() || text[0] != '"' || std::count(text.begin(), text.end(), '"') <= 2)
        return text;
    text.erase(text.rfind('"'), 1);
    return text.substr(1);
}

} // namespace

int main() {
    Interpreter interpreter;
    const std::string commandLine = stand_in::variable("ZQHOST_COMMAND_LINE").value_or("");
    const std::string arguments =
        commandLine.empty() ? "" : splitCommand(trimmed(commandLine)).rest;
    const std::string option = lowerCased(arguments.substr(0, 2));
    if (option == "/c" || option == "/k")
        run(interpreter, unwrapped(trimmed(arguments.substr(2))));
    if (option == "/c")
        return interpreter.exitCode;

    for (std::string line; !interpreter.ended;) {
        std::cout << prompt() << std::flush;
        if (!readLine(line))
            break;
        run(interpreter, line);
    }
    return interpreter.exitCode;
}
