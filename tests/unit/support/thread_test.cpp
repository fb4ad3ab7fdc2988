// The thread base class: one run of the body, stop and wait, signal mask and name.
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>

#include "common/test_util.h"
#include "support/thread.h"

namespace {

// A body that pauses in waits until stopped (or ends after one pass when pauseMs is 0), and
// records what its thread looked like.
class ProbeThread : public VRX::Thread {
public:
    explicit ProbeThread(const std::string& name, unsigned int pauseMs = 60000)
        : Thread(name, true), pauseMs_(pauseMs) {}
    ~ProbeThread() override { stop(); }

    std::atomic<int> runs{0};
    std::atomic<int> passes{0};
    std::atomic<bool> ended{false};
    std::atomic<bool> controlSignalsBlocked{false};
    std::string seenName; // written before the first pass; read after stop

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
        do {
            ++passes;
            if (pauseMs_ > 0)
                wait(pauseMs_);
        } while (pauseMs_ > 0 && !isCanceled());
        ended = true;
    }

private:
    unsigned int pauseMs_;
};

TEST(ThreadTest, StopDuringALongWaitEndsTheBodyFirst) {
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    ProbeThread thread("a-rather-long-thread-name");
    thread.start();
    thread.start();
    ASSERT_TRUE(testutil::waitFor([&thread] { return thread.passes > 0; }));
    thread.stop();
    EXPECT_TRUE(thread.ended);
    EXPECT_TRUE(thread.isCanceled());
    EXPECT_EQ(thread.runs, 1);
    EXPECT_EQ(thread.passes, 1);
    thread.stop();
    EXPECT_EQ(thread.seenName, "a-rather-long-t");
    EXPECT_TRUE(thread.controlSignalsBlocked);
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int signal : {SIGHUP, SIGTERM, SIGINT})
        EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
}

TEST(ThreadTest, WaitReturnsAfterItsTimeWhenNotStopped) {
    ProbeThread thread("WanChecking", 10);
    thread.start();
    EXPECT_TRUE(testutil::waitFor([&thread] { return thread.passes >= 3; }));
    EXPECT_FALSE(thread.isCanceled());
    thread.stop();
    EXPECT_TRUE(thread.ended);
    EXPECT_EQ(thread.runs, 1);
    EXPECT_EQ(thread.seenName, "WanChecking");
}

TEST(ThreadTest, StopWithoutStartOrAfterTheBodyEnded) {
    ProbeThread never("never");
    never.stop();
    EXPECT_TRUE(never.isCanceled());
    EXPECT_EQ(never.runs, 0);

    ProbeThread once("once", 0);
    once.start();
    EXPECT_TRUE(testutil::waitFor([&once] { return once.ended.load(); }));
    once.stop();
    EXPECT_EQ(once.runs, 1);
}

} // namespace
