#include "support/launcher_run.h"

using namespace testing_support;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

class ToolLaunch : public LaunchTest {};

TEST_F(ToolLaunch, ToolGetsArgumentsEnvironmentAndDirectory) {
    // Entries beyond ASCII, one of them beyond what any code page of the system's holds.
    const std::string path = "A;C:\\Users\\\u0141ukasz\\bin;\U0001F600;B";
    const std::string pieces = " \"x z\"y a\\\\b \\\"c \"d\"\"e\" " + reportTo("tool") + " exit=7";
    LauncherStart launch =
        start({"-t", "zqStage", "-a", " " + pieces + " ", "-o"},
              {{"PATH", path}, {"QTDIR", "stale"}, {"QML2_IMPORT_PATH", "stale"}, {"OTHER", path}});
    launch.workingDirectory = folder.path();
    LauncherRun run(folder, launch);
    EXPECT_EQ(run.wait(), 7u);

    const Report tool = readReport("tool");
    const std::string executable = root + "\\tools\\current\\zqStage\\zqStage.exe";
    const std::string qt = root + "\\frameworks\\5.15.2";
    const Report expected{
        {"arguments",
         "[" + executable + "][x zy][a\\\\b][\"c][d\"e][" + reportTo("tool") + "][exit=7]"},
        {"line", executable + " " + pieces},
        {"directory", folder.path().string()},
        {"pipes", "2"}, // its input, and one for its output and errors
        {"PATH", root + "\\tools\\current\\zqStage;" + qt + "\\bin;" + path + ";" + root +
                     "\\tools\\current\\zqLauncher\\;" + root + "\\tools\\current\\bin"},
        {"QML2_IMPORT_PATH", qt + "\\qml"},
        {"QTDIR", qt},
        {"OTHER", path}};
    EXPECT_THAT(tool, testing::IsSupersetOf(expected));
}

TEST_F(ToolLaunch, NothingIsInheritedAndPathHasNoEmptyEntry) {
    LauncherRun run(folder,
                    start({"-t", "zqStage", "-p", "7.1", "-a", reportTo("tool")}, {{"PATH", ""}}));
    EXPECT_EQ(run.wait(), 0u);
    const Report tool = readReport("tool");
    EXPECT_EQ(tool.at("pipes"), "0");
    const std::string &path = tool.at("PATH"), end = ";" + root + "\\tools\\current\\";
    const std::string begin = root + "\\tools\\7.1\\zqStage;" + root + "\\frameworks\\5.15.2\\bin";
    EXPECT_THAT(path, StartsWith(begin + ";"));
    EXPECT_THAT(path, testing::EndsWith(end + "zqLauncher\\" + end + "bin"));
    EXPECT_EQ(path.find(";;"), std::string::npos);
    EXPECT_TRUE(!has(Feature::EmptyPath) || path == begin + end + "zqLauncher\\" + end + "bin")
        << path;
}

TEST_F(ToolLaunch, FrameworkVersionComesFromOptionThenQtInfoThenCurrent) {
    struct Case {
        std::string option, qtInfo, expected;
    };
    const std::string longLine(1 << 20, 'x'), marked = "\xEF\xBB\xBF"
                                                       "5.15.2";
    for (const Case &each :
         {Case{"", "5.15.2\r\n6.0\r\n", "5.15.2"}, Case{"", "\t5 .15. 2 ", "5.15.2"},
          Case{"", "\n5.15.2\n", "current"}, Case{"", " \t", "current"},
          Case{" 5.15.2 ", "6.0", "5.15.2"}, Case{"", "6.0", ""}, Case{"6.0", "5.15.2", ""},
          Case{"", marked, ""}, Case{"", longLine, ""}, Case{"", "\1\xFF", ""},
          Case{"", std::string("5.15.2\0x", 8), "5.15.2"},
          Case{"", "5.15.2\n" + longLine, "5.15.2"}}) {
        SCOPED_TRACE(each.option + "|" + each.qtInfo.substr(0, 20));
        writeFile(tools / "7.2" / "zqStage" / ".qtinfo", each.qtInfo);
        const std::string report = "tool" + each.expected;
        std::filesystem::remove(folder / report);
        LauncherRun run(folder,
                        start({"-t", "zqStage", "-f", each.option, "-a", reportTo(report)}));
        EXPECT_EQ(run.wait(), each.expected.empty() ? 1u : 0u);
        if (each.expected.empty()) {
            EXPECT_EQ(run.errors(), "ERROR: Framework library path " + root + "\\frameworks\\" +
                                        (each.option.empty() ? each.qtInfo : each.option) +
                                        "\\bin does not exist, bailing.\n");
            continue;
        }
        Report tool = readReport(report);
        EXPECT_EQ(tool["ZQ_FW_VERSION"], each.expected);
        EXPECT_EQ(tool["QT_PLUGIN_PATH"], root + "\\frameworks\\5.15.2\\plugins");
    }
}

