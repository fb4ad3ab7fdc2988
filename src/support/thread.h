// Thread base class: start runs the body once on a new thread; stop cancels it and joins.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <pthread.h>
#include <string>

namespace VRX {

class Thread {
public:
    // The flag is accepted for compatibility and has no effect.
    Thread(const std::string& name, bool flag);
    virtual ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    // Starts a thread (small stack, SIGHUP/SIGTERM/SIGINT blocked so the main thread gets them)
    // that runs the body once.
    virtual void start();
    // Asks the body to finish and returns only after it has returned.
    virtual void stop();

    // Pauses up to ms milliseconds; returns early once stop or wake has been asked.
    void wait(unsigned int ms);
    // Pauses until wake or stop is asked, however long that takes: a body with nothing to do
    // until it is asked costs nothing meanwhile.
    void waitForWake();
    // Makes the body's current or next wait return at once; for work handed to the body.
    void wake();
    // True once stop has been asked.
    bool isCanceled() const;
    // True from a start that created the thread until stop has joined it; false after a start
    // that failed (no thread could be created).
    bool isRunning() const { return started_; }
    // True when the calling thread is the body of a Thread whose stop has been asked; false on
    // any other thread. Lets long operations deep in a body (a running program) end early.
    static bool isCurrentCanceled();

protected:
    // The thread body.
    virtual void run() = 0;

private:
    static void* entry(void* self);

    std::string name_;
    pthread_t thread_{};
    bool started_ = false;
    std::atomic<bool> canceled_{false};
    // Guarded by waitMutex_: a wake that came while the body was busy is kept for its next wait.
    bool woken_ = false;
    std::mutex waitMutex_;
    std::condition_variable waitCondition_;
};

} // namespace VRX
