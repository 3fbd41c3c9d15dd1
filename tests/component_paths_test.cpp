#include "install/component_paths.h"

#include "platform/windows_api.h"

#include <gtest/gtest.h>

// A whole run would need the snap's own folder.
TEST(ComponentPaths, SnapLeavesTheFrameworksDirectoryInTheInstallation) {
    ::_putenv_s("ZQ_INSTALL_ROOT", "R");
    ::_putenv_s("ZQ_SNAP", "0");
    const std::string library = "/snap/zqstage/current/usr/lib/x86_64-linux-gnu";
    EXPECT_EQ(frameworkDirectory("6"), "R\\frameworks\\6");
    EXPECT_EQ(frameworkLibraryPath("6"), library);
    EXPECT_EQ(frameworkPluginPath("6"), library + "/qt5\\plugins");
    EXPECT_EQ(frameworkQmlPath("6"), library + "/qt5\\qml");
    EXPECT_EQ(dbusConfigPath().find("R\\frameworks\\"), 0u);
    EXPECT_EQ(sharedToolsBinPath(), "R\\tools\\current\\bin");
    EXPECT_EQ(toolExecutablePath("t", "7"), "/snap/zqstage/current/bin\\t.exe");
    ::_putenv_s("ZQ_SNAP", "");
}
