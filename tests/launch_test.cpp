#include "support/launch_fixture.h"

using namespace testing_support;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::string replaced(std::string text, const std::string &word, const std::string &by) {
    for (std::size_t at = 0; (at = text.find(word, at)) != std::string::npos; at += by.size())
        text.replace(at, word.size(), by);
    return text;
}

TEST_F(LaunchTest, ToolGetsArgumentsEnvironmentAndDirectory) {
    LauncherStart launch =
        start({"-t", "zqStage", "-a", "a  b " + reportTo("tool") + " sleep=300 exit=7", "-o"});
    // Entries beyond ASCII, one of them beyond what any code page of the system's holds.
    const std::string path = "A;C:\\Users\\\u0141ukasz\\bin;\U0001F600;B";
    launch.environment = {{"PATH", path}, {"QTDIR", "stale"}, {"OTHER", path}};
    launch.workingDirectory = folder.path();
    LauncherRun run(folder, launch);
    EXPECT_EQ(run.wait(), 7u);

    const ProbeReport tool = readReport("tool");
    const std::string executable = root + "\\tools\\current\\zqStage\\zqStage.exe";
    EXPECT_THAT(tool.arguments,
                ElementsAre(executable, "a", "b", reportTo("tool"), "sleep=300", "exit=7"));
    EXPECT_EQ(tool.commandLine, executable + "  a b " + reportTo("tool") + " sleep=300 exit=7");
    EXPECT_EQ(hostPath(tool.workingDirectory), hostPath(folder.path()));
    const std::string framework = root + "\\frameworks\\5.15.2";
    const std::map<std::string, std::string> expected{
        {"ZQ_INSTALL_ROOT", root},
        {"ZQ_TOOL_VERSION", "current"},
        {"ZQ_FW_VERSION", "current"},
        {"DBUS_SESSION_BUS_ADDRESS", "tcp:host=localhost,port=8245,family=ipv4"},
        {"PATH", root + "\\tools\\current\\zqStage;" + framework + "\\bin;" + path + ";" + root +
                     "\\tools\\current\\zqLauncher\\;" + root + "\\tools\\current\\bin"},
        {"QML2_IMPORT_PATH", framework + "\\qml"},
        {"QT_PLUGIN_PATH", framework + "\\plugins"},
        {"QTDIR", framework},
        {"OTHER", path}};
    EXPECT_THAT(tool.environment, testing::IsSupersetOf(expected));
    EXPECT_EQ(tool.environment.count("ZQ_LOG_ENABLE_STDOUT"), 0u);
}

TEST_F(LaunchTest, PathWithoutAnOldValueHasNoEmptyEntry) {
    LauncherStart launch =
        start({"-t", "zqStage", "-p", "7.1", "-a", reportTo("tool") + " sleep=300"});
    launch.environment = {{"PATH", ""}};
    EXPECT_EQ(LauncherRun(folder, launch).wait(), 0u);
    const std::string path = readReport("tool").environment.at("PATH");
    // Wine gives a process without a PATH the system's directories.
    EXPECT_THAT(path,
                StartsWith(root + "\\tools\\7.1\\zqStage;" + root + "\\frameworks\\5.15.2\\bin;"));
    EXPECT_EQ(path.find(";;"), std::string::npos);
}

TEST_F(LaunchTest, ExitCodeKeepsItsBits) {
    for (const std::uint32_t code : {1u, 255u, 0xC0000005u, 0xFFFFFFFFu}) {
        LauncherRun run(folder,
                        start({"-t", "zqStage", "-a", "sleep=300 exit=" + std::to_string(code)}));
        EXPECT_EQ(run.wait(), visibleExitCode(code));
    }
}

