#include "support/launcher_run.h"

#include <cstdlib>

using namespace testing_support;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

TEST_F(LaunchTest, ShortVersionIsTheBareText) {
    LauncherRun run(folder, start({"-c"}));
    EXPECT_EQ(run.wait(), 0u);
    EXPECT_EQ(run.rawOutput(), LAUNCHER_VERSION);
}

TEST_F(LaunchTest, ToolGetsArgumentsEnvironmentAndDirectory) {
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

TEST_F(LaunchTest, NothingIsInheritedAndPathHasNoEmptyEntry) {
    LauncherRun run(folder,
                    start({"-t", "zqStage", "-p", "7.1", "-a", reportTo("tool")}, {{"PATH", ""}}));
    EXPECT_EQ(run.wait(), 0u);
    const Report tool = readReport("tool");
    EXPECT_EQ(tool.at("pipes"), "0");
    // Wine gives a process without a PATH the system's directories.
    const std::string &path = tool.at("PATH"), end = ";" + root + "\\tools\\current\\";
    EXPECT_THAT(path,
                StartsWith(root + "\\tools\\7.1\\zqStage;" + root + "\\frameworks\\5.15.2\\bin;"));
    EXPECT_THAT(path, testing::EndsWith(end + "zqLauncher\\" + end + "bin"));
    EXPECT_EQ(path.find(";;"), std::string::npos);
}

TEST_F(LaunchTest, FrameworkVersionComesFromOptionThenQtInfoThenCurrent) {
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

TEST_F(LaunchTest, RootIsFourLevelsAboveTheExecutableOrTheDefault) {
    LauncherStart launch{.arguments = {"-t", "t"}, .environment = {{"LARKSTONE_PATH_PREFIX", "X"}}};
    const std::pair<std::filesystem::path, std::string> programs[] = {
        {tools / "7.1" / "zqLauncher" / "zqLauncher.exe", root},
        {folder / "zqLauncher.exe", "XC:\\ZQClient"}};
    for (const auto &[program, expected] : programs) {
        placeProgram(launcherProgram, launch.program = program);
        LauncherRun run(folder, launch);
        EXPECT_EQ(run.wait(), 1u);
        EXPECT_EQ(run.output(), "ERROR: directory " + expected +
                                    "\\tools\\current\\t does not exist, bailing.\n");
    }
}

TEST_F(LaunchTest, DaemonIsToldOfDebugLog) {
    placeProgram(probeProgram, framework / "bin" / "dbus-daemon.exe");
    writeFile(framework / "bin" / "dbus-daemon.todo", reportTo("daemon"));
    EXPECT_EQ(LauncherRun(folder, start({"-i", "-d"})).wait(), 0u);
    EXPECT_EQ(readReport("daemon")["ZQ_LOG_ENABLE_STDOUT"], "1");
}

// Each chunk is forwarded up to its first zero byte. The tool goes on when what it has written is
// there, and writes more right before its end.
TEST_F(LaunchTest, ForwardsOutputByteForByteWhileTheToolRuns) {
    std::string lines(65536, '\n'); // of different lengths
    for (std::size_t at = 0; at < lines.size(); ++at)
        if (at % 83 != 82 && at % 301 != 300)
            lines[at] = static_cast<char>('0' + at % 71);
    for (const std::string &bytes : {std::string(), std::string("ab\0cd", 5), lines.substr(0, 4096),
                                     lines.substr(0, 4097), lines}) {
        const std::string file = (folder / std::to_string(bytes.size())).generic_string();
        const std::string forwarded = bytes.substr(0, bytes.find('\0'));
        writeFile(file, bytes);
        std::string orders = "type=" + file;
        orders.append(" await=" + file + "go printerr=last");
        LauncherRun run(folder, start({"-d", "-t", "zqStage", "-a", orders}));
        EXPECT_TRUE(waitUntil([&] { return run.rawOutput() == forwarded; }));
        writeFile(file + "go", "");
        EXPECT_EQ(run.wait(), 0u);
        EXPECT_EQ(run.rawOutput(), forwarded + "last");
        EXPECT_EQ(run.errors(), "");
    }
}

TEST_F(LaunchTest, ForwardedToolHasASilentInput) {
    LauncherRun run(folder,
                    start({"-o", "-t", "zqStage", "-a", "print=runs input print=over sleep=300"}));
    EXPECT_TRUE(run.awaitOutput("runs"));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(run.output(), "runs");
}

TEST_F(LaunchTest, ShellRunsInTheToolsEnvironment) {
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
        if (!onWindows) { // Wine's interpreter sets PROMPT anew
            EXPECT_EQ(tool.at("PROMPT"), "(zqshell,ver=7.1,fw=current)$P$G");
            EXPECT_THAT(run.output(), HasSubstr("(zqshell,ver=7.1,fw=current)Z:\\"));
            EXPECT_THAT(readFile(log), HasSubstr("cmd.exe" + (isTyped ? "" : "  /K " + command) +
                                                 " is created with flags 4, 0 and 0\n"));
        }
    }
}

TEST_F(LaunchTest, AbruptEndOfTheLauncherEndsTheToolAndNotItsChild) {
    const std::filesystem::path qtInfo = tools / "7.2" / "zqStage" / ".qtinfo";
    writeFile(qtInfo, "current");
    LauncherRun run(folder, start({"-o", "-t", "zqStage", "-a",
                                   "child=" + (folder / "child").generic_string() +
                                       " sleep=300 print=runs sleep=30001"}));
    EXPECT_TRUE(run.awaitOutput("runs")); // it's in its job by then
    EXPECT_TRUE(isRunning("sleep=30001"));
    std::filesystem::remove(qtInfo); // fails if the launcher holds what it has read
    std::filesystem::rename(framework, tree / "moved");
    run.kill();
    EXPECT_TRUE(waitUntil([&] { return !isRunning("sleep=30001"); }));
    EXPECT_TRUE(isRunning("childend"));
    writeFile(folder / "childend", "");
    EXPECT_TRUE(waitUntil([&] { return !isRunning("childend"); }));
}

// Only between its resume and its assignment to the job is a tool on its own.
TEST_F(LaunchTest, AbruptEndAtAnyMomentOfTheLaunchLeavesNothing) {
    if (onWindows)
        GTEST_SKIP() << "only the stand-in can end the launcher at a certain call";
    for (const std::string call :
         {"CreateProcessW", "CreateNamedPipeW", "ResumeThread", "WaitForSingleObject"}) {
        LauncherRun run(folder, start({"-t", "zqStage", "-a", "sleep=60000"},
                                      {{"ZQHOST_FAIL", call + ":kill"}}));
        EXPECT_EQ(run.wait(), 128u + 9u);
        EXPECT_TRUE(waitUntil([&] { return !isRunning(); })) << call;
    }
}

TEST_F(LaunchTest, UserSessionStartWaitsForAUserAndGivesThatUsersEnvironment) {
    const std::filesystem::path user = folder / "console_user";
    LauncherStart launch = start({"-u", "1", "-n", "-t", "zqStage", "-a", reportTo("tool")});
    if (!onWindows) // somebody is always at Wine's console
        launch.environment = {{"ZQHOST_CONSOLE_USER", user.string()},
                              {"ZQHOST_CALL_LOG", (folder / "calls").string()},
                              {"USER", "launcher"}};
    LauncherRun run(folder, launch);
    if (!onWindows) {
        EXPECT_TRUE(run.awaitOutput("WTSQueryUserToken01008\nWTSQueryUserToken01008\n"));
        EXPECT_FALSE(std::filesystem::exists(folder / "tool"));
        writeFile(user, "somebody");
    }
    EXPECT_EQ(run.wait(), 0u);
    const Report tool = readReport("tool");
    EXPECT_EQ(tool.at("ZQ_FW_VERSION"), "current");
    EXPECT_THAT(readFile(folder / "calls"), testing::Not(HasSubstr("GetTokenInformation")));
    EXPECT_TRUE(onWindows || tool.at("USER") == "somebody");
}

// A Linux shell makes each tree, and the root is relative with a detour in it. The documentation
// has the plainer states of `current`.
TEST_F(LaunchTest, ListingFollowsCurrentAndListsPlainDirectoriesAlone) {
    const std::string outside =
        "Warning: the 'current' version is pointing to a package outside of the install directory. "
        "This is strongly discouraged and not supported!\n";
    const std::filesystem::path list = tree / "list", hidden = list / "frameworks" / "hidden";
    const std::string path = unixPath(list) + "/frameworks", x(250, 'x');
    const std::string y(511 - std::string("\\\\?\\Z:").size() - path.size() - 252, 'y');
    // The longest target that is followed, and one longer.
    const std::string near = x + "/" + y, far = near + "y";
    struct Case {
        std::string commands, output, errors;
    };
    std::vector<Case> cases{
        {"mkdir -p " + far + "; ln -s " + far + " current", // too long a path
         "Warning: 'current' does not exist. Tool will not run without specifying a version. This "
         "is not supported!\n* " +
             x + "\n",
         ""}};
    if (onWindows) // the stand-in has no attributes to set
        cases.push_back(
            {"mkdir hidden; ln -s hidden current", "Current version: hidden\n", outside});
    else // Wine shows no link to a file as one, and follows none to so long a path
        cases.insert(cases.end(),
                     {{"touch 5; ln -s 5 current",
                       "Warning: The target '" + windowsPath(tree / "list/frameworks/5") +
                           "' of 'current' does not exist. This is not supported!\n",
                       ""},
                      {"mkdir -p " + near + "; ln -s " + near + " current",
                       "Current version: " + y + "\n* " + x + "\n", ""}});
    for (const Case &each : cases) {
        SCOPED_TRACE(each.commands);
        EXPECT_TRUE(runShell("P=" + path + "; rm -rf $P; mkdir -p $P; cd $P; " + each.commands));
        EXPECT_TRUE(!is_directory(hidden) ||
                    std::system(("attrib +h " + hidden.string()).c_str()) == 0);
        LauncherRun run(folder, {.arguments = {"-r", "x\\../list", "-t", "t", "-l", "frameworks"},
                                 .workingDirectory = tree});
        EXPECT_EQ(run.wait(), 0u);
        EXPECT_EQ(run.output(), each.output);
        EXPECT_EQ(run.errors(), each.errors);
    }
}

} // namespace
