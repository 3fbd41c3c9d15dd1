#include "support/launcher_run.h"

#include <cstdlib>

using namespace testing_support;

namespace {

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

// With the prefix that the system adds, the longest target that is followed has 511 characters.
TEST_F(ComponentListing, TooLongATargetIsNone) {
    SKIP_WITHOUT(Feature::LongTargets);
    const std::string parent(250, 'x'), listed = "\n* " + parent + "\n";
    std::string version(511 - ("\\\\?\\" + windowsPath(frameworks / parent / "")).size(), 'y');
    const auto listLink = [&] {
        std::filesystem::remove_all(frameworks);
        std::filesystem::create_directories(frameworks / parent / version);
        makeLink(frameworks / "current", frameworks / parent / version);
        return list("frameworks");
    };
    EXPECT_EQ(listLink(), "Current version: " + version + listed);
    version += 'y';
    EXPECT_EQ(listLink(), "Warning: 'current' does not exist. Tool will not run without specifying "
                          "a version. This is not supported!" +
                              listed);
}

} // namespace