TEST_F(LaunchTest, FrameworkVersionComesFromOptionThenQtInfoThenCurrent) {
    struct Case {
        std::string option, qtInfo, expected;
    };
    const std::string longLine(1 << 20, 'x');
    for (const Case &each :
         {Case{"", "5.15.2\r\n6.0\r\n", "5.15.2"}, Case{"", "\t5 .15. 2 ", "5.15.2"},
          Case{"", "\n5.15.2\n", "current"}, Case{"", " \t", "current"},
          Case{" 5.15.2 ", "6.0", "5.15.2"}, Case{"", "6.0", ""}, Case{"6.0", "5.15.2", ""},
          Case{"",
               "\xEF\xBB\xBF"
               "5.15.2",
               ""},
          Case{"", longLine, ""}, Case{"", "\1\xFF", ""},
          Case{"", std::string("5.15.2\0x", 8), "5.15.2"}}) {
        SCOPED_TRACE(each.option + "|" + each.qtInfo.substr(0, 20));
        tree.writeQtInfo("7.2", "zqStage", each.qtInfo);
        LauncherRun run(folder, start({"-t", "zqStage", "-f", each.option, "-a",
                                       reportTo("tool" + each.expected) + " sleep=300"}));
        EXPECT_EQ(run.wait(), each.expected.empty() ? 1u : 0u);
        if (each.expected.empty()) {
            EXPECT_THAT(run.errors(), StartsWith("ERROR: Framework library path " + root));
        } else {
            const ProbeReport tool = readReport("tool" + each.expected);
            EXPECT_EQ(tool.environment.at("ZQ_FW_VERSION"), each.expected);
            EXPECT_EQ(tool.environment.at("QTDIR"), root + "\\frameworks\\5.15.2");
        }
    }
}

TEST_F(LaunchTest, FailureIsOneLineOnItsStreamAndStatusOne) {
    namespace fs = std::filesystem;
    const fs::path tools = tree.root() / "tools" / "7.2";
    fs::create_directories(tools / "zqNoFile");
    writeFile(tools / "zqText" / "zqText.exe", "no program\n");
    writeFile(tools / "zqEmpty" / "zqEmpty.exe", "");
    fs::create_directories(tools / "zqFolder" / "zqFolder.exe");
    fs::create_directories(tree.root() / "frameworks" / "5.0" / "bin");
    struct Case {
        std::vector<std::string> options;
        std::string output, errors; // whole, or the beginning if it ends in "..."
    };
    const std::string noTool =
        "ERROR: No toolname specified (and shell mode is disabled), bailing.\n";
    const std::vector<Case> cases{
        {{}, noTool, ""},
        {{"-l", "tool"}, noTool, ""},
        {{"-b", "X:\\y"}, noTool, ""},
        {{"--", "-t", "zqStage"}, noTool, ""},
        {{"-t", "zqStage", "-p", ""},
         "ERROR: directory %ROOT%\\tools\\\\zqStage does not exist, bailing.\n",
         ""},
        {{"-t", "zqNoFile"},
         "",
         "ERROR: File %ROOT%\\tools\\current\\zqNoFile\\zqNoFile.exe does not exist, bailing.\n"},
        {{"-t", "zqStage", "-f", "5.0"},
         "",
         "ERROR: Framework plugin path %ROOT%\\frameworks\\5.0\\plugins does not exist, "
         "bailing.\n"},
        {{"-t", "zqText"}, "CreateProcessAsUser Error 193\nERROR MESSAGE: ...", ""},
        {{"-t", "zqEmpty"}, "CreateProcessAsUser Error 193\n...", ""},
        {{"-t", "zqFolder"}, "CreateProcessAsUser Error ...", ""},
        {{"-u", "abc"}, "", "PARSE ERROR: Argument: -u (--user)\n..."},
        {{"word"}, "", "PARSE ERROR: Argument: word\n..."},
        {{"-t", "a", "-t", "b"}, "", "PARSE ERROR: Argument: -t (--tool)\n..."},
        {{"-c", "-t"}, "", "PARSE ERROR: Argument: -t (--tool)\n..."}};
    const auto expectText = [&](const std::string &text, std::string expected) {
        expected = replaced(expected, "%ROOT%", root);
        const bool isWhole = !expected.ends_with("...");
        EXPECT_EQ(text.substr(0, isWhole ? text.npos : expected.size() - 3),
                  expected.substr(0, expected.size() - (isWhole ? 0 : 3)));
    };
    for (const Case &each : cases) {
        LauncherRun run(folder, start(each.options));
        EXPECT_EQ(run.wait(), 1u);
        expectText(run.output(), each.output);
        expectText(run.errors(), each.errors);
    }
    // The wide line keeps its place among the narrow ones.
    LauncherRun run(folder, start({"-t", "zqText", "-a", "x \u00E4y"}));
    run.wait();
    EXPECT_THAT(run.output(), testing::EndsWith("\ncommand: " + root +
                                                "\\tools\\current\\zqText\\zqText.exe  x ??y\n"));
}

