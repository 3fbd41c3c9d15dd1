#include "support/launcher_run.h"

#include <cstdlib>

using namespace testing_support;

// Most states of `current` are examples. The root is relative here, with a detour in it.
class ComponentListing : public LaunchTest {
protected:
    // Returns what is printed, the standard error last.
    std::string list(const std::string &what) const {
        LauncherRun run(folder, {.arguments = {"-r", "x\\../list", "-t", "t", "-l", what},
                                 .workingDirectory = tree});
        EXPECT_EQ(run.wait(), 0u);
        return run.output() + run.errors();
    }

    std::filesystem::path frameworks = tree / "list" / "frameworks";
};

TEST_F(ComponentListing, NamesComeAsTheirDirectoryHasThem) {
    const std::filesystem::path listed = frameworks.parent_path();
    for (const char *directory :
         {"tools", "addons/harbour/charts", "addons/harbour/pilots", "addons/harbour/quays",
          "addons/weather/maps", "addons/weather/radar", "addons/reefs/maps", "frameworks"})
        for (const char *version : {"5.9", "6.2", "5.10", "B", "a", "6"})
            std::filesystem::create_directories(listed / directory / version);
    std::string names;
    for (const char *part : {"tools", "addons", "frameworks"})
        for (const auto &entry : std::filesystem::recursive_directory_iterator(listed / part))
            names += entry.path().filename().string() + "\n";
    EXPECT_EQ(replaced(list("all"), ": Warning: .*|Warning: .*\n|[ *:]", ""), names);
}

TEST_F(ComponentListing, LinkToAFileIsNoDirectory) {
    SKIP_WITHOUT(Feature::LinksToFiles);
    writeFile(frameworks / "5", "");
    makeLink(frameworks / "current", "5");
    EXPECT_EQ(list("frameworks"), "Warning: The target '" + windowsPath(frameworks / "5") +
                                      "' of 'current' does not exist. This is not supported!\n");
}

TEST_F(ComponentListing, VersionWithAnAttributeIsNotListed) {
    SKIP_WITHOUT(Feature::Attributes);
    std::filesystem::create_directories(frameworks / "5");
    makeLink(frameworks / "current", "5");
    for (const std::string change : {"+h", "-h +r", "-r +a"}) {
        if (change != "+h")
            SKIP_WITHOUT(Feature::AllAttributes);
        const std::string command = "attrib " + change + " " + (frameworks / "5").string();
        EXPECT_EQ(std::system(command.c_str()), 0);
        EXPECT_THAT(list("frameworks"), testing::StartsWith("Current version: 5\nWarning: the "
                                                            "'current' version is pointing"));
    }
}

// Unlike a junction, it may lead to a share, which then counts as missing.
TEST_F(ComponentListing, DirectoryLinkIsFollowedUnlessToAShare) {
    SKIP_WITHOUT(Feature::DirectoryLinks);
    std::filesystem::create_directories(frameworks / "5");
    const std::string pointer = (frameworks / "current").string();
    const std::string share = "\\\\localhost\\" + replaced((frameworks / "5").string(), ":", "$$");
    std::system(("mklink /D " + pointer + " 5 >nul").c_str());
    EXPECT_EQ(list("frameworks"), "Current version: 5\n* 5\n");
    std::error_code denied;
    if (!std::filesystem::exists(share, denied))
        GTEST_SKIP() << "this account can't reach the drive as a share";
    std::system(("rmdir " + pointer + " & mklink /D " + pointer + " " + share + " >nul").c_str());
    EXPECT_THAT(list("frameworks"), testing::StartsWith("Warning: The target 'UNC\\localhost\\"));
}

// Only up to 507 characters is it read at all.
TEST_F(ComponentListing, TargetOfMoreThan259CharactersIsNone) {
    SKIP_WITHOUT(Feature::LongTargets);
    const std::string parent(255 - windowsPath(frameworks / "").size(), 'x');
    const auto listLink = [&](std::size_t length) {
        std::filesystem::remove_all(frameworks);
        const std::string version(length - windowsPath(frameworks / parent / "").size(), 'y');
        std::filesystem::create_directories(frameworks / parent / version);
        makeLink(frameworks / "current", frameworks / parent / version);
        return list("frameworks");
    };
    EXPECT_EQ(listLink(259), "Current version: yyy\n* " + parent + "\n");
    for (const std::size_t length : {260u, 507u})
        EXPECT_THAT(listLink(length), testing::StartsWith("Warning: The target '" + root));
    EXPECT_THAT(listLink(508), testing::StartsWith("Warning: 'current' does not exist."));
}
