#include "support/launcher_run.h"
#include "support/wine.h"

#include <cstdlib>
#include <regex>

using namespace testing_support;

// Names of a command's columns are in the language of Windows, and what follows a state differs.
static std::string plain(const std::string &text) {
    return replaced(replaced(text, " +", " "), " STATE :| (?=\n)", "");
}

// Types what docs/install.md has for cmd.exe, in a root below the temporary folder and with a
// service of another name.
class ServiceInstallation : public testing::Test {
protected:
    void SetUp() override { SKIP_WITHOUT(Feature::Services); }

    void TearDown() override { // if it is there still
        std::system(("sc.exe stop " + service + " >nul").c_str());
        std::system(("sc.exe delete " + service + " >nul").c_str());
        if (wine::isHere())
            wine::forgetLatestService();
    }

    std::string page(const std::string &name) const {
        return replaced(replaced(readFile(ownFolder() / name), "C:\\\\ZQClient", root.string()),
                        "zqFeedSinkService|Larkstone Launcher .zqFeedSink.", service);
    }

    // Returns what the last of the commands prints.
    std::string type(const std::string &commands) const {
        const std::regex separator(" && |\n");
        std::string printed;
        for (std::sregex_token_iterator at(commands.begin(), commands.end(), separator, -1), end;
             at != end; ++at) {
            if (wine::isHere() && wine::typeLinkCommand(*at))
                continue;
            writeFile(folder / "typed.cmd", "@" + at->str() + "\r\n");
            LauncherRun run(folder, {.arguments = {"/c", "typed.cmd"},
                                     .workingDirectory = folder.path(),
                                     .program = std::getenv("ComSpec")});
            EXPECT_EQ(run.wait(), 0u) << *at;
            printed = run.output();
        }
        return plain(printed);
    }

    void copyToolsAndFramework() const {
        for (const std::string tool : {"zqStage", "zqFeedSink"})
            placeProgram(probeProgram, root / "tools" / "7.2" / tool / (tool + ".exe"));
        writeFile(root / "tools" / "7.2" / "zqFeedSink" / "zqFeedSink.todo", "stay");
        for (const char *part : {"bin", "plugins"})
            std::filesystem::create_directories(root / "frameworks" / "5.15.2" / part);
    }

    TemporaryFolder folder;
    std::filesystem::path root = folder / "ZQClient";
    std::string service = folder.path().filename().string();
};

TEST_F(ServiceInstallation, CommandsOfItsPageDoWhatItSays) {
    placeProgram(launcherProgram,
                 folder / "zqLauncher-" LAUNCHER_VERSION "-win64" / "zqLauncher.exe");
    const std::string install = page("install.md"), services = page("service.md");
    const std::string creation = services.substr(services.find("sc.exe create"));
    const std::regex block("```bat\n([^`]*)\n```\n(?:\n```text\n([^`]*)```)?");
    for (std::sregex_iterator at(install.begin(), install.end(), block), end; at != end; ++at) {
        const std::string commands = at->str(1), expected = plain(at->str(2));
        if (commands.starts_with("mklink"))
            copyToolsAndFramework();
        if (commands.starts_with("sc.exe start"))
            type(creation.substr(0, creation.find('\n')));
        std::string printed;
        waitUntil([&] {
            printed = type(commands);
            const bool takesTime = commands.starts_with("sc.exe query"); // as a service does
            return !takesTime || printed.find(expected) != printed.npos;
        });
        EXPECT_THAT(printed, testing::HasSubstr(expected)) << commands;
    }
    EXPECT_FALSE(std::filesystem::exists(root));
}
