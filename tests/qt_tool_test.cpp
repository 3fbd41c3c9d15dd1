#include "support/service_manager.h"

using namespace testing_support;

namespace {

class QtTool : public LaunchTest {};

TEST_F(QtTool, EndsInOrderWithItsService) {
    addTool("7.2", "zqStage", hostPath(QT_TOOL));
    ServiceManager manager(folder, start({"-t", "zqStage"}));
    ASSERT_TRUE(manager.launcher()->awaitOutput("working"));
    ASSERT_TRUE(manager.awaitReport(running));
    manager.control(SERVICE_CONTROL_STOP);
    EXPECT_EQ(manager.wait(), 0u);
    // A tool that was killed is reported as 0 too.
    EXPECT_THAT(manager.launcher()->output(), testing::HasSubstr("asked to end, all is saved"));
}

} // namespace
