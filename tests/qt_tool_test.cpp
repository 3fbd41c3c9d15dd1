#include "support/call_log.h"
#include "support/service_manager.h"

using namespace testing_support;

namespace {

class QtTool : public LaunchTest {};

TEST_F(QtTool, EndsInOrderWithItsService) {
    addTool("7.2", "zqQt", hostPath(QT_TOOL));
    const CallLog calls(folder);
    ServiceManager manager(folder, start({"-t", "zqQt"}, calls.variables()));
    ASSERT_TRUE(manager.launcher()->awaitOutput("working"));
    ASSERT_TRUE(waitUntil([&] { return calls.count("Sleep 1500") > 0; })); // a stop counts from now
    manager.control(SERVICE_CONTROL_STOP);
    EXPECT_EQ(manager.wait(), 0u);
    // A killed tool is reported as 0 too.
    EXPECT_THAT(manager.launcher()->output(), testing::HasSubstr("asked to end, all is saved"));
}

} // namespace
