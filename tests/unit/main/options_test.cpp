// Command line and log target of the built binary. Without a configuration service init fails,
// so each run ends on its own with status 0 after "init failed!".
#include <algorithm>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "common/test_util.h"
#include "main/uplinker_process.h"

using maintest::indexOf;
using maintest::logLines;
using maintest::UplinkerProcess;

namespace {

const std::vector<std::string> USAGE = {
    "Usage: uplinker [param]",
    "Params:",
    "    -i         : interactive (foreground) mode",
    "    -p <level> : log level out of range [0-100]",
    "    -l <file>  : log to file",
    "    -e         : log to stdout",
    "    -d         : dump wan states (one more -d for more verbosity)",
    "    -h         : this help",
};

// Runs to the end and returns the finished process; asserts it ended with status 0.
void runToEnd(UplinkerProcess& process) {
    ASSERT_TRUE(process.started());
    ASSERT_TRUE(process.waitExit(30000)) << process.out();
    EXPECT_EQ(0, process.exitStatus()) << process.out() << process.err();
}

std::string startLine(const std::string& level) {
    return "INFO uplinker starting up with log level " + level;
}

int countUsage(const std::vector<std::string>& lines) {
    int count = 0;
    for (const std::string& line : lines)
        count += line == USAGE[0] ? 1 : 0;
    return count;
}

} // namespace

TEST(CommandLine, UsageNeverStopsTheStart) {
    struct Case {
        std::vector<std::string> args;
        int usageCount;
        bool diagnostic; // getopt complains on standard error
    };
    const std::vector<Case> cases = {
        {{"-i", "-e"}, 0, false},      {{"-h", "-i", "-e"}, 1, false},
        {{"-i", "-?", "-e"}, 1, true}, {{"-i", "-x", "-e", "-h"}, 2, true},
        {{"-i", "-e", "-p"}, 1, true},
    };
    for (const Case& c : cases) {
        testutil::TempDir dir;
        UplinkerProcess process(c.args, dir.path());
        runToEnd(process);
        const std::string joined = testing::PrintToString(c.args);
        const std::vector<std::string> lines = testutil::splitLines(process.out());
        EXPECT_EQ(c.usageCount, countUsage(lines)) << joined;
        if (c.usageCount > 0 && c.args[0] == "-h") {
            EXPECT_EQ(USAGE,
                      std::vector<std::string>(
                          lines.begin(), lines.begin() + std::min(lines.size(), USAGE.size())));
        }
        EXPECT_EQ(c.diagnostic, !process.err().empty()) << joined << process.err();
        const std::vector<std::string> log = process.log();
        EXPECT_EQ(startLine("INFO"), log.empty() ? "" : log.front()) << joined;
        EXPECT_GE(indexOf(log, "ERROR init failed!"), 0) << joined;
    }
}

TEST(CommandLine, PrintLevelAcceptsOnlyNumbersUpToHundred) {
    struct Case {
        std::vector<std::string> levelArgs;
        std::string levelName;
        bool debugShown;
    };
    const std::vector<Case> cases = {
        {{"-p", "0"}, "TRACE", true},
        {{"-p", "20"}, "DEBUG", true},
        {{"-p", "101"}, "INFO", false},
        {{"-p", "-1"}, "INFO", false},
        {{"-p", "abc"}, "INFO", false},
        // Numbers that wrap to 0 or 20 in 32 bits are still out of range.
        {{"-p", "4294967296"}, "INFO", false},
        {{"-p", "4294967316"}, "INFO", false},
        {{"-p", "20abc"}, "DEBUG", true},
        {{"-p", "0", "-p", "101"}, "TRACE", true},
        {{"-p", "0", "-p", "40"}, "INFO", false},
    };
    for (const Case& c : cases) {
        testutil::TempDir dir;
        std::vector<std::string> args = {"-i", "-e"};
        args.insert(args.end(), c.levelArgs.begin(), c.levelArgs.end());
        UplinkerProcess process(args, dir.path());
        runToEnd(process);
        const std::string joined = testing::PrintToString(args);
        const std::vector<std::string> log = process.log();
        ASSERT_FALSE(log.empty()) << joined;
        EXPECT_EQ(startLine(c.levelName), log.front()) << joined;
        EXPECT_EQ(c.debugShown, indexOf(log, "DEBUG start init") >= 0) << joined;
        EXPECT_EQ(c.debugShown, indexOf(log, "DEBUG done") >= 0) << joined;
        EXPECT_GE(indexOf(log, "ERROR init failed!"), 0) << joined;
    }
}

TEST(CommandLine, TraceShowsForegroundStepsInOrder) {
    testutil::TempDir dir;
    UplinkerProcess process({"-i", "-e", "-p", "0"}, dir.path());
    runToEnd(process);
    const std::vector<std::string> log = process.log();
    const int handlers = indexOf(log, "DEBUG set signal handlers");
    const int init = indexOf(log, "DEBUG start init");
    const int failed = indexOf(log, "ERROR init failed!");
    const int done = indexOf(log, "DEBUG done");
    EXPECT_LT(0, handlers);
    EXPECT_LT(handlers, init);
    EXPECT_LT(init, failed);
    EXPECT_LT(failed, done);
    EXPECT_EQ(static_cast<int>(log.size()) - 1, done);
    EXPECT_LT(indexOf(log, "DEBUG start demonize"), 0);
    EXPECT_LT(indexOf(log, "DEBUG start deinit"), 0);
}

TEST(LogTarget, LastChoiceWinsAndAnUnusableFileFallsBackToStdout) {
    struct Case {
        std::vector<std::string> args; // "@" stands for the working directory
        std::string logFile;           // relative to it; empty: standard output
        std::string absentFile;
        std::vector<std::string> firstLines;
    };
    const std::vector<Case> cases = {
        {{"-i", "-l", "@/x.log"}, "x.log", "", {startLine("INFO")}},
        {{"-i", "-l", "@/first.log", "-l", "@/second.log"},
         "second.log",
         "first.log",
         {startLine("INFO")}},
        {{"-i", "-e", "-l", "@/y.log"}, "", "y.log", {startLine("INFO")}},
        {{"-i", "-l", ""}, "uplinker.log", "", {startLine("INFO")}},
        {{"-i", "-l", "@/missing/dir/z.log"},
         "",
         "",
         {"WARNING unable to log to file", startLine("INFO")}},
    };
    for (const Case& c : cases) {
        testutil::TempDir dir;
        std::vector<std::string> args = c.args;
        for (std::string& arg : args)
            if (arg[0] == '@')
                arg = dir.path() + arg.substr(1);
        SCOPED_TRACE(testing::PrintToString(args));
        UplinkerProcess process(args, dir.path(), dir.path());
        runToEnd(process);
        const std::vector<std::string> log =
            c.logFile.empty() ? process.log()
                              : logLines(testutil::readText(dir.path() + "/" + c.logFile));
        ASSERT_GE(log.size(), c.firstLines.size()) << process.out();
        EXPECT_EQ(c.firstLines,
                  std::vector<std::string>(log.begin(), log.begin() + c.firstLines.size()));
        EXPECT_GE(indexOf(log, "ERROR init failed!"), 0);
        if (!c.logFile.empty()) {
            EXPECT_TRUE(process.log().empty()) << process.out();
        }
        struct stat info;
        EXPECT_TRUE(c.absentFile.empty() ||
                    stat((dir.path() + "/" + c.absentFile).c_str(), &info) != 0);
    }
}
