#include "support/launch_fixture.h"

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

class Listing : public testing::Test {
protected:
    std::string list(const std::string &word, std::string *errors = nullptr) {
        LauncherRun run(folder, {{"-r", windowsPath(tree.root()), "-t", "zqNone", "-l", word}});
        EXPECT_EQ(run.wait(), 0u);
        if (errors != nullptr)
            *errors = run.errors();
        return run.output();
    }

    void makeFolders(const std::vector<std::string> &paths) {
        for (const std::string &path : paths)
            fs::create_directories(tree.root() / path);
    }

    // The lines of the folders below a path, in the platform's order, which is also the listing's.
    std::string lines(const std::string &path,
                      const std::function<std::string(const std::string &)> &line) {
        std::string text;
        for (const auto &entry : fs::directory_iterator(tree.root() / path)) {
            const std::string name = entry.path().filename().string();
            text += name == "current" ? "" : line(name);
        }
        return text;
    }

    TemporaryFolder folder;
    InstallationTree tree{folder / "tree"};
};

const std::string missing = "Warning: 'current' does not exist. Tool will not run without "
                            "specifying a version. This is not supported!\n";
const std::string notLink = "Error: 'current' is not valid. Tool will not run without fixing the "
                            "'current' direction. This is not supported!\n";
const std::string outside =
    "Warning: the 'current' version is pointing to a package outside of the install directory. "
    "This is strongly discouraged and not supported!\n";

TEST_F(Listing, PrintsToolsAddonsAndFrameworks) {
    makeFolders({"tools/7.1", "tools/7.2", "tools/.cache", "addons/weather/maps/1.0",
                 "addons/weather/maps/1.1", "addons/weather/icons/0.9", "addons/empty",
                 "frameworks/5.15.2"});
    writeFile(tree.root() / "tools" / "readme.txt", "");
    tree.setCurrent("tools", "7.2");
    tree.setCurrent("addons/weather/maps", "1.1");

    const auto version = [](const std::string &name) { return "        * " + name + "\n"; };
    const auto toolsVersion = [](const std::string &name) {
        return name == "readme.txt" || name == ".cache" ? "" : "* " + name + "\n";
    };
    const std::string tools = "Current version: 7.2\n" + lines("tools", toolsVersion);
    const std::string addons = lines("addons", [&](const auto &addon) {
        return addon + ":\n" + lines("addons/" + addon, [&](const auto &package) {
                   return "    " + package + ": " +
                          (package == "maps" ? "Current version: 1.1\n\n" : missing) +
                          lines("addons/" + addon + "/" + package, version);
               });
    });
    const std::string frameworks = missing + "* 5.15.2\n";
    EXPECT_EQ(list("tools"), tools);
    EXPECT_EQ(list("addons"), addons);
    EXPECT_EQ(list("frameworks"), frameworks);
    EXPECT_EQ(list("all"), tools + addons + frameworks);
}

TEST_F(Listing, TellsTheStateOfCurrent) {
    const fs::path frameworks = tree.root() / "frameworks";
    struct Case {
        std::string name;
        std::function<void(const fs::path &)> make; // in a directory of versions
        std::string output, errors;
    };
    const std::vector<Case> cases{
        {"dangling", [](const auto &at) { makeLink(at / "current", "gone"); }, missing, ""},
        {"directory", [](const auto &at) { fs::create_directory(at / "current"); },
         notLink + "* current\n", ""},
        {"file", [](const auto &at) { writeFile(at / "current", ""); }, notLink, ""},
        {"outside", [](const auto &at) { makeLink(at / "current", "../elsewhere/5.15.2"); },
         "Current version: 5.15.2\n", outside},
        {"outside, one beside it",
         [](const auto &at) {
             fs::create_directory(at / "5.15.1");
             makeLink(at / "current", "../elsewhere/5.15.2");
         },
         "Current version: 5.15.2\n* 5.15.1\n", ""},
        {"link to a link",
         [](const auto &at) {
             fs::create_directory(at / "2");
             makeLink(at / "1", "2");
             makeLink(at / "current", "1");
         },
         "Current version: 2\n* 2\n", ""},
        // Wine shows no link to a file as one; a pipe stands for what exists and is no directory.
        {"link to a file",
         [](const auto &at) {
             onWindows ? runShell("mkfifo " + unixPath(at / "x")) : writeFile(at / "x", "");
             makeLink(at / "current", "x");
         },
         "Warning: The target '" + windowsPath(frameworks / "x") +
             "' of 'current' does not exist. This is not supported!\n",
         ""},
        {"hidden version",
         [](const auto &at) {
             fs::create_directory(at / "3");
             hideFolder(at / "3");
             makeLink(at / "current", "3");
         },
         "Current version: 3\n", outside}};
    for (const Case &each : cases) {
        SCOPED_TRACE(each.name);
        makeFolders({"frameworks", "elsewhere/5.15.2"});
        each.make(frameworks);
        std::string errors;
        EXPECT_EQ(list("frameworks", &errors), each.output);
        EXPECT_EQ(errors, each.errors);
        fs::rename(tree.root(), folder / each.name); // Wine can't remove a link that leads nowhere
    }
}

} // namespace
