#include "support/launcher_run.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <regex>
#include <set>
#include <sstream>

// Holds docs/usage.md against the launcher: its examples and its table of lines.

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

using Lines = std::vector<std::string>;

const std::string usage = readFile(fs::path(PROJECT_FOLDER) / "docs" / "usage.md");

Lines linesOf(const std::string &text) {
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// The contents of the fenced blocks that begin so.
std::vector<Lines> blocks(const std::string &beginning) {
    std::vector<Lines> found;
    const std::string fence = "\n```";
    for (std::size_t at = 0; (at = usage.find(fence, at)) != std::string::npos;) {
        const std::size_t end = usage.find(fence, at + 1);
        const std::string block = usage.substr(at + fence.size(), end + 1 - at - fence.size());
        if (block.starts_with(beginning)) {
            found.push_back(linesOf(block.substr(block.find('\n') + 1)));
            found.back().insert(found.back().begin(), block.substr(0, block.find('\n')));
        }
        at = end + fence.size();
    }
    return found;
}

std::string withPlaceholders(const std::string &text) {
    return std::regex_replace(text, std::regex("<[^<>]*>"), "<>");
}

// Whether the line reads as the pattern, in which <> stands for any text.
bool lineMatches(const std::string &pattern, const std::string &line) {
    const std::size_t gap = pattern.find("<>");
    if (gap == std::string::npos || line.compare(0, gap, pattern, 0, gap) != 0)
        return pattern == line;
    for (std::size_t at = gap; at <= line.size(); ++at)
        if (lineMatches(pattern.substr(gap + 2), line.substr(at)))
            return true;
    return false;
}

using Position = Lines::const_iterator;

// The same for lines, where ... stands for any lines.
bool linesMatch(Position pattern, Position patternEnd, Position line, Position lineEnd) {
    if (pattern == patternEnd)
        return line == lineEnd;
    if (*pattern == "...") {
        return linesMatch(pattern + 1, patternEnd, line, lineEnd) ||
               (line != lineEnd && linesMatch(pattern, patternEnd, line + 1, lineEnd));
    }
    return line != lineEnd && lineMatches(*pattern, *line) &&
           linesMatch(pattern + 1, patternEnd, line + 1, lineEnd);
}

void expectLines(Lines pattern, Lines lines, bool anyOrder) {
    if (anyOrder) {
        std::sort(pattern.begin(), pattern.end());
        std::sort(lines.begin(), lines.end());
    }
    EXPECT_TRUE(linesMatch(pattern.begin(), pattern.end(), lines.begin(), lines.end()))
        << testing::PrintToString(lines) << "\nis not\n"
        << testing::PrintToString(pattern);
}

struct Example {
    std::vector<std::string> arguments;
    Lines output, errors;
    std::uint32_t status = 0;
    bool isOpen = false; // holds a ... for either stream
};

Example exampleOf(const Lines &block, const std::string &root) {
    Example example;
    const auto inTree = [&root](const std::string &text) {
        return std::regex_replace(text, std::regex("%ROOT%"), root);
    };
    const std::regex word("\"([^\"]*)\"|[^ ]+");
    const std::string &command = block.front();
    for (std::sregex_iterator at(command.begin() + 2, command.end(), word), end; at != end; ++at)
        example.arguments.push_back(inTree((*at)[1].matched ? at->str(1) : at->str()));
    example.arguments.erase(example.arguments.begin()); // the program
    for (auto line = block.begin() + 1; line + 1 != block.end(); ++line) {
        const bool isError = line->starts_with("2> ");
        (isError ? example.errors : example.output)
            .push_back(inTree(withPlaceholders(line->substr(isError ? 3 : 0))));
        example.isOpen = example.isOpen || *line == "...";
    }
    example.status = visibleExitCode(
        static_cast<std::uint32_t>(std::stoul(block.back().substr(std::string("status ").size()))));
    return example;
}

void layOut(const fs::path &root) {
    const std::vector<Lines> trees = blocks("tree");
    for (const std::string &line : trees.at(0)) {
        std::smatch entry;
        if (!std::regex_match(line, entry, std::regex("(\\S+) +(\\S+) ?(.*)")))
            continue;
        std::string name = entry.str(1);
        std::replace(name.begin(), name.end(), '\\', '/');
        if (entry[2] == "sample")
            placeProgram(SAMPLE_TOOL, root / name);
        else if (entry[2] == "text")
            writeFile(root / name, entry.str(3) + "\n");
        else if (entry[2] == "directory")
            fs::create_directories(root / name);
        else
            makeLink(root / name, std::regex_replace(entry.str(3), std::regex("^to "), ""));
    }
}

TEST(Usage, ExamplesDoWhatTheySay) {
    const TemporaryFolder folder;
    layOut(folder / "tree");
    const std::string root = windowsPath(folder / "tree");
    const std::vector<Lines> found = blocks("\n$ zqLauncher");
    ASSERT_GE(found.size(), 15u);
    for (Lines block : found) {
        block.erase(block.begin());
        SCOPED_TRACE(block.front());
        const Example example = exampleOf(block, root);
        LauncherStart start;
        start.arguments = example.arguments;
        start.environment = {{"ZQ_INSTALL_ROOT", root}};
        LauncherRun run(folder, start);
        EXPECT_EQ(run.wait(), example.status);
        expectLines(example.output, linesOf(run.output()), block.front().ends_with("-l all"));
        if (!example.isOpen || !example.errors.empty())
            expectLines(example.errors, linesOf(run.errors()), false);
    }
}

// What a statement writes to its stream, with <> for all that is no literal.
std::string lineOf(const std::string &statement) {
    const std::regex operand("<<\\s*((\"([^\"\\\\]|\\\\.)*\"\\s*)+|[^<;\"]+)");
    std::string line;
    for (std::sregex_iterator at(statement.begin(), statement.end(), operand), end; at != end;
         ++at) {
        const std::string text = at->str(1);
        if (text[0] == '"') {
            const std::regex literal("\"([^\"]*)\"");
            for (std::sregex_iterator part(text.begin(), text.end(), literal); part != end; ++part)
                line += part->str(1);
        } else if (!text.starts_with("std::endl") && !text.starts_with("std::flush")) {
            line += "<>";
        }
    }
    return line;
}

TEST(Usage, TableHoldsEveryLineOfTheSources) {
    std::set<std::string> documented, printed;
    const std::regex row("\\| `([^`]*)` \\| (standard output|standard error|debug channel) \\|");
    for (std::sregex_iterator at(usage.begin(), usage.end(), row), end; at != end; ++at) {
        const std::string line = withPlaceholders(at->str(1));
        const std::size_t service = line.find("(Service Mode): ");
        // A service's message is told by its last piece: its name and routine stand before it.
        documented.insert(
            at->str(2) + ": " +
            (service == std::string::npos ? line : line.substr(line.rfind(": ") + 2)));
    }
    const std::regex statement("std::(cout|cerr|wcout)\\s*<<[^;]*;");
    const std::regex debug("(?:OutputDebugStringW\\(widen\\(|debugMessage\\([^,]*, )\"([^\"]*)\"");
    for (const char *subsystem : {"frontend", "install", "environment", "process", "service"}) {
        for (const auto &entry :
             fs::directory_iterator(fs::path(PROJECT_FOLDER) / "src" / subsystem)) {
            const std::string source = readFile(entry.path());
            for (std::sregex_iterator at(source.begin(), source.end(), statement), end; at != end;
                 ++at) {
                const std::string line = lineOf(at->str());
                if (line.find_first_not_of("<>") != std::string::npos) {
                    printed.insert(
                        (at->str(1) == "cerr" ? "standard error: " : "standard output: ") + line);
                }
            }
            for (std::sregex_iterator at(source.begin(), source.end(), debug), end; at != end; ++at)
                printed.insert("debug channel: " + at->str(1));
        }
    }
    EXPECT_GE(printed.size(), 25u);
    EXPECT_EQ(printed, documented);
}

} // namespace
