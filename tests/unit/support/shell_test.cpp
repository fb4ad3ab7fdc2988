// Shell commands with a time bound, and quoting of untrusted words for them.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include "common/test_util.h"
#include "support/shell.h"

namespace {

bool processEnded(pid_t pid) {
    const std::string stat = testutil::readText("/proc/" + std::to_string(pid) + "/stat");
    const size_t close = stat.rfind(')');
    return stat.empty() || (close != std::string::npos && stat.compare(close, 4, ") Z ") == 0);
}

TEST(RunShellTest, ReturnsTheWaitStatusLikeSystem) {
    testutil::TempDir dir;
    const std::pair<std::string, int> cases[] = {
        {"true", 0}, {"exit 3", 3}, {"false", 1}, {"mkdir " + dir.path() + "/x && exit 4", 4}};
    for (const auto& c : cases) {
        const int status = runShell(c.first, COMMAND_TIMEOUT_S);
        ASSERT_TRUE(WIFEXITED(status)) << c.first;
        EXPECT_EQ(WEXITSTATUS(status), c.second) << c.first;
    }
    const int status = runShell("kill -TERM $$", COMMAND_TIMEOUT_S);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGTERM);
}

TEST(RunShellTest, CommandSeesOnlyTheStandardDescriptors) {
    const int leaky = dup2(STDERR_FILENO, 200);
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
    const pid_t background = static_cast<pid_t>(std::stoi(testutil::readText(pidFile)));
    EXPECT_TRUE(testutil::waitFor([background] { return processEnded(background); }));
}

TEST(ShellQuoteTest, SafeWordsStayBareOthersAreQuoted) {
    const std::pair<std::string, std::string> cases[] = {
        {"eth0", "eth0"},   {"br-lan.10", "br-lan.10"}, {"a_b@c+d:e", "a_b@c+d:e"},
        {"", "''"},         {"a'b", "'a'\\''b'"},       {"eth9;reboot", "'eth9;reboot'"},
        {"$(x)", "'$(x)'"}, {"a b", "'a b'"},           {"`id`", "'`id`'"},
        {"x\ny", "'x\ny'"}, {"a|b", "'a|b'"},           {"a&b", "'a&b'"},
        {"*", "'*'"}};
    for (const auto& c : cases) {
        const bool safe = c.first == c.second;
        EXPECT_EQ(isShellSafe(c.first), safe) << "'" << c.first << "'";
        EXPECT_EQ(shellWord(c.first), c.second);
        EXPECT_EQ(shellQuote(c.first), safe ? "'" + c.first + "'" : c.second);
    }
}

TEST(ShellQuoteTest, QuotedWordsReachTheCommandUnchanged) {
    testutil::TempDir dir;
    const std::string out = dir.path() + "/out";
    for (const std::string word :
         {"eth9;reboot", "a'b", "$(x)", "`id`", "a b\tc", "''", "\\n", "*"}) {
        EXPECT_EQ(runShell("printf %s " + shellWord(word) + " > " + out, 5), 0) << word;
        EXPECT_EQ(testutil::readText(out), word);
    }
}

} // namespace
