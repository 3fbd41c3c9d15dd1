// The command interpreter of C:\Windows\system32: runs the command after /C, or, after /K or
// without any, goes on with the lines of its standard input. Of its own commands it knows exit, and
// of its signs the & between two commands.

#include "stand_in/paths.h"
#include "stand_in/variables.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <utility>

namespace {

// What ends a program's name that isn't in quotes.
constexpr std::string_view nameEnds = " \t;,=&^(";

int runProgram(const std::string &text) {
    const bool quoted = text.starts_with('"');
    const std::size_t begin = quoted ? 1 : 0;
    const std::string name =
        text.substr(begin, text.find_first_of(quoted ? "\"" : nameEnds, 1) - begin);
    std::u16string commandLine = stand_in::toWide(text);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information{};
    DWORD exitCode = 1;
    const bool found = PathFileExistsW(stand_in::toWide(name).c_str()) ||
                       PathFileExistsW(stand_in::toWide(name + ".exe").c_str());
    if (!found || !CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                  nullptr, &startup, &information)) {
        std::cerr << '\'' << name
                  << "' is not recognized as an internal or external command,\n"
                     "operable program or batch file."
                  << std::endl;
        return static_cast<int>(exitCode);
    }
    WaitForSingleObject(information.hProcess, INFINITE);
    GetExitCodeProcess(information.hProcess, &exitCode);
    CloseHandle(information.hThread);
    CloseHandle(information.hProcess);
    return static_cast<int>(exitCode);
}

struct Interpreter {
    int exitCode = 0;
    bool ended = false;

    void run(const std::string &line) {
        const std::size_t sign = line.find(" & ");
        runCommand(line.substr(0, sign));
        if (sign != line.npos && !ended)
            run(line.substr(sign + 3));
    }

    void runCommand(std::string line) {
        line.erase(0, std::min(line.find_first_not_of(" \t"), line.size()));
        if (line.substr(0, line.find_first_of(" \t")) == "exit") {
            ended = true;
            if (line.size() > 4)
                exitCode = std::atoi(line.c_str() + 4);
        } else if (!line.empty()) {
            exitCode = runProgram(line);
        }
    }

    void prompt() const {
        std::string text = ended ? "" : stand_in::variable("PROMPT").value_or("$P$G");
        for (const auto &[code, meaning] :
             {std::pair<std::string, std::string>("$P", stand_in::fullPath(".")), {"$G", ">"}})
            if (const std::size_t at = text.find(code); at != text.npos)
                text.replace(at, code.size(), meaning);
        std::cout << text << std::flush;
    }
};

} // namespace

int main() {
    // cmd.exe of Windows takes about as long to begin. A process that has ended before it is in its
    // job counts as a failed start.
    Sleep(50);
    Interpreter interpreter;
    const std::string commandLine = stand_in::variable("ZQHOST_COMMAND_LINE").value_or("");
    // The first slash is the option's: the interpreter's own path is written with backslashes.
    const std::size_t option = commandLine.find('/');
    if (option != commandLine.npos)
        interpreter.run(commandLine.substr(option + 2));
    if (commandLine.substr(std::min(option, commandLine.size()), 2) == "/C")
        return interpreter.exitCode;
    interpreter.prompt();
    // Byte by byte: what follows a line may be meant for the command that it starts.
    std::string line;
    for (char byte; !interpreter.ended && ::read(STDIN_FILENO, &byte, 1) == 1;) {
        if (byte != '\n') {
            line += byte;
            continue;
        }
        interpreter.run(line);
        interpreter.prompt();
        line.clear();
    }
    interpreter.run(line); // the last line may have no end
    return interpreter.exitCode;
}
