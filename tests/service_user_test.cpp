#include "support/service_manager.h"

#include <cstdlib>

using namespace testing_support;

// What a service of LocalSystem starts as the user at the console, who runs these tests as well.
class ServiceUser : public LaunchTest {
protected:
    void SetUp() override {
        SKIP_WITHOUT(Feature::Services);
        SKIP_WITHOUT(Feature::Users);
        if (!own.starts_with(consoleSession()))
            GTEST_SKIP() << "the user at the console doesn't run the tests";
    }

    void expectIn(const std::string &session, const std::vector<std::string> &options) const {
        ServiceManager manager(folder, start(options));
        EXPECT_EQ(manager.wait(), 7u);
        const Report report = readReport("report");
        EXPECT_EQ(report.at("session"), session);
        EXPECT_EQ(report.at("LOCALAPPDATA"), std::getenv("LOCALAPPDATA"));
        std::filesystem::remove(folder / "report");
    }

    const std::string own = ownSession();
};

TEST_F(ServiceUser, HasWholeRightsInTheWatcherOnly) {
    const bool hasLesser = own.ends_with(" 2"); // and is elevated
    const std::string orders = reportTo("report") + " exit=7";
    addTool("7.2", "zqStageWatch");
    expectIn(hasLesser ? consoleSession() + " 3" : own,
             {"-u", "1", "-n", "-t", "zqStage", "-a", orders});
    if (!hasLesser)
        GTEST_SKIP() << "this user has no lesser rights";
    expectIn(own, {"-u", "1", "-t", "zqStageWatch", "-a", orders});
}

TEST_F(ServiceUser, RunsTheStartUpTool) {
    const std::filesystem::path launcher = addTool("7.2", "zqLauncher"); // a probe in its place
    writeFile(std::filesystem::path(launcher).replace_extension(".todo"), reportTo("report"));
    const std::string orders = "await=" + (folder / "report").generic_string() + " exit=7";
    expectIn(own, {"-u", "0", "-t", "zqStage", "-a", orders});
}
