#include "support/thread.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <csignal>

#include "support/thread_create.h"

namespace VRX {

namespace {

// The bodies only run probes and wait; a small stack keeps many WAN threads cheap on the gateway.
constexpr size_t STACK_SIZE = size_t{128} * 1024;
constexpr size_t THREAD_NAME_MAX = 15;

// The Thread whose body runs on this thread, if any.
thread_local const Thread* currentThread = nullptr;

} // namespace

Thread::Thread(const std::string& name, bool /*flag*/) : name_(name) {}

Thread::~Thread() {
    // Derived classes stop first; this only guards against a thread outliving its object.
    if (started_)
        Thread::stop();
}

void* Thread::entry(void* self) {
    Thread* thread = static_cast<Thread*>(self);
    // Named from inside, so the name is in place before the body runs.
    pthread_setname_np(pthread_self(), thread->name_.substr(0, THREAD_NAME_MAX).c_str());
    currentThread = thread;
    thread->run();
    currentThread = nullptr;
    return nullptr;
}

void Thread::start() {
    if (started_)
        return;
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, std::max<size_t>(STACK_SIZE, PTHREAD_STACK_MIN));

    // A new thread inherits the creator's signal mask; blocking the daemon's control signals
    // around pthread_create makes sure only the main thread ever runs their handlers.
    sigset_t blocked;
    sigset_t previous;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGHUP);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGINT);
    pthread_sigmask(SIG_BLOCK, &blocked, &previous);
    int created = createThread(thread_, attr, &Thread::entry, this);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    pthread_attr_destroy(&attr);
    if (created != 0)
        return;
    started_ = true;
}

void Thread::stop() {
    {
        // Setting the flag under the wait mutex means a body about to sleep cannot miss it.
        std::lock_guard<std::mutex> guard(waitMutex_);
        canceled_ = true;
    }
    waitCondition_.notify_all();
    if (started_ && !pthread_equal(thread_, pthread_self())) {
        pthread_join(thread_, nullptr);
        started_ = false;
    }
}

void Thread::wait(unsigned int ms) {
    std::unique_lock<std::mutex> guard(waitMutex_);
    waitCondition_.wait_for(guard, std::chrono::milliseconds(ms),
                            [this] { return woken_ || canceled_.load(); });
    woken_ = false;
}

void Thread::waitForWake() {
    std::unique_lock<std::mutex> guard(waitMutex_);
    waitCondition_.wait(guard, [this] { return woken_ || canceled_.load(); });
    woken_ = false;
}

void Thread::wake() {
    {
        std::lock_guard<std::mutex> guard(waitMutex_);
        woken_ = true;
    }
    waitCondition_.notify_all();
}

bool Thread::isCanceled() const {
    return canceled_.load();
}

bool Thread::isCurrentCanceled() {
    return currentThread != nullptr && currentThread->isCanceled();
}

} // namespace VRX
