#include "support/launch_fixture.h"

#include <thread>

using namespace testing_support;
using testing::HasSubstr;

namespace {

class Ipc : public LaunchTest {
protected:
    std::filesystem::path framework = tree.root() / "frameworks" / "5.15.2";
    std::filesystem::path daemon = framework / "bin" / "dbus-daemon.exe";
};

TEST_F(Ipc, DaemonGetsItsConfigurationAndNoToolVariables) {
    placeProgram(probeProgram(), daemon);
    writeFile(framework / "bin" / "dbus-daemon.todo", reportTo("daemon") + " sleep=300 exit=8");
    LauncherStart launch = start({"--ipc", "-f", "9.9", "-u", "5", "-s", "-t", "zqNone", "-d"});
    launch.environment = {{"DBUS_SESSION_BUS_ADDRESS", "as it was"}, {"PATH", "A"}};
    LauncherRun run(folder, launch);
    EXPECT_EQ(run.wait(), 8u);
    const ProbeReport report = readReport("daemon");
    const std::string directory = root + "\\frameworks\\5.15.2";
    EXPECT_EQ(report.commandLine, directory + "\\bin\\dbus-daemon.exe  --config-file=" + directory +
                                      "\\share\\dbus-1\\system.conf");
    EXPECT_EQ(report.environment.at("DBUS_SESSION_BUS_ADDRESS"), "as it was");
    EXPECT_EQ(report.environment.at("ZQ_LOG_ENABLE_STDOUT"), "1");
    for (const char *name : {"ZQ_FW_VERSION", "ZQ_TOOL_VERSION", "QTDIR", "QT_PLUGIN_PATH"})
        EXPECT_EQ(report.environment.count(name), 0u) << name;
    EXPECT_EQ(report.environment.at("PATH").find("frameworks"), std::string::npos);
}

// Debian's D-Bus serves the address that tools get; Wine has none.
TEST_F(Ipc, ToolReachesTheRealDaemon) {
    if (onWindows)
        GTEST_SKIP() << "there is no D-Bus daemon for Windows here";
    // The launcher hands over Windows paths, which this daemon can't read.
    writeFile(daemon, "#!/bin/sh\nconfig=$(printf %s \"${1#--config-file=Z:}\" | tr '\\\\' /)\n"
                      "exec /usr/bin/dbus-daemon --config-file=\"$config\"\n");
    std::filesystem::permissions(daemon, std::filesystem::perms::owner_all);
    placeProgram("/usr/bin/dbus-send", tree.root() / "tools" / "7.2" / "zqQuery" / "zqQuery.exe");
    writeFile(framework / "share" / "dbus-1" / "system.conf",
              "<busconfig><type>session</type>"
              "<listen>tcp:host=localhost,port=8245,family=ipv4</listen>"
              "<auth>ANONYMOUS</auth><allow_anonymous/><policy context='default'>"
              "<allow send_destination='*'/><allow receive_sender='*'/><allow own='*'/>"
              "</policy></busconfig>");
    LauncherRun daemonRun(folder, start({"--ipc"}));
    std::string answer;
    EXPECT_TRUE(waitUntil([&] {
        LauncherRun query(folder, start({"-o", "-t", "zqQuery", "-a",
                                         "--session --print-reply --dest=org.freedesktop.DBus / "
                                         "org.freedesktop.DBus.ListNames"}));
        return query.wait() == 0 &&
               (answer = query.output()).find("org.freedesktop.DBus") != std::string::npos;
    }));
    EXPECT_THAT(answer, HasSubstr("string \"org.freedesktop.DBus\""));

    LauncherRun second(folder, start({"--ipc"})); // the port is taken: the daemon ends with 1
    EXPECT_EQ(second.wait(), 1u);
    EXPECT_EQ(second.output(), "");
    const std::string launcher = std::to_string(daemonRun.pid());
    runShell("kill -KILL $(cat /proc/" + launcher + "/task/" + launcher + "/children)");
    EXPECT_EQ(daemonRun.wait(), 128u + 9u);
}

} // namespace
