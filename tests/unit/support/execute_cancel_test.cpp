// Stopping a thread ends the program its body is running, and only that thread's program.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <string>

#include "common/test_util.h"
#include "support/system.h"
#include "support/thread.h"

namespace {

// A body that runs one program through execute and keeps what came back.
class RunnerThread : public VRX::Thread {
public:
    RunnerThread(const std::string& script) : Thread("Runner", true), script_(script) {}
    ~RunnerThread() override { stop(); }

    std::atomic<bool> ended{false};
    std::atomic<int> result{0};

protected:
    void run() override {
        std::string output;
        result = VRX::System::execute("sh", {"-c", script_}, output);
        ended = true;
    }

private:
    std::string script_;
};

bool processGone(const std::string& pidFile) {
    std::string text = testutil::readText(pidFile);
    return !text.empty() && kill(std::stoi(text), 0) != 0;
}

struct HungProgram {
    const char* name;
    // %s is replaced by the pid file; each program writes its pid there and never ends.
    const char* script;
};

// One holds the output pipe open; the other closes it and only lingers.
const HungProgram HUNG[] = {
    {"holds output", "sleep 3600 & echo $! > %s; wait"},
    {"closed output", "exec >/dev/null 2>&1; sleep 3600 & echo $! > %s; wait"},
};

std::string withPidFile(const char* script, const std::string& pidFile) {
    std::string text = script;
    return text.replace(text.find("%s"), 2, pidFile);
}

TEST(ExecuteCancel, StopEndsHungProgramAndItsGroup) {
    for (const HungProgram& hung : HUNG) {
        SCOPED_TRACE(hung.name);
        testutil::TempDir dir;
        const std::string pidFile = dir.path() + "/pid";
        RunnerThread runner(withPidFile(hung.script, pidFile));
        runner.start();
        ASSERT_TRUE(testutil::waitFor([&] { return !testutil::readText(pidFile).empty(); }));
        const auto before = std::chrono::steady_clock::now();
        runner.stop();
        const auto took = std::chrono::steady_clock::now() - before;
        EXPECT_TRUE(runner.ended);
        EXPECT_NE(runner.result, 0);
        // Far below execute's own bound: the stop, not the time-out, ended the program.
        EXPECT_LT(took, std::chrono::seconds(30));
        EXPECT_TRUE(testutil::waitFor([&] { return processGone(pidFile); }));
    }
}

TEST(ExecuteCancel, OtherThreadsProgramsRunToTheirEnd) {
    RunnerThread stopped("sleep 3600");
    RunnerThread other("sleep 1; exit 3");
    stopped.start();
    other.start();
    stopped.stop();
    EXPECT_TRUE(stopped.ended);
    ASSERT_TRUE(testutil::waitFor([&] { return other.ended.load(); }));
    EXPECT_EQ(other.result, 3);
}

TEST(ExecuteCancel, MainThreadIsNeverCanceled) {
    EXPECT_FALSE(VRX::Thread::isCurrentCanceled());
    std::string output;
    EXPECT_EQ(VRX::System::execute("sh", {"-c", "echo ok"}, output), 0);
    EXPECT_EQ(output, "ok\n");
}

} // namespace
