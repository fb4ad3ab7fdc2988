// Running programs without a shell, and reading whole files.
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <dirent.h>
#include <fstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "common/test_util.h"
#include "support/system.h"

namespace {

using VRX::System;

int openDescriptors() {
    int count = 0;
    DIR* dir = opendir("/proc/self/fd");
    if (dir == nullptr)
        return -1;
    while (readdir(dir) != nullptr)
        ++count;
    closedir(dir);
    return count;
}

// True once the process is gone or only a zombie waiting for its parent.
bool processEnded(pid_t pid) {
    std::string stat = testutil::readText("/proc/" + std::to_string(pid) + "/stat");
    size_t close = stat.rfind(')');
    return stat.empty() || (close != std::string::npos && stat.compare(close, 4, ") Z ") == 0);
}

bool noChildLeft() {
    int status = 0;
    return waitpid(-1, &status, WNOHANG) == -1 && errno == ECHILD;
}

TEST(ExecuteTest, ResultIsZeroOnlyForExitStatusZero) {
    const std::pair<const char*, bool> cases[] = {{"exit 0", true},
                                                  {"exit 1", false},
                                                  {"exit 3", false},
                                                  {"exit 255", false},
                                                  {"kill -KILL $$", false}};
    for (const auto& c : cases) {
        std::string output;
        int result = System::execute("sh", {"-c", c.first}, output);
        EXPECT_EQ(result == 0, c.second) << c.first << " gave " << result;
    }
}

TEST(ExecuteTest, CapturesStandardOutputAndError) {
    std::string output = "stale";
    EXPECT_EQ(System::execute("sh", {"-c", "echo to-out; echo to-err >&2"}, output), 0);
    EXPECT_EQ(output, "to-out\nto-err\n");
}

TEST(ExecuteTest, EachArgumentIsOneWordWithoutExpansion) {
    std::string output;
    EXPECT_EQ(System::execute("printf", {"%s|", "a b", "eth9;reboot", "$(x)", "'q'", ""}, output),
              0);
    EXPECT_EQ(output, "a b|eth9;reboot|$(x)|'q'||");
}

TEST(ExecuteTest, ProgramIsFoundOnPath) {
    testutil::RecorderTools tools;
    tools.add("uplinker-ping", 0, "pong\n");
    tools.add("inet-check", 2);
    std::string output;
    EXPECT_EQ(System::execute("uplinker-ping", {"-I", "eth0", "host"}, output), 0);
    EXPECT_EQ(output, "pong\n");
    EXPECT_NE(System::execute("inet-check", {}, output), 0);
    EXPECT_EQ(tools.calls("uplinker-ping"), std::vector<std::string>{"-I eth0 host"});
}

TEST(ExecuteTest, StandardInputIsEmpty) {
    std::string output;
    EXPECT_EQ(System::execute("sh", {"-c", "cat; echo done"}, output, 5000), 0);
    EXPECT_EQ(output, "done\n");
}

TEST(ExecuteTest, MissingProgramFails) {
    std::string output;
    EXPECT_NE(System::execute("uplinker-no-such-program", {"x"}, output), 0);
    EXPECT_EQ(output, "");
    EXPECT_NE(System::execute("", {}, output), 0);
}

TEST(ExecuteTest, OutputIsBoundedButFullyRead) {
    std::string output;
    // The program writes twice the bound; it must not block on a full pipe.
    EXPECT_EQ(System::execute("sh", {"-c", "head -c 2097152 /dev/zero; exit 0"}, output, 20000), 0);
    EXPECT_EQ(output.size(), System::MAX_OUTPUT);
}

TEST(ExecuteTest, ProgramRunningPastTheBoundIsKilled) {
    std::string output;
    auto started = std::chrono::steady_clock::now();
    EXPECT_NE(System::execute("sh", {"-c", "echo begun; exec sleep 30"}, output, 300), 0);
    // Well under the program's own 30 seconds: it was killed, not waited for.
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(15));
    EXPECT_EQ(output, "begun\n");
    EXPECT_TRUE(noChildLeft());
}

TEST(ExecuteTest, GrandchildHoldingTheOutputIsKilledToo) {
    std::string output;
    auto started = std::chrono::steady_clock::now();
    EXPECT_NE(System::execute("sh", {"-c", "sleep 30 & echo $!; exit 0"}, output, 300), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(15));
    pid_t grandchild = static_cast<pid_t>(std::stoi(output));
    EXPECT_TRUE(testutil::waitFor([grandchild] { return processEnded(grandchild); }));
    EXPECT_TRUE(noChildLeft());
}

TEST(ExecuteTest, ParallelCallsFromEightThreads) {
    constexpr int THREADS = 8;
    constexpr int RUNS = 10;
    std::vector<int> failures(THREADS, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([t, &failures] {
            for (int run = 0; run < RUNS; ++run) {
                std::string output;
                const std::string word = std::to_string(t) + "-" + std::to_string(run);
                int result = System::execute(
                    "sh", {"-c", "echo $0; exit $1", word, std::to_string(run % 2)}, output);
                if ((result == 0) != (run % 2 == 0) || output != word + "\n")
                    ++failures[static_cast<size_t>(t)];
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures, std::vector<int>(THREADS, 0));
}

TEST(ExecuteTest, LeavesNoDescriptorsAndNoZombies) {
    int before = openDescriptors();
    std::string output;
    System::execute("true", {}, output);
    System::execute("false", {}, output);
    System::execute("uplinker-no-such-program", {}, output);
    System::execute("sleep", {"30"}, output, 100);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_TRUE(noChildLeft());
}

TEST(ExecuteTest, ChildSeesOnlyTheStandardDescriptors) {
    // A descriptor deliberately left without O_CLOEXEC, as a careless library might.
    int leaky = dup2(STDERR_FILENO, 200);
    ASSERT_EQ(leaky, 200);
    std::string output;
    EXPECT_EQ(System::execute("sh", {"-c", "test -e /proc/self/fd/2"}, output), 0);
    EXPECT_NE(System::execute("sh", {"-c", "test -e /proc/self/fd/200"}, output), 0);
    close(leaky);
}

TEST(ReadFileTest, ReadsTheWholeFile) {
    testutil::TempDir dir;
    const std::string content("line one\nline two\0binary\n", 25);
    std::string read = "stale";
    EXPECT_EQ(System::readFile(dir.write("file", content), read), 0);
    EXPECT_EQ(read, content);
    EXPECT_EQ(System::readFile(dir.write("empty", ""), read), 0);
    EXPECT_EQ(read, "");
}

TEST(ReadFileTest, ReadsFilesWithoutASizeLikeProc) {
    std::string read;
    EXPECT_EQ(System::readFile("/proc/self/status", read), 0);
    EXPECT_NE(read.find("Pid:"), std::string::npos);
}

TEST(ReadFileTest, FailsForMissingDirectoryAndOversizedFiles) {
    testutil::TempDir dir;
    const std::string big = dir.path() + "/big";
    ASSERT_EQ(truncate(dir.write("big", "").c_str(), System::MAX_FILE + 1), 0);
    const std::string paths[] = {dir.path() + "/missing", dir.path(), big};
    for (const std::string& path : paths) {
        std::string read = "stale";
        EXPECT_NE(System::readFile(path, read), 0) << path;
        EXPECT_EQ(read, "") << path;
    }
}

} // namespace
