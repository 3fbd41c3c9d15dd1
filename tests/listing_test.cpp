#include "support/launcher_run.h"

#include <cstdlib>
#include <sstream>

using namespace testing_support;
namespace fs = std::filesystem;

namespace {

class Listing : public testing::Test {
protected:
    // Below a root that is relative and has a detour in it.
    std::string list(const std::string &word, std::string *errors = nullptr) {
        LauncherRun run(folder, {.arguments = {"-r", "x\\../tree", "-t", "zqNone", "-l", word},
                                 .workingDirectory = folder.path()});
        EXPECT_EQ(run.wait(), 0u);
        if (errors != nullptr)
            *errors = run.errors();
        return run.output();
    }

    TemporaryFolder folder;
    fs::path tree = folder / "tree";
};

const std::string missing = "Warning: 'current' does not exist. Tool will not run without "
                            "specifying a version. This is not supported!\n";
const std::string notLink = "Error: 'current' is not valid. Tool will not run without fixing the "
                            "'current' direction. This is not supported!\n";
const std::string outside =
    "Warning: the 'current' version is pointing to a package outside of the install directory. "
    "This is strongly discouraged and not supported!\n";

// Makes the entries of a text in a directory: <name>/ a directory, <name>= a file, <name>| a pipe,
// <name>! a directory that is not listed, <name>>target a link.
void makeEntries(const fs::path &directory, const std::string &entries) {
    std::istringstream stream(entries);
    for (std::string entry; stream >> entry;) {
        const std::size_t end = entry.find_first_of("/=|!>");
        const fs::path path = directory / entry.substr(0, end);
        if (entry[end] == '/' || entry[end] == '!')
            fs::create_directories(path);
        if (entry[end] == '=')
            writeFile(path, "");
        EXPECT_TRUE(entry[end] != '|' || runShell("mkfifo " + unixPath(path)));
        // Elsewhere its name begins with a dot.
        EXPECT_TRUE(entry[end] != '!' || !onWindows ||
                    std::system(("attrib +h " + path.string()).c_str()) == 0);
        if (entry[end] == '>')
            makeLink(path, entry.substr(end + 1));
    }
}

TEST_F(Listing, PackageWithoutCurrentSaysSoInItsLine) {
    fs::create_directories(tree / "addons" / "a" / "p" / "1");
    EXPECT_EQ(list("addons"), "a:\n    p: " + missing + "        * 1\n");
    EXPECT_EQ(list("all"), missing + list("addons") + missing);
}

TEST_F(Listing, ReportsTheStateOfCurrent) {
    const fs::path versions = tree / "frameworks";
    const std::string version = "Current version: 5.15.2\n";
    struct Case {
        std::string entries, output, errors;
    };
    const std::string hidden = onWindows ? "3" : ".3";
    const std::string far = std::string(250, 'x') + "/" + std::string(250, 'y');
    for (const Case &each :
         {Case{"current>gone", missing, ""}, Case{"current/", notLink + "* current\n", ""},
          Case{"current=", notLink, ""}, Case{"current>../away/5.15.2", version, outside},
          Case{"5.15.1/ current>../away/5.15.2", version + "* 5.15.1\n", ""},
          Case{"5.15.2/ 1>5.15.2 current>1", version + "* 5.15.2\n", ""},
          // Wine shows no link to a file as one; a pipe stands for what is no directory.
          Case{std::string(onWindows ? "x|" : "x=") + " current>x",
               "Warning: The target '" + windowsPath(versions / "x") +
                   "' of 'current' does not exist. This is not supported!\n",
               ""},
          Case{"current>/", "Current version: Z:\n", outside},
          Case{"current>../" + far, missing, ""}, // too long a path
          Case{hidden + "! current>" + hidden, "Current version: " + hidden + "\n", outside}}) {
        SCOPED_TRACE(each.entries);
        fs::create_directories(versions);
        fs::create_directories(tree / "away" / "5.15.2");
        EXPECT_TRUE(runShell("mkdir -p '" + unixPath(tree) + "/" + far + "'"));
        makeEntries(versions, each.entries);
        std::string errors;
        EXPECT_EQ(list("frameworks", &errors), each.output);
        EXPECT_EQ(errors, each.errors);
        EXPECT_TRUE(runShell("rm -rf '" + unixPath(tree) + "'"));
    }
}

} // namespace
