#include "support/launcher_run.h"

#include <algorithm>
#include <regex>
#include <sstream>

// Holds the examples of docs/usage.md against the launcher.

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

using Lines = std::vector<std::string>;

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

// The lines of the page's fenced blocks that begin so, from the fence on.
std::vector<Lines> blocks(const std::string &beginning) {
    const std::string page = readFile(fs::path(PROJECT_FOLDER) / "docs" / "usage.md");
    std::vector<Lines> found;
    const std::string fence = "\n```";
    for (std::size_t at = 0; (at = page.find(fence, at)) != std::string::npos;) {
        const std::size_t end = page.find(fence, at + 1);
        const std::string block = page.substr(at + fence.size(), end + 1 - at - fence.size());
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
    const Lines tree = blocks("tree").at(0);
    for (const std::string &line : tree) {
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

// Variables, the program and its arguments, which quotes may keep together.
LauncherStart parseCommand(const std::string &line, const std::string &root) {
    LauncherStart start{.environment = {{"ZQ_INSTALL_ROOT", root}}};
    const std::regex word("\"([^\"]*)\"|[^ ]+");
    bool isProgramNamed = false;
    for (std::sregex_iterator at(line.begin(), line.end(), word), end; at != end; ++at) {
        const std::string text =
            replaced((*at)[1].matched ? at->str(1) : at->str(), "%ROOT%", root);
        if (isProgramNamed)
            start.arguments.push_back(text);
        else if (const std::size_t middle = text.find('='); middle != text.npos)
            start.environment[text.substr(0, middle)] = text.substr(middle + 1);
        isProgramNamed = isProgramNamed || text == "zqLauncher";
    }
    return start;
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
        Lines output, errors;
        for (auto line = example.begin() + 2; line != example.end(); ++line) {
            const std::string text = replaced(*line, "%ROOT%", root);
            if (text.starts_with("2> "))
                errors.push_back(text.substr(3));
            else
                output.push_back(text);
        }
        const auto status =
            static_cast<std::uint32_t>(std::stoul(replaced(output.back(), "status ", "")));
        output.pop_back();
        if (errors.empty() && std::count(output.begin(), output.end(), "...") > 0)
            errors = {"..."}; // of either stream
        LauncherRun run(folder, parseCommand(example.at(1).substr(2), root));
        EXPECT_EQ(run.wait(), onWindows ? status : status & 0xFF);
        expectText(run.output(), output);
        expectText(run.errors(), errors);
    }
}

} // namespace