TEST_F(LaunchTest, RootComesFromOptionVariableExecutableOrDefault) {
    const std::filesystem::path launcher = tree.addLauncher("7.1");
    const std::string message = "ERROR: directory %\\tools\\current\\t does not exist, bailing.\n";
    struct Case {
        std::vector<std::string> options;
        std::map<std::string, std::string> environment;
        std::string root;
    };
    for (const Case &each :
         {Case{{"-r", "D:\\x"}, {{"ZQ_INSTALL_ROOT", "E:\\y"}}, "D:\\x"},
          Case{{"-r", "D:\\x\\"}, {}, "D:\\x\\"}, Case{{}, {{"ZQ_INSTALL_ROOT", "E:\\y"}}, "E:\\y"},
          Case{{}, {}, root}, Case{{"-r", ""}, {}, "C:\\ZQClient"},
          Case{{"-r", ""}, {{"LARKSTONE_PATH_PREFIX", "X"}}, "XC:\\ZQClient"}}) {
        LauncherStart launch;
        launch.program = launcher;
        launch.arguments = each.options;
        launch.arguments.insert(launch.arguments.end(), {"-t", "t"});
        launch.environment = each.environment;
        LauncherRun run(folder, launch);
        EXPECT_EQ(run.wait(), 1u);
        EXPECT_EQ(run.output(), replaced(message, "%", each.root));
    }
    LauncherStart snap = start({"-t", "t"});
    snap.environment = {{"ZQ_SNAP", "0"}};
    LauncherRun run(folder, snap);
    run.wait();
    EXPECT_EQ(run.output(),
              "ERROR: directory /snap/zqstage/current/bin does not exist, bailing.\n");
}

TEST_F(LaunchTest, ToolPathTakesThePlaceOfTheInstallation) {
    const std::filesystem::path place = folder / "a place";
    placeProgram(probeProgram(), place / "t.exe");
    writeFile(place / ".qtinfo", "5.15.2");
    LauncherRun run(folder, start({"-b", windowsPath(place), "-t", "t", "-a",
                                   reportTo("tool") + " sleep=300 exit=3", "-qmljsdebugger=x"}));
    EXPECT_EQ(run.wait(), 3u);
    const ProbeReport tool = readReport("tool");
    EXPECT_THAT(tool.environment.at("PATH"), StartsWith(windowsPath(place) + ";" + root));
    EXPECT_EQ(tool.environment.at("ZQ_FW_VERSION"), "5.15.2");
}

TEST_F(LaunchTest, ForwardsOutputByteForByteWhileTheToolRuns) {
    struct Case {
        std::string orders, written;
    };
    std::vector<Case> cases{{"", ""}, {"print=a sleep=1000 print=b sleep=1000 print=c", "abc"}};
    for (const std::size_t size : {4096u, 4097u, 65536u})
        cases.push_back({"bytes=" + std::to_string(size), probeBytes(size)});
    for (const Case &each : cases) {
        const std::string &written = each.written;
        const std::filesystem::path go = folder / ("go" + std::to_string(written.size()));
        LauncherRun run(folder, start({"-o", "-t", "zqStage", "-a",
                                       each.orders + " await=" + go.generic_string() + " exit=4"}));
        EXPECT_TRUE(waitUntil([&] { return run.rawOutput().size() >= written.size(); }));
        writeFile(go, "");
        EXPECT_EQ(run.wait(), 4u);
        EXPECT_EQ(run.rawOutput(), written);
    }
}

TEST_F(LaunchTest, ForwardsEachChunkUpToItsZeroByteAndBothStreams) {
    const std::filesystem::path go = folder / "go";
    LauncherRun run(folder, start({"-d", "-t", "zqStage", "-a",
                                   "zero await=" + go.generic_string() +
                                       " printerr=E sleep=300 closeout sleep=300 " +
                                       reportTo("tool") + " printerr=F sleep=300"}));
    EXPECT_TRUE(run.awaitOutput("ab"));
    writeFile(go, "");
    EXPECT_EQ(run.wait(), 0u);
    EXPECT_EQ(run.rawOutput(), "abEF");
    EXPECT_EQ(run.errors(), "");
    EXPECT_EQ(readReport("tool").environment.at("ZQ_LOG_ENABLE_STDOUT"), "1");
}

