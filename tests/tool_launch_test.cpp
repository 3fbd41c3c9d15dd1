#include "support/launcher_run.h"

using namespace testing_support;
using testing::HasSubstr;

using ToolLaunch = LaunchTest;

TEST_F(ToolLaunch, ToolGetsArgumentsEnvironmentAndDirectory) {
    const std::string executable = root + "\\tools\\current\\zqStage\\zqStage.exe";
    const std::string qt = root + "\\frameworks\\5.15.2", shared = root + "\\tools\\current\\";
    const std::string pieces = " \"x z\"y a\\\\b \\\"c \"d\"\"e\" " + reportTo("tool") + " exit=7";
    // Entries beyond ASCII and any code page; a long one, one that comes again, an empty one.
    const std::string beyond = "A;C:\\Users\\\u0141ukasz\\bin;\U0001F600;" +
                               std::string(9000, 'B') + ";" + shared + "bin;";
    for (const std::string &path : {beyond, std::string()}) {
        if (path.empty() && !has(Feature::EmptyPath))
            continue;
        LauncherStart launch = start(
            {"-t", "zqStage", "-a", " " + pieces + " ", "-o"},
            {{"PATH", path}, {"QTDIR", "stale"}, {"QML2_IMPORT_PATH", "stale"}, {"OTHER", beyond}});
        launch.workingDirectory = folder.path();
        EXPECT_EQ(LauncherRun(folder, launch).wait(), 7u);
        const Report expected{
            {"arguments",
             "[" + executable + "][x zy][a\\\\b][\"c][d\"e][" + reportTo("tool") + "][exit=7]"},
            {"line", executable + " " + pieces},
            {"directory", folder.path().string()},
            {"pipes", "2"}, // its input, and one for its output and errors
            {"PATH", shared + "zqStage;" + qt + "\\bin" + (path.empty() ? ";" : ";" + path + ";") +
                         shared + "zqLauncher\\;" + shared + "bin"},
            {"QML2_IMPORT_PATH", qt + "\\qml"},
            {"QTDIR", qt},
            {"OTHER", beyond}};
        for (const auto &[name, value] : expected)
            EXPECT_EQ(readReport("tool")[name], value) << name;
    }
}

// The framework is none that is there, so that the message shows its version.
TEST_F(ToolLaunch, QtInfosFirstLineNamesTheFramework) {
    std::filesystem::rename(framework, tree / "moved");
    const std::string strange = "\xEF\xBB\xBF\1\xFF", longLine(1 << 20, 'x');
    const std::pair<std::string, std::string> cases[] = {
        {"9\r\n6.0\r\n", "9"},   {"\t9 .1. 2 ", "9.1.2"},      {"\n9\n", "current"},
        {" \t", "current"},      {strange, strange},           {longLine, longLine},
        {"9\n" + longLine, "9"}, {std::string("9\0x", 3), "9"}};
    for (const auto &[qtInfo, version] : cases) {
        writeFile(tools / "7.2" / "zqStage" / ".qtinfo", qtInfo);
        LauncherRun run(folder, start({"-t", "zqStage"}));
        EXPECT_EQ(run.wait(), 1u);
        EXPECT_EQ(run.errors(), "ERROR: Framework library path " + root + "\\frameworks\\" +
                                    version + "\\bin does not exist, bailing.\n");
    }
}

TEST_F(ToolLaunch, VersionsMayBeLinksToAnotherVolume) {
    SKIP_WITHOUT(Feature::DriveD);
    const std::filesystem::path other = "D:\\" + folder.path().filename().string();
    placeProgram(probeProgram, other / "zqStage" / "zqStage.exe");
    std::filesystem::create_directories(other / "plugins");
    std::filesystem::create_directories(other / "bin");
    makeLink(tools / "8", other);
    makeLink(tree / "frameworks" / "8", other);
    const LauncherStart launch = start({"-p", "8", "-f", "8", "-t", "zqStage", "-a", "exit=7"});
    EXPECT_EQ(LauncherRun(folder, launch).wait(), 7u);
    removeTree(other);
}

TEST_F(ToolLaunch, ShellTakesAGivenCommandAndThenTypedOnes) {
    for (const bool isTyped : {false, true}) {
        const std::string report = isTyped ? "typed" : "given";
        const std::string command = root + "\\tools\\7.2\\zqStage\\zqStage.exe " + reportTo(report);
        const CallLog calls(folder, report + "calls");
        LauncherStart launch = start(
            {"-s", "-p", "7.1", "-f", "cur rent", "-k", isTyped ? "" : command, "-a", "exit 9"},
            calls.variables());
        launch.input = (isTyped ? command + "\n" : "") + "exit 5\n";
        LauncherRun run(folder, launch);
        EXPECT_EQ(run.wait(), 5u);
        EXPECT_EQ(readReport(report).at("ZQ_TOOL_VERSION"), "7.1");
        const std::string prompt =
            "(zqshell,ver=7.1,fw=current)" + windowsPath(std::filesystem::current_path()) + ">";
        EXPECT_THAT(run.output(), HasSubstr(has(Feature::PromptKept) ? prompt : ""));
        const std::string given = isTyped ? "" : "  /K " + command;
        const std::string creation = "cmd.exe" + given + " is created with flags 4, 0 and 0\n";
        EXPECT_THAT(calls.text(), HasSubstr(has(Feature::CallsNoted) ? creation : ""));
    }
}

// Nor does the launcher hold what it has read: a file or folder in use can't be removed or renamed.
TEST_F(ToolLaunch, AbruptEndOfTheLauncherEndsTheToolAndNotItsChild) {
    const std::filesystem::path qtInfo = tools / "7.2" / "zqStage" / ".qtinfo";
    writeFile(qtInfo, "current");
    const std::filesystem::path tool = tools / "7.2" / "zqStage" / "zqStage.exe",
                                child = tools / "7.2" / "zqStage" / "child.exe";
    placeProgram(probeProgram, child);
    LauncherRun run(folder, start({"-o", "-t", "zqStage", "-a",
                                   "child=" + (folder / "child").generic_string() +
                                       " sleep=300 print=runs stay"}));
    EXPECT_TRUE(run.awaitOutput("runs")); // it's in its job by then
    EXPECT_TRUE(isRunning(tool));
    std::error_code inUse;
    EXPECT_TRUE(std::filesystem::remove(qtInfo, inUse)) << "still held";
    std::filesystem::rename(framework, tree / "moved");
    run.kill();
    EXPECT_TRUE(waitUntil([&] { return !isRunning(tool); }));
    EXPECT_TRUE(isRunning(child));
    writeFile(folder / "childend", "");
    EXPECT_TRUE(waitUntil([&] { return !isRunning(child); }));
}

TEST_F(ToolLaunch, ExceptionOnAnyThreadEndsLauncherAndToolWithALine) {
    SKIP_WITHOUT(Feature::CallsNoted);
    for (const char *call : {"CreateJobObjectW", "CreateNamedPipeW", "PeekNamedPipe"}) {
        SCOPED_TRACE(call);
        LauncherRun run(folder, start({"-o", "-t", "zqStage", "-a", "stay"},
                                      {{"ZQHOST_FAIL", std::string(call) + ":throw"}}));
        EXPECT_EQ(run.wait(), 1u);
        EXPECT_EQ(run.errors(), "ERROR: std::bad_alloc, bailing.\n");
        EXPECT_TRUE(waitUntil([&] { return !isAnyRunning(); }));
    }
}
