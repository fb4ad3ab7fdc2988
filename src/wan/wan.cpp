#include "wan/wan.h"

#include "support/clock.h"
#include "support/log.h"

Wan::Wan(const WanConfig& wanConfig)
    : config(wanConfig), ifIndex(-1), ifname(config.name), up(false), misc(true),
      address(NO_ADDRESS), gateway(NO_ADDRESS), lastEnabled(false), activeResult(false),
      checkState(Idle), thread(this), lastCheckTime(0) {
    LOG_TRACE("Wan::Wan");
    // Started last: the thread reads this object, which must be complete by then.
    startThread();
}

// The kernel-side state and the engine's flags travel with the copy, but a check that other
// is running stays with other's thread: the copy starts Idle.
Wan::Wan(const Wan& other)
    : config(other.config), ifIndex(other.ifIndex), ifname(config.name), up(other.up),
      misc(other.misc), address(other.address.load()), gateway(other.gateway),
      lastEnabled(other.lastEnabled), activeResult(other.activeResult), checkState(Idle),
      thread(this), lastCheckTime(other.lastCheckTime) {
    LOG_TRACE("Wan::Wan");
    startThread();
}

// The thread must have returned before the members it reads are destroyed.
Wan::~Wan() {
    if (!tornDown)
        teardown();
}

void Wan::teardown() {
    tornDown = true;
    LOG_TRACE("Wan::~Wan");
    thread.stop();
}

void Wan::startThread() {
    thread.start();
    if (!thread.isRunning())
        LOG_ERROR("%s| unable to start the check thread", ifname.c_str());
}

void Wan::checkActivate() {
    {
        VRX::LockGuard guard(lock);
        if (checkState != Idle) {
            LOG_DEBUG("checking activate -> not idle");
            return;
        }
        lastCheckTime = monotonicSeconds();
        checkState = RunActive;
    }
    // The check thread sleeps until it is told; woken outside the lock, which it takes first.
    thread.wake();
}

void Wan::checkDone() {
    VRX::LockGuard guard(lock);
    if (checkState == SuccessUp || checkState == SuccessDown || checkState == Failed) {
        checkState = Idle;
        return;
    }
    LOG_DEBUG("Check done -> previous checking is not completed");
}

CheckState Wan::readCheckState() const {
    VRX::LockGuard guard(lock);
    return checkState;
}

bool Wan::inet() const {
    if (!config.enabled || !up || !misc || !ipValid() || !gwValid())
        return false;
    return lastEnabled || config.monitorMode != Active || activeResult;
}
