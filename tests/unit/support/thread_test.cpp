// The thread base class: one run of the body, stop and wait, signal mask and name.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>

#include "common/test_util.h"
#include "support/thread.h"

namespace {

// A body that pauses in long waits until stopped, and reports what its thread looked like.
class ProbeThread : public VRX::Thread {
public:
    explicit ProbeThread(const std::string& name, unsigned int pauseMs = 60000)
        : Thread(name, true), pauseMs_(pauseMs) {}
    ~ProbeThread() override { stop(); }

    std::atomic<int> runs{0};
    std::atomic<int> passes{0};
    std::atomic<bool> ended{false};
    std::atomic<bool> controlSignalsBlocked{false};
    std::string seenName; // written by the body before the first pass; read after stop

protected:
    void run() override {
        ++runs;
        char buffer[32] = "";
        pthread_getname_np(pthread_self(), buffer, sizeof(buffer));
        seenName = buffer;
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        controlSignalsBlocked = sigismember(&mask, SIGHUP) == 1 &&
                                sigismember(&mask, SIGTERM) == 1 && sigismember(&mask, SIGINT) == 1;
        while (!isCanceled()) {
            ++passes;
            wait(pauseMs_);
        }
        ended = true;
    }

private:
    unsigned int pauseMs_;
};

TEST(ThreadTest, StopDuringALongWaitReturnsAfterTheBodyEnded) {
    ProbeThread thread("WanChecking");
    thread.start();
    ASSERT_TRUE(testutil::waitFor([&thread] { return thread.passes > 0; }));
    auto asked = std::chrono::steady_clock::now();
    thread.stop();
    // The body was in a 60 s pause; stop must cut it short and wait for the body's end.
    EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(30));
    EXPECT_TRUE(thread.ended);
    EXPECT_TRUE(thread.isCanceled());
    EXPECT_EQ(thread.runs, 1);
    EXPECT_EQ(thread.passes, 1);
}

TEST(ThreadTest, WaitReturnsAfterItsTimeWhenNotStopped) {
    ProbeThread thread("short", 10);
    thread.start();
    EXPECT_TRUE(testutil::waitFor([&thread] { return thread.passes >= 3; }));
    EXPECT_FALSE(thread.isCanceled());
    thread.stop();
    EXPECT_TRUE(thread.ended);
    EXPECT_EQ(thread.runs, 1);
}

TEST(ThreadTest, ControlSignalsAreBlockedOnlyInTheNewThread) {
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    ProbeThread thread("signals");
    thread.start();
    ASSERT_TRUE(testutil::waitFor([&thread] { return thread.passes > 0; }));
    EXPECT_TRUE(thread.controlSignalsBlocked);
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int signal : {SIGHUP, SIGTERM, SIGINT})
        EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
}

TEST(ThreadTest, NameIsSetAndCutToFifteenCharacters) {
    const std::pair<std::string, std::string> cases[] = {
        {"WanChecking", "WanChecking"}, {"a-rather-long-thread-name", "a-rather-long-t"}};
    for (const auto& c : cases) {
        ProbeThread thread(c.first);
        thread.start();
        ASSERT_TRUE(testutil::waitFor([&thread] { return thread.passes > 0; }));
        thread.stop();
        EXPECT_EQ(thread.seenName, c.second);
    }
}

TEST(ThreadTest, StopIsIdempotentAndWorksWithoutStart) {
    ProbeThread never("never");
    never.stop();
    EXPECT_TRUE(never.isCanceled());
    EXPECT_EQ(never.runs, 0);

    ProbeThread twice("twice");
    twice.start();
    twice.start();
    twice.stop();
    twice.stop();
    EXPECT_EQ(twice.runs, 1);
    EXPECT_TRUE(twice.ended);
}

TEST(ThreadTest, BodyThatEndsByItselfIsJoinedByStop) {
    class Once : public VRX::Thread {
    public:
        Once() : Thread("once", true) {}
        ~Once() override { stop(); }
        std::atomic<int> runs{0};

    protected:
        void run() override { ++runs; }
    };
    Once thread;
    thread.start();
    EXPECT_TRUE(testutil::waitFor([&thread] { return thread.runs == 1; }));
    thread.stop();
    EXPECT_EQ(thread.runs, 1);
}

} // namespace
