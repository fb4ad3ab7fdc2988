// Mutual-exclusion lock; lock and unlock are always paired on one thread.
#pragma once

#include <mutex>

namespace VRX {

class Lock {
public:
    Lock() = default;
    ~Lock() = default;
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

// Holds a Lock for one scope, so that every return path (and any library exception) releases it.
class LockGuard {
public:
    explicit LockGuard(Lock& lock) : lock_(lock) { lock_.lock(); }
    ~LockGuard() { lock_.unlock(); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    Lock& lock_;
};

} // namespace VRX
