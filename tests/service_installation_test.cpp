#include "support/launcher_run.h"
#include "support/wine.h"

#include <cstdlib>
#include <regex>

using namespace testing_support;

// The same in each language of Windows: without the column's name, nor spaces at a line's end.
static std::string plain(const std::string &text) {
    return replaced(replaced(text, " +", " "), " STATE :| (?=\n)", "");
}

// Types what docs/install.md has for cmd.exe, with another name for the service, and a root where
// its account may read.
class ServiceInstallation : public testing::Test {
protected:
    void SetUp() override { SKIP_WITHOUT(Feature::Services); }

    void TearDown() override {
        std::system(("sc.exe stop " + service + " >nul").c_str()); // if it is there still
        std::system(("sc.exe delete " + service + " >nul").c_str());
        if (std::filesystem::exists(root))
            removeTree(root);
        if (wine::isHere())
            wine::forgetLatestService();
    }

    std::string page(const std::string &name) const {
        return replaced(replaced(readFile(ownFolder() / name), "C:\\\\ZQClient", root.string()),
                        "zqFeedSinkService|Larkstone Launcher .zqFeedSink.", service);
    }

    // Returns what the last of the commands prints.
    std::string type(const std::string &commands) const {
        const std::regex separator(wine::isHere() ? " && |\n" : "\n");
        std::string printed;
        for (std::sregex_token_iterator at(commands.begin(), commands.end(), separator, -1), end;
             at != end; ++at) {
            if (wine::isHere() && wine::typeLinkCommand(*at))
                continue;
            static int count = 0;
            const std::filesystem::path typed = folder / (std::to_string(++count) + ".cmd");
            writeFile(typed, "@" + at->str() + "\r\n");
            LauncherRun run(folder, {.arguments = {"/c", typed.string()},
                                     .workingDirectory = folder.path(),
                                     .program = std::getenv("ComSpec")});
            EXPECT_EQ(run.wait(), 0u) << *at;
            printed = run.output();
        }
        return plain(printed);
    }

    TemporaryFolder folder;
    std::string service = folder.path().filename().string();
    std::filesystem::path root = std::filesystem::path(std::getenv("ProgramData")) / service;
    std::filesystem::path tool = root / "tools" / "7.2" / "zqFeedSink" / "zqFeedSink.exe";
};

TEST_F(ServiceInstallation, CommandsOfItsPageDoWhatItSays) {
    placeProgram(launcherProgram,
                 folder / "zqLauncher-" LAUNCHER_VERSION "-win64" / "zqLauncher.exe");
    const std::string install = page("install.md"), services = page("service.md");
    const std::string creation = services.substr(services.find("sc.exe create"));
    const std::regex block("```bat\n([^`]*)\n```\n(?:\n```text\n([^`]*)```)?");
    std::string blocks;
    for (std::sregex_iterator at(install.begin(), install.end(), block), end; at != end; ++at) {
        const std::string commands = at->str(1), expected = plain(at->str(2));
        if (commands.starts_with("mklink")) { // the reader has copied tools and framework by then
            placeProgram(probeProgram, root / "tools" / "7.2" / "zqStage" / "zqStage.exe");
            placeProgram(probeProgram, tool);
            writeFile(std::filesystem::path(tool).replace_extension(".todo"), "stay");
            for (const char *part : {"bin", "plugins"})
                std::filesystem::create_directories(root / "frameworks" / "5.15.2" / part);
        }
        if (commands.starts_with("sc.exe start"))
            type(creation.substr(0, creation.find('\n')));
        blocks += expected.empty() ? '-' : '+';
        waitUntil([&] { return !commands.starts_with("sc.exe delete") || !isRunning(tool); });
        std::string printed;
        waitUntil([&] {
            printed = type(commands);
            const bool takesTime = commands.starts_with("sc.exe query"); // as a service does
            return !takesTime || printed.find(expected) != printed.npos;
        });
        EXPECT_THAT(printed, testing::HasSubstr(expected)) << commands;
    }
    EXPECT_EQ(blocks, "---+--++--+-") << "typed, or compared as well";
    EXPECT_FALSE(std::filesystem::exists(root));
}