TEST_F(ToolLaunch, ShellRunsInTheToolsEnvironment) {
    for (const char *tool : {"zqStage", "zqLauncher"})
        writeFile(tools / "7.1" / tool / ".qtinfo", "none");
    for (const bool isTyped : {false, true}) {
        const std::string report = isTyped ? "typed" : "given";
        const std::string command = windowsPath(probeProgram) + " " + reportTo(report);
        const std::filesystem::path log = folder / (report + "calls");
        LauncherStart launch = start(
            {"-s", "-p", "7.1", "-t", "zqStage", "-b", "X:\\none", "-k", isTyped ? "" : command},
            {{"ZQHOST_CALL_LOG", log.string()}});
        launch.input = (isTyped ? command + "\n" : "") + "exit 5\n";
        LauncherRun run(folder, launch);
        EXPECT_EQ(run.wait(), 5u);
        const Report tool = readReport(report);
        EXPECT_EQ(tool.at("ZQ_TOOL_VERSION"), "7.1");
        EXPECT_EQ(tool.at("ZQ_FW_VERSION"), "current");
        EXPECT_THAT(tool.at("PATH"), StartsWith(root + "\\tools\\7.1\\zqLauncher;"));
        if (has(Feature::PromptKept)) {
            EXPECT_EQ(tool.at("PROMPT"), "(zqshell,ver=7.1,fw=current)$P$G");
            const std::string drive = windowsPath(std::filesystem::current_path()).substr(0, 3);
            EXPECT_THAT(run.output(), HasSubstr("(zqshell,ver=7.1,fw=current)" + drive));
        }
        if (has(Feature::CallsNoted)) {
            EXPECT_THAT(readFile(log), HasSubstr("cmd.exe" + (isTyped ? "" : "  /K " + command) +
                                                 " is created with flags 4, 0 and 0\n"));
        }
    }
}

TEST_F(ToolLaunch, AbruptEndOfTheLauncherEndsTheToolAndNotItsChild) {
    const std::filesystem::path qtInfo = tools / "7.2" / "zqStage" / ".qtinfo";
    writeFile(qtInfo, "current");
    const std::filesystem::path tool = tools / "7.2" / "zqStage" / "zqStage.exe",
                                child = tools / "7.2" / "zqStage" / "child.exe";
    placeProgram(probeProgram, child);
    LauncherRun run(folder, start({"-o", "-t", "zqStage", "-a",
                                   "child=" + (folder / "child").generic_string() +
                                       " sleep=300 print=runs sleep=30000"}));
    EXPECT_TRUE(run.awaitOutput("runs")); // it's in its job by then
    EXPECT_TRUE(isRunning(tool));
    std::filesystem::remove(qtInfo); // fails if the launcher holds what it has read
    std::filesystem::rename(framework, tree / "moved");
    run.kill();
    EXPECT_TRUE(waitUntil([&] { return !isRunning(tool); }));
    EXPECT_TRUE(isRunning(child));
    writeFile(folder / "childend", "");
    EXPECT_TRUE(waitUntil([&] { return !isRunning(child); }));
}

// Only between its resume and its assignment to the job is a tool on its own.
TEST_F(ToolLaunch, AbruptEndAtAnyMomentOfTheLaunchLeavesNothing) {
    SKIP_WITHOUT(Feature::CallsNoted);
    for (const std::string call :
         {"CreateProcessW", "CreateNamedPipeW", "ResumeThread", "WaitForSingleObject"}) {
        LauncherRun run(folder, start({"-t", "zqStage", "-a", "sleep=60000"},
                                      {{"ZQHOST_FAIL", call + ":kill"}}));
        EXPECT_EQ(run.wait(), 128u + 9u);
        EXPECT_TRUE(waitUntil([&] { return !isAnyRunning(); })) << call;
    }
}

} // namespace
