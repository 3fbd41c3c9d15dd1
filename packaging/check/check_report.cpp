#include "support/files.h"
#include "support/host.h"

#include <fstream>
#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>

#include <windows.h>

#include <bcrypt.h>

// Runs the tests beside it, each in a process of its own, and writes down what they ran on and how
// each ended: check_report.exe REPORT [FILTER]. Exits with 0 only if none failed.

using namespace testing_support;

namespace {

constexpr std::chrono::minutes testLimit{3};

struct Run {
    std::optional<std::uint32_t> status; // none if it didn't start, or had to be ended
    std::string output;
};

Run runProgram(const std::string &name, const std::vector<std::string> &arguments) {
    const TemporaryFolder folder;
    const std::string streams = (folder / "run").string();
    Run run;
    try {
        HostProcess process(ownFolder() / name, arguments, streams);
        run.status = process.wait(testLimit);
        if (!run.status) {
            process.kill();
            process.wait(waitLimit);
        }
    } catch (const std::exception &error) {
        run.output = error.what();
    }
    run.output += readFile(streams + ".out") + readFile(streams + ".err");
    return {run.status, replaced(run.output, "\r", "")};
}

std::string sha256(std::string bytes) {
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    unsigned char hash[32] = {};
    ::BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0);
    ::BCryptHash(algorithm, nullptr, 0, reinterpret_cast<unsigned char *>(bytes.data()),
                 static_cast<ULONG>(bytes.size()), hash, sizeof hash);
    ::BCryptCloseAlgorithmProvider(algorithm, 0);
    std::ostringstream text;
    for (const int byte : hash)
        text << std::hex << std::setfill('0') << std::setw(2) << byte;
    return text.str();
}

// A text or a number of the registry, after its label; empty if it isn't there.
std::string fact(const std::string &label, const std::string &key, const char *name) {
    alignas(DWORD) char text[256] = "";
    DWORD type = 0, size = sizeof text;
    if (::RegGetValueA(HKEY_LOCAL_MACHINE, key.c_str(), name, RRF_RT_REG_SZ | RRF_RT_REG_DWORD,
                       &type, text, &size) != ERROR_SUCCESS)
        return "";
    return label + (type == REG_SZ ? text : std::to_string(*reinterpret_cast<DWORD *>(text)));
}

std::string describeMachine() {
    const std::string version = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
    const std::string control = "SYSTEM\\CurrentControlSet\\Control\\";
    const std::string processor = control + "Session Manager\\Environment";
    const std::string codePages = control + "Nls\\CodePage";
    char account[257] = "";
    DWORD size = sizeof account;
    ::GetUserNameA(account, &size);
    return (platform() == Platform::Wine ? "Wine, as " : "") + fact("", version, "ProductName") +
           fact(", edition ", version, "EditionID") +
           fact(", build ", version, "CurrentBuildNumber") + fact(".", version, "UBR") +
           fact(", ", processor, "PROCESSOR_ARCHITECTURE") +
           fact("\nCode page ", codePages, "ACP") + fact(", on consoles ", codePages, "OEMCP") +
           "\nRun by " + account + (mayRegisterServices() ? ", elevated" : ", not elevated") +
           "\nLauncher " + runProgram("zqLauncher.exe", {"-c"}).output + ", SHA-256 " +
           sha256(readFile(ownFolder() / "zqLauncher.exe")) + "\n";
}

std::vector<std::string> listTests(const std::string &filter) {
    std::istringstream lines(
        runProgram("launcher_tests.exe", {"--gtest_list_tests", "--gtest_filter=" + filter})
            .output);
    std::vector<std::string> tests;
    std::string group;
    for (std::string line; std::getline(lines, line);) {
        const std::string name = replaced(line, "^ +|  #.*", "");
        if (line.starts_with("  "))
            tests.push_back(group + name);
        else
            group = name;
    }
    if (tests.empty())
        tests.emplace_back("no tests"); // fails, as none has this name
    return tests;
}

struct Outcome {
    const char *word;
    std::string reason{}, output{};
};

Outcome runTest(const std::string &name) {
    const Run run = runProgram("launcher_tests.exe", {"--gtest_filter=" + name});
    if (!run.status)
        return {"failed", ": it didn't start, or ran for 3 minutes", run.output};
    if (*run.status == 0 && run.output.find("[  PASSED  ] 1 test.") != run.output.npos)
        return {"passed"};
    const std::string mark = ": Skipped\n"; // the reason is on the next line
    const std::size_t skipped = run.output.find(mark);
    if (*run.status != 0 || skipped == run.output.npos)
        return {"failed", ": exit status " + std::to_string(*run.status), run.output};
    std::istringstream reason(run.output.substr(skipped + mark.size()));
    std::string line;
    std::getline(reason, line);
    return {"skipped", ": " + line};
}

// Without the account that the test program keeps of itself.
std::string indented(const std::string &output) {
    const std::string run =
        output.substr(0, output.find("[----------] Global test environment tear"));
    const std::string ownLines =
        replaced(run, "(Note: |Running main|\\[[-=A-Z ]{10}\\]).*\n|\n(?=\n)", "");
    return ownLines.empty() ? "" : replaced("\n" + ownLines, "\n(?!$)", "\n    | ");
}

int writeReport(std::ostream &report, const std::string &filter) {
    const auto print = [&report](const std::string &text) {
        report << text << std::endl; // what is there if the run is interrupted
        std::cout << text << std::endl;
    };
    print(describeMachine());
    std::map<std::string, int> counts;
    for (const std::string &test : listTests(filter)) {
        const Outcome outcome = runTest(test);
        ++counts[outcome.word];
        print(outcome.word + (" " + test) + outcome.reason + indented(outcome.output));
    }
    print("\n" + std::to_string(counts["passed"]) + " passed, " + std::to_string(counts["failed"]) +
          " failed, " + std::to_string(counts["skipped"]) + " skipped");
    return counts["failed"] == 0 && report.good() ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    // Nobody may be there to close a box.
    ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    std::ofstream report(argc > 1 ? argv[1] : "");
    try {
        if (!report)
            throw std::runtime_error("the report can't be written");
        return writeReport(report, argc > 2 ? argv[2] : "*");
    } catch (const std::exception &error) {
        for (std::ostream *stream : {static_cast<std::ostream *>(&report), &std::cerr})
            *stream << "check_report: " << error.what() << std::endl;
        return 1;
    }
}
