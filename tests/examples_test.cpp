#include "support/launcher_run.h"

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

std::string replaced(const std::string &text, const std::string &pattern, const std::string &by) {
    return std::regex_replace(text, std::regex(pattern), by);
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
const std::regex exampleForm("```added" + block + "|```bat" + block + "(?:```text" + block +
                             ")?(?:Standard error:\n```text" + block + ")?Exit status: (.*)\n");
const std::regex otherForm("```(tree|mermaid)" + block);

std::vector<Example> readExamples(const std::string &name) {
    const std::string page = readPage(name);
    std::string tree;
    std::vector<Example> examples;
    for (std::sregex_iterator at(page.begin(), page.end(), exampleForm), end; at != end; ++at) {
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

using Places = std::map<std::string, std::size_t>;

// Returns where each name comes in its directory, as the platform delivers them.
Places layOut(const fs::path &root, const std::string &tree) {
    std::set<fs::path> directories;
    const std::regex form("(\\S.*?)  +(sample|text|directory|link)(?: (?:tool|to))? ?(.*)\n");
    for (std::sregex_iterator at(tree.begin(), tree.end(), form), end; at != end; ++at) {
        const std::string kind = at->str(2);
        fs::path path = root / replaced(at->str(1), "\\\\", "/");
        if (kind == "sample")
            placeProgram(ownFolder() / "sample_tool.exe", path);
        else if (kind == "text")
            writeFile(path, at->str(3) + "\n");
        else if (kind == "directory")
            fs::create_directories(path);
        else
            makeLink(path, at->str(3));
        while (path != root)
            directories.insert(path = path.parent_path());
    }
    Places places;
    for (const fs::path &directory : directories)
        for (const auto &entry : fs::directory_iterator(directory))
            places[entry.path().filename().string()] = places.size() + 1;
    return places;
}

// The lines of a listing are addons, packages or versions; any other line begins a new part.
std::string inPlatformOrder(const std::string &text, const Places &places) {
    const std::regex form("(\\S+):\n|    (\\S+): .*\n|(?:        )?\\* (\\S+)\n|.*\n");
    std::vector<std::size_t> place{0}; // of the part, the addon, the package, the version
    std::multimap<std::vector<std::size_t>, std::string> lines;
    for (std::sregex_iterator at(text.begin(), text.end(), form), end; at != end; ++at) {
        const std::smatch &line = *at;
        if (line[1].matched || line[2].matched || line[3].matched) {
            const std::size_t level = line[1].matched ? 1 : line[2].matched ? 2 : 3;
            place.resize(level);
            place.push_back(places.at(line[level]));
        } else if (line.str() != "\n") {
            place = {place[0] + 1};
        }
        lines.emplace(place, line.str());
    }
    std::string ordered;
    for (const auto &[unused, line] : lines)
        ordered += line;
    return ordered;
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

// Where ... stands for any lines and <...> for any text.
void expectText(std::string text, const std::string &expected) {
    std::string pattern = replaced(expected, R"([.^$|()\[\]{}*+?\\])", R"(\$&)");
    pattern = replaced(pattern, R"(<\\.\\.\\.>)", ".*");
    pattern = replaced(pattern, R"(\\.\\.\\.\n)", "(.*\n)*");
    if (!text.empty() && !text.ends_with('\n'))
        text += '\n';
    EXPECT_TRUE(std::regex_match(text, std::regex(pattern))) << text << "--- isn't\n" << expected;
}

void run(const Example &example) {
    const TemporaryFolder folder;
    const fs::path tree = folder / "ZQClient";
    const Places places = layOut(tree, commonTree() + example.tree);
    const std::string root = windowsPath(tree);

    LauncherStart start = parseCommands(example.commands, root);
    start.workingDirectory = tree;
    LauncherRun run(folder, start);
    EXPECT_EQ(run.wait(), has(Feature::WholeExitCodes) ? example.status : example.status & 0xFF);
    expectText(run.output(), atRoot(inPlatformOrder(example.output, places), root));
    expectText(run.errors(), atRoot(example.errors, root));
}

struct ExampleTest : testing::Test {
    explicit ExampleTest(Example shown) : example(std::move(shown)) {}
    void TestBody() override { run(example); }
    const Example example;
};

struct Page {
    const char *file, *suite;
    std::size_t examples;
} const pages[] = {{"usage.md", "Usage", 16}, {"examples.md", "CornerCase", 62}};

TEST(Pages, HaveOnlyExamplesThatAreRun) {
    for (const Page &page : pages) {
        std::set<std::string> names;
        for (const Example &example : readExamples(page.file))
            names.insert(example.name);
        EXPECT_EQ(names.size(), page.examples) << page.file;
        const std::string others = std::regex_replace(readPage(page.file), exampleForm, "");
        const std::string rest = std::regex_replace(others, otherForm, "");
        EXPECT_EQ(rest.find("```"), rest.npos) << page.file << " has a block of another form";
    }
}

[[maybe_unused]] const bool g_areRegistered = [] {
    for (const Page &page : pages)
        for (const Example &example : readExamples(page.file))
            testing::RegisterTest(page.suite, example.name.c_str(), nullptr, nullptr, __FILE__,
                                  __LINE__, [example] { return new ExampleTest(example); });
    return true;
}();

} // namespace