TEST_F(LaunchTest, OutputThatCannotBeWrittenChangesNothing) {
    const std::filesystem::path status = folder / "status";
    const std::string launch =
        (onWindows ? "{ wine '" : "{ '") + unixPath(launcherProgram()) + "' -r '" + root +
        "' -o -t zqStage -a 'bytes=5000 sleep=300 exit=4'; echo $? >'" + unixPath(status) + "'; } ";
    for (const std::string redirection : {">&-", ">/dev/full", "| :"}) {
        runShell(launch + redirection);
        EXPECT_EQ(readFile(status), "4\n") << redirection;
        std::filesystem::remove(status);
    }
}

// A file that is no library, under the name of each library that the launcher loads: whoever takes
// it for one fails to start.
TEST_F(LaunchTest, NoLibraryComesFromTheDirectoryOrPath) {
    if (!onWindows)
        GTEST_SKIP() << "the launcher is linked statically there";
    const std::filesystem::path planted = folder / "planted", besides = folder / "besides";
    for (const char *name : {"advapi32", "kernel32", "msvcrt", "shlwapi", "user32", "userenv",
                             "wtsapi32", "kernelbase", "sechost"})
        writeFile(planted / (std::string(name) + ".dll"), "no library");
    LauncherStart launch = start({"-c"});
    launch.workingDirectory = planted;
    launch.environment = {{"PATH", windowsPath(planted)}};
    LauncherRun run(folder, launch);
    EXPECT_EQ(run.wait(), 0u);
    EXPECT_NE(run.output(), "");

    // The launcher's own directory comes first, so who may write there may do as the launcher.
    launch.program = besides / "zqLauncher.exe";
    placeProgram(launcherProgram(), launch.program);
    writeFile(besides / "userenv.dll", "no library");
    EXPECT_NE(LauncherRun(folder, launch).wait(), 0u);
}

TEST_F(LaunchTest, ShellRunsInTheToolsEnvironment) {
    LauncherStart launch = start({"-s", "-p", "7.1", "-t", "zqNone", "-b", "X:\\none", "-k",
                                  windowsPath(probeProgram()) + " " + reportTo("tool")});
    launch.input = "exit 5\n";
    LauncherRun run(folder, launch);
    EXPECT_EQ(run.wait(), 5u);
    const ProbeReport tool = readReport("tool");
    EXPECT_EQ(tool.environment.at("ZQ_TOOL_VERSION"), "7.1");
    EXPECT_THAT(tool.environment.at("PATH"), StartsWith(root + "\\tools\\7.1\\zqLauncher;"));
    if (!onWindows) { // Wine's interpreter sets PROMPT anew
        EXPECT_EQ(tool.environment.at("PROMPT"), "(zqshell,ver=7.1,fw=current)$P$G");
        EXPECT_THAT(run.output(), HasSubstr("(zqshell,ver=7.1,fw=current)Z:\\"));
    }
}

TEST_F(LaunchTest, AbruptEndOfTheLauncherEndsTheToolAndNotItsChild) {
    LauncherRun run(folder, start({"-t", "zqStage", "-a",
                                   "child=" + (folder / "child").generic_string() + " " +
                                       reportTo("tool") + " sleep=30000"}));
    const std::uint32_t child = readReport("child").pid;
    const std::uint32_t tool = readReport("tool").pid;
    std::this_thread::sleep_for(std::chrono::milliseconds(300)); // it's in its job by then
    run.kill();
    EXPECT_TRUE(waitUntil([&] { return !isRunning(tool); }, std::chrono::seconds(2)));
    EXPECT_TRUE(isRunning(child));
    endProcess(child);
}

TEST_F(LaunchTest, UserSessionStartWaitsForAUserAndGivesThatUsersEnvironment) {
    const std::filesystem::path user = folder / "console_user";
    LauncherStart launch =
        start({"-u", "1", "-t", "zqStage", "-a", reportTo("tool") + " sleep=300"});
    if (!onWindows) // somebody is always at Wine's console
        launch.environment = {{"ZQHOST_CONSOLE_USER", user.string()}, {"USER", "launcher"}};
    LauncherRun run(folder, launch);
    if (!onWindows) {
        EXPECT_TRUE(run.awaitOutput("WTSQueryUserToken01008\nWTSQueryUserToken01008\n"));
        EXPECT_FALSE(std::filesystem::exists(folder / "tool"));
        writeFile(user, "harbour\n");
    }
    EXPECT_EQ(run.wait(), 0u);
    EXPECT_TRUE(onWindows || readReport("tool").environment.at("USER") == "harbour");
    EXPECT_EQ(readReport("tool").environment.at("ZQ_FW_VERSION"), "current");
}

} // namespace
