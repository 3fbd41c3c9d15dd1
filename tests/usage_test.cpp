#include "support/launcher_run.h"

#include <algorithm>
#include <regex>
#include <sstream>

// Holds the examples of docs/usage.md against the launcher.

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

using Lines = std::vector<std::string>;

const std::string usage = readFile(fs::path(PROJECT_FOLDER) / "docs" / "usage.md");

std::string replaced(const std::string &text, const std::string &pattern, const std::string &by) {
    return std::regex_replace(text, std::regex(pattern), by);
}

Lines linesOf(const std::string &text) {
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// The lines of the fenced blocks that begin so, from the fence on.
std::vector<Lines> blocks(const std::string &beginning) {
    std::vector<Lines> found;
    const std::string fence = "\n```";
    for (std::size_t at = 0; (at = usage.find(fence, at)) != std::string::npos;) {
        const std::size_t end = usage.find(fence, at + 1);
        const std::string block = usage.substr(at + fence.size(), end + 1 - at - fence.size());
        if (block.starts_with(beginning))
            found.push_back(linesOf(block));
        at = end + fence.size();
    }
    return found;
}

// Versions come in the platform's order.
std::string withSortedVersions(Lines lines) {
    const auto isOther = [](const std::string &line) { return !line.starts_with("* "); };
    std::string text;
    for (auto at = lines.begin(); at != lines.end(); ++at) {
        std::sort(at, std::find_if(at, lines.end(), isOther));
        text += *at + "\n";
    }
    return text;
}

// Where ... stands for any lines and <...> for any text.
void expectText(const std::string &text, const Lines &expected) {
    std::string pattern = replaced(withSortedVersions(expected), "[.^$|()\\[\\]{}*+?\\\\]", "\\$&");
    pattern = replaced(pattern, "<\\\\\\.\\\\\\.\\\\\\.>", ".*");
    pattern = replaced(pattern, "\\\\\\.\\\\\\.\\\\\\.\n", "(.*\n)*");
    const std::string found = withSortedVersions(linesOf(text));
    EXPECT_TRUE(std::regex_match(found, std::regex(pattern))) << found << "\nis not\n" << pattern;
}

void layOut(const fs::path &root) {
    const std::vector<Lines> trees = blocks("tree");
    for (const std::string &line : trees.at(0)) {
        std::smatch entry;
        if (!std::regex_match(line, entry, std::regex("(\\S+) +(\\S+) ?(.*)")))
            continue;
        const std::string name = replaced(entry.str(1), "\\\\", "/");
        if (entry[2] == "sample")
            placeProgram(SAMPLE_TOOL, root / name);
        else if (entry[2] == "text")
            writeFile(root / name, entry.str(3) + "\n");
        else if (entry[2] == "directory")
            fs::create_directories(root / name);
        else
            makeLink(root / name, replaced(entry.str(3), "^to ", ""));
    }
}

TEST(Usage, ExamplesDoWhatTheySay) {
    const TemporaryFolder folder;
    const fs::path tree = folder / "a tree"; // a blank in a path is no hindrance
    layOut(tree);
    const std::string root = windowsPath(tree);
    const std::vector<Lines> examples = blocks("\n$ ");
    ASSERT_GE(examples.size(), 15u);
    for (const Lines &example : examples) {
        SCOPED_TRACE(example.at(1));
        LauncherStart start{.environment = {{"ZQ_INSTALL_ROOT", root}}};
        Lines output, errors;
        bool isProgramNamed = false;
        for (std::string line : example) {
            if (line.starts_with("$ ")) {
                // Variables, the program, and its arguments.
                const std::regex word("\"([^\"]*)\"|[^ ]+");
                for (std::sregex_iterator at(line.begin() + 2, line.end(), word), end; at != end;
                     ++at) {
                    const std::string text =
                        replaced((*at)[1].matched ? at->str(1) : at->str(), "%ROOT%", root);
                    const std::size_t middle = text.find('=');
                    if (isProgramNamed)
                        start.arguments.push_back(text);
                    else if (middle != text.npos)
                        start.environment[text.substr(0, middle)] = text.substr(middle + 1);
                    isProgramNamed = isProgramNamed || text == "zqLauncher";
                }
                continue;
            }
            line = replaced(line, "%ROOT%", root);
            if (line.starts_with("2> "))
                errors.push_back(line.substr(3));
            else if (isProgramNamed)
                output.push_back(line);
        }
        const std::string status = replaced(output.back(), "status ", "");
        output.pop_back();
        if (errors.empty() && std::count(output.begin(), output.end(), "...") > 0)
            errors = {"..."}; // of either stream
        LauncherRun run(folder, start);
        const auto exitCode = static_cast<std::uint32_t>(std::stoul(status));
        EXPECT_EQ(run.wait(), onWindows ? exitCode : exitCode & 0xFF);
        expectText(run.output(), output);
        expectText(run.errors(), errors);
    }
}

} // namespace
