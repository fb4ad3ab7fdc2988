// Shell commands with a time bound, and quoting of untrusted words for them.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include "common/test_util.h"
#include "support/shell.h"

namespace {

bool processEnded(pid_t pid) {
    std::string stat = testutil::readText("/proc/" + std::to_string(pid) + "/stat");
    size_t close = stat.rfind(')');
    return stat.empty() || (close != std::string::npos && stat.compare(close, 4, ") Z ") == 0);
}

TEST(RunShellTest, ReturnsTheWaitStatusLikeSystem) {
    const std::pair<const char*, int> cases[] = {{"true", 0}, {"exit 3", 3}, {"false", 1}};
    for (const auto& c : cases) {
        int status = runShell(c.first, COMMAND_TIMEOUT_S);
        ASSERT_TRUE(WIFEXITED(status)) << c.first;
        EXPECT_EQ(WEXITSTATUS(status), c.second) << c.first;
    }
    int status = runShell("kill -TERM $$", COMMAND_TIMEOUT_S);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
}

TEST(RunShellTest, CommandLineGoesThroughTheShell) {
    testutil::TempDir dir;
    const std::string file = dir.path() + "/made";
    EXPECT_EQ(runShell("mkdir -p " + dir.path() + "/sub && echo made > " + file, 5), 0);
    EXPECT_EQ(testutil::readText(file), "made\n");
}

TEST(RunShellTest, CommandSeesOnlyTheStandardDescriptors) {
    int leaky = dup2(STDERR_FILENO, 200);
    ASSERT_EQ(leaky, 200);
    EXPECT_EQ(runShell("test -e /proc/self/fd/2", 5), 0);
    EXPECT_NE(runShell("test -e /proc/self/fd/200", 5), 0);
    close(leaky);
}

TEST(RunShellTest, OverrunKillsTheProcessGroupAndWarns) {
    testutil::TempDir dir;
    testutil::LogCapture capture;
    const std::string pidFile = dir.path() + "/pid";
    const std::string command = "sleep 30 & echo $! > " + pidFile + "; sleep 30";
    EXPECT_EQ(runShell(command, 1), -1);
    EXPECT_EQ(capture.labelled(),
              std::vector<std::string>{
                  "WARNING command timed out after 1 seconds and was killed: " + command});
    pid_t background = static_cast<pid_t>(std::stoi(testutil::readText(pidFile)));
    EXPECT_TRUE(testutil::waitFor([background] { return processEnded(background); }));
}

TEST(ShellQuoteTest, SafeWords) {
    const std::pair<std::string, bool> cases[] = {
        {"eth0", true},         {"wlan0", true},     {"ppp0", true},
        {"br-lan.10", true},    {"a_b@c+d:e", true}, {"", false},
        {"eth9;reboot", false}, {"a'b", false},      {"$(x)", false},
        {"a b", false},         {"`id`", false},     {"x\ny", false},
        {"a|b", false},         {"a&b", false},      {"*", false}};
    for (const auto& c : cases)
        EXPECT_EQ(isShellSafe(c.first), c.second) << "'" << c.first << "'";
}

TEST(ShellQuoteTest, QuotingAndWords) {
    EXPECT_EQ(shellQuote("eth0"), "'eth0'");
    EXPECT_EQ(shellQuote(""), "''");
    EXPECT_EQ(shellQuote("a'b"), "'a'\\''b'");
    EXPECT_EQ(shellQuote("$(x)"), "'$(x)'");
    EXPECT_EQ(shellWord("eth0"), "eth0");
    EXPECT_EQ(shellWord("eth9;reboot"), "'eth9;reboot'");
    EXPECT_EQ(shellWord(""), "''");
}

TEST(ShellQuoteTest, QuotedWordsReachTheCommandUnchanged) {
    testutil::TempDir dir;
    const std::string out = dir.path() + "/out";
    const std::string words[] = {"eth9;reboot", "a'b", "$(x)", "`id`", "a b\tc", "''", "\\n", "*"};
    for (const std::string& word : words) {
        EXPECT_EQ(runShell("printf %s " + shellWord(word) + " > " + out, 5), 0) << word;
        EXPECT_EQ(testutil::readText(out), word);
    }
}

} // namespace
