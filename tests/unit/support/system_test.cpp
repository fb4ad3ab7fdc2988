// Running programs without a shell, and reading whole files.
#include <gtest/gtest.h>

#include <cerrno>
#include <dirent.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "common/test_util.h"
#include "support/system.h"

namespace {

using VRX::System;
using Args = std::vector<std::string>;

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
    const std::string stat = testutil::readText("/proc/" + std::to_string(pid) + "/stat");
    const size_t close = stat.rfind(')');
    return stat.empty() || (close != std::string::npos && stat.compare(close, 4, ") Z ") == 0);
}

bool noChildLeft() {
    int status = 0;
    return waitpid(-1, &status, WNOHANG) == -1 && errno == ECHILD;
}

TEST(ExecuteTest, ResultAndCapturedOutput) {
    const struct {
        std::string program;
        Args args;
        bool ok;
        std::string output;
    } cases[] = {
        {"sh", {"-c", "exit 0"}, true, ""},
        {"sh", {"-c", "exit 1"}, false, ""},
        {"sh", {"-c", "exit 255"}, false, ""},
        {"sh", {"-c", "kill -KILL $$"}, false, ""},
        {"sh", {"-c", "echo to-out; echo to-err >&2"}, true, "to-out\nto-err\n"},
        {"sh", {"-c", "cat; echo stdin was empty"}, true, "stdin was empty\n"},
        {"printf",
         {"%s|", "a b", "eth9;reboot", "$(x)", "'q'", ""},
         true,
         "a b|eth9;reboot|$(x)|'q'||"},
        {"uplinker-no-such-program", {"x"}, false, ""},
        {"", {}, false, ""},
    };
    for (const auto& c : cases) {
        std::string output = "stale";
        const int result = System::execute(c.program, c.args, output, 5000);
        EXPECT_EQ(result == 0, c.ok) << c.program << " " << testing::PrintToString(c.args);
        EXPECT_EQ(output, c.output) << c.program << " " << testing::PrintToString(c.args);
    }
}

TEST(ExecuteTest, OutputIsBoundedButFullyRead) {
    std::string output;
    // Twice the bound: the program must not block on a full pipe.
    EXPECT_EQ(System::execute("sh", {"-c", "head -c 2097152 /dev/zero; exit 0"}, output, 20000), 0);
    EXPECT_EQ(output.size(), System::MAX_OUTPUT);
}

TEST(ExecuteTest, ProgramAndGrandchildRunningPastTheBoundAreKilled) {
    std::string output;
    EXPECT_NE(System::execute("sh", {"-c", "echo begun; exec sleep 30"}, output, 300), 0);
    EXPECT_EQ(output, "begun\n");
    EXPECT_TRUE(noChildLeft());
    // The grandchild holds the output pipe after its parent has exited.
    EXPECT_NE(System::execute("sh", {"-c", "sleep 30 & echo $!; exit 0"}, output, 300), 0);
    const pid_t grandchild = static_cast<pid_t>(std::stoi(output));
    EXPECT_TRUE(testutil::waitFor([grandchild] { return processEnded(grandchild); }));
    EXPECT_TRUE(noChildLeft());
}

TEST(ExecuteTest, ParallelCallsFromEightThreads) {
    std::vector<int> failures(8, 0);
    std::vector<std::thread> threads;
    for (size_t t = 0; t < failures.size(); ++t)
        threads.emplace_back([t, &failures] {
            for (int run = 0; run < 10; ++run) {
                std::string output;
                const std::string word = std::to_string(t) + "-" + std::to_string(run);
                const int result = System::execute(
                    "sh", {"-c", "echo $0; exit $1", word, std::to_string(run % 2)}, output);
                if ((result == 0) != (run % 2 == 0) || output != word + "\n")
                    ++failures[t];
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures, std::vector<int>(8, 0));
}

TEST(ExecuteTest, LeavesNoDescriptorsNoZombiesAndLeaksNoneToTheChild) {
    // A descriptor deliberately left without O_CLOEXEC, as a careless library might.
    const int leaky = dup2(STDERR_FILENO, 200);
    ASSERT_EQ(leaky, 200);
    const int before = openDescriptors();
    std::string output;
    EXPECT_EQ(System::execute("sh", {"-c", "test -e /proc/self/fd/2"}, output), 0);
    EXPECT_NE(System::execute("sh", {"-c", "test -e /proc/self/fd/200"}, output), 0);
    System::execute("uplinker-no-such-program", {}, output);
    System::execute("sleep", {"30"}, output, 100);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_TRUE(noChildLeft());
    close(leaky);
}

TEST(ReadFileTest, ReadsWholeFilesAndRefusesOthers) {
    testutil::TempDir dir;
    const std::string content("line one\nline two\0binary\n", 25);
    std::string read = "stale";
    EXPECT_EQ(System::readFile(dir.write("file", content), read), 0);
    EXPECT_EQ(read, content);
    EXPECT_EQ(System::readFile(dir.write("empty", ""), read), 0);
    EXPECT_EQ(read, "");
    // Files without a size, like those under /proc, are read to their end.
    EXPECT_EQ(System::readFile("/proc/self/status", read), 0);
    EXPECT_NE(read.find("Pid:"), std::string::npos);

    ASSERT_EQ(truncate(dir.write("big", "").c_str(), System::MAX_FILE + 1), 0);
    for (const std::string& path : {dir.path() + "/missing", dir.path(), dir.path() + "/big"}) {
        read = "stale";
        EXPECT_NE(System::readFile(path, read), 0) << path;
        EXPECT_EQ(read, "") << path;
    }
}

} // namespace
