#pragma once

#include "support/launcher_run.h"
#include "support/probe_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace testing_support {

// An installation with two tools versions, of which 7.2 is current and holds the tool zqStage, and
// one framework, 5.15.2.
class LaunchTest : public testing::Test {
protected:
    LaunchTest() {
        tree.addTool("7.1", "zqStage");
        tree.addTool("7.2", "zqStage");
        tree.addFramework("5.15.2");
        tree.setCurrent("tools", "7.2");
        tree.setCurrent("frameworks", "5.15.2");
    }

    // A start of the launcher on the tree.
    LauncherStart start(const std::vector<std::string> &options) const {
        LauncherStart result;
        result.arguments = {"-r", root};
        result.arguments.insert(result.arguments.end(), options.begin(), options.end());
        return result;
    }

    // What the probe is told so that it reports to readReport.
    std::string reportTo(const std::string &file) const {
        return "report=" + (folder / file).generic_string();
    }
    ProbeReport readReport(const std::string &file) const { return readProbeReport(folder / file); }

    TemporaryFolder folder;
    InstallationTree tree{folder / "tree"};
    std::string root = windowsPath(tree.root());
};

} // namespace testing_support
