#include "support/launcher_run.h"

#include <numeric>
#include <regex>
#include <set>

// Runs each example of docs/usage.md and tests/examples.md. The second describes their form.

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

struct Example {
    std::string name, tree, commands, output, errors;
    std::uint32_t status;
};

void PrintTo(const Example &example, std::ostream *stream) {
    *stream << example.name;
}

std::string readPage(const std::string &name) {
    return replaced(readFile(ownFolder() / name), "<tab>", "\t");
}

// The commands in characters that a test's name may have.
std::string nameOf(const std::string &commands) {
    const std::string words = replaced(commands, "zqLauncher|C:\\\\ZQClient", "");
    return replaced(replaced(words, "[^A-Za-z0-9]+", "_"), "^_|_$", "");
}

const std::string block = "\n([^`]*)```\n";
const std::string exampleForm = "```added" + block + "|```bat" + block + "(?:```text" + block +
                                ")?(?:Standard error:\n```text" + block + ")?Exit status: (.*)\n";

std::vector<Example> readExamples(const std::string &name) {
    const std::string page = readPage(name);
    const std::regex form(exampleForm);
    std::string tree;
    std::vector<Example> examples;
    for (std::sregex_iterator at(page.begin(), page.end(), form), end; at != end; ++at) {
        const std::smatch &part = *at;
        if (part[1].matched)
            tree = part[1];
        else
            examples.push_back({nameOf(part[2]), tree, part[2], part[3], part[4],
                                static_cast<std::uint32_t>(std::stoll(part[5]))});
    }
    return examples;
}

// What all examples have.
std::string commonTree() {
    const std::string page = readPage("examples.md");
    std::smatch tree;
    std::regex_search(page, tree, std::regex("```tree" + block));
    return tree[1];
}

void layOut(const fs::path &root, const std::string &tree) {
    const std::regex form("(\\S.*?)  +(sample|text|directory|link)(?: (?:tool|to))? ?(.*)\n");
    for (std::sregex_iterator at(tree.begin(), tree.end(), form), end; at != end; ++at) {
        const std::string kind = at->str(2);
        const fs::path path = root / replaced(at->str(1), "\\\\", "/");
        if (kind == "sample")
            placeProgram(ownFolder() / "sample_tool.exe", path);
        else if (kind == "text")
            writeFile(path, at->str(3) + "\n");
        else if (kind == "directory")
            fs::create_directories(path);
        else
            makeLink(path, at->str(3));
    }
}

std::string atRoot(const std::string &text, const std::string &root) {
    return replaced(text, "\\bC:\\\\ZQClient", root);
}

// Variables to set, then the launcher with its arguments, which quotes may keep together.
LauncherStart parseCommands(const std::string &commands, const std::string &root) {
    LauncherStart start{.environment = {{"ZQ_INSTALL_ROOT", root}}};
    const std::regex form("set (\\w+)=(.*)\n|\"([^\"]*)\"|[^ \n]+");
    for (std::sregex_iterator at(commands.begin(), commands.end(), form), end; at != end; ++at)
        if ((*at)[1].matched)
            start.environment[at->str(1)] = atRoot(at->str(2), root);
        else
            start.arguments.push_back(atRoot(at->str((*at)[3].matched ? 3 : 0), root));
    start.arguments.erase(start.arguments.begin());
    return start;
}

// Names in a listing come in the platform's order. An empty line stays below its line.
std::string sortedLines(const std::string &text) {
    const std::regex line(".+\n*");
    const std::multiset<std::string> lines(
        std::sregex_token_iterator(text.begin(), text.end(), line), std::sregex_token_iterator());
    return std::accumulate(lines.begin(), lines.end(), std::string());
}

// Where ... stands for any lines and <...> for any text.
void expectText(std::string text, const std::string &expected) {
    std::string pattern = replaced(expected, R"([.^$|()\[\]{}*+?\\])", R"(\$&)");
    pattern = replaced(pattern, R"(<\\.\\.\\.>)", ".*");
    pattern = replaced(pattern, R"(\\.\\.\\.\n)", "(.*\n)*");
    if (!text.empty() && !text.ends_with('\n'))
        text += '\n';
    EXPECT_TRUE(std::regex_match(text, std::regex(pattern))) << text << "--- isn't\n" << expected;
}

class Examples : public testing::TestWithParam<Example> {};

TEST_P(Examples, PrintAndEndAsShown) {
    const Example &example = GetParam();
    if (example.output.find("ENABLE_PROCESSED_OUTPUT") != std::string::npos)
        SKIP_WITHOUT(Feature::UserTokens);
    const TemporaryFolder folder;
    const fs::path tree = folder / "ZQClient";
    layOut(tree, commonTree() + example.tree);
    const std::string root = windowsPath(tree);

    LauncherStart start = parseCommands(example.commands, root);
    start.workingDirectory = tree;
    LauncherRun run(folder, start);
    EXPECT_EQ(run.wait(), has(Feature::WholeExitCodes) ? example.status : example.status & 0xFF);
    const std::string output = atRoot(example.output, root);
    if (example.commands.find(" -l ") == std::string::npos)
        expectText(run.output(), output);
    else
        expectText(sortedLines(run.output()), sortedLines(output));
    expectText(run.errors(), atRoot(example.errors, root));
    EXPECT_TRUE(example.commands != "zqLauncher -c\n" || run.rawOutput() == LAUNCHER_VERSION);
}

INSTANTIATE_TEST_SUITE_P(Usage, Examples, testing::ValuesIn(readExamples("usage.md")),
                         testing::PrintToStringParamName());
INSTANTIATE_TEST_SUITE_P(CornerCase, Examples, testing::ValuesIn(readExamples("examples.md")),
                         testing::PrintToStringParamName());

TEST(Pages, HaveOnlyExamplesThatAreRun) {
    const std::map<std::string, std::size_t> pages = {{"usage.md", 14}, {"examples.md", 50}};
    for (const auto &[name, count] : pages) {
        EXPECT_EQ(readExamples(name).size(), count) << name;
        const std::string otherForms = "|```(?:tree|mermaid)" + block;
        const std::string rest = replaced(readPage(name), exampleForm + otherForms, "");
        EXPECT_EQ(rest.find("```"), rest.npos) << name << " has a block of another form";
    }
}

} // namespace
