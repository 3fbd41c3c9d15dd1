#include "support/launcher_run.h"

#include <cstdlib>

using namespace testing_support;

namespace {

// Most states of `current` are examples. The root is relative here, with a detour in it.
class ComponentListing : public LaunchTest {
protected:
    std::string listFrameworks() {
        LauncherRun run(folder, {.arguments = {"-r", "x\\../list", "-t", "t", "-l", "frameworks"},
                                 .workingDirectory = tree});
        EXPECT_EQ(run.wait(), 0u);
        errors = run.errors();
        return run.output();
    }

    std::filesystem::path frameworks = tree / "list" / "frameworks";
    std::string errors;
};

TEST_F(ComponentListing, LinkToAFileIsNoDirectory) {
    SKIP_WITHOUT(Feature::LinksToFiles);
    writeFile(frameworks / "5", "");
    makeLink(frameworks / "current", "5");
    EXPECT_EQ(listFrameworks(), "Warning: The target '" + windowsPath(frameworks / "5") +
                                    "' of 'current' does not exist. This is not supported!\n");
    EXPECT_EQ(errors, "");
}

TEST_F(ComponentListing, HiddenVersionIsNotListed) {
    SKIP_WITHOUT(Feature::Attributes);
    std::filesystem::create_directories(frameworks / "hidden");
    makeLink(frameworks / "current", "hidden");
    EXPECT_EQ(std::system(("attrib +h " + (frameworks / "hidden").string()).c_str()), 0);
    EXPECT_EQ(listFrameworks(), "Current version: hidden\n");
    EXPECT_THAT(errors, testing::StartsWith("Warning: the 'current' version is pointing"));
}

// With the prefix that the system adds, the longest target that is followed has 511 characters.
TEST_F(ComponentListing, TooLongATargetIsNone) {
    SKIP_WITHOUT(Feature::LongTargets);
    const std::string parent(250, 'x'), prefix = "\\\\?\\";
    const std::string longest(511 - (prefix + windowsPath(frameworks / parent / "")).size(), 'y');
    for (const bool fits : {true, false}) {
        const std::filesystem::path target = frameworks / parent / (fits ? longest : longest + 'y');
        std::filesystem::remove_all(frameworks);
        std::filesystem::create_directories(target);
        makeLink(frameworks / "current", target);
        EXPECT_EQ(listFrameworks(),
                  (fits ? "Current version: " + longest
                        : "Warning: 'current' does not exist. Tool will not run "
                          "without specifying a version. This is not supported!") +
                      "\n* " + parent + "\n");
        EXPECT_EQ(errors, "");
    }
}

} // namespace
