#include "wan/wan.h"

#include "support/clock.h"
#include "support/log.h"

Wan::Wan(const WanConfig& wanConfig)
    : config(wanConfig), ifIndex(-1), ifname(config.name), up(false), misc(true),
      address(NO_ADDRESS), gateway(NO_ADDRESS), lastEnabled(false), activeResult(false),
      checkState(CheckState::Idle), thread(this), lastCheckTime(0) {
    LOG_TRACE("Wan::Wan");
    // Started last: the thread reads this object, which must be complete by then.
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
        LOG_WAN(ERROR, ifname, "unable to start the check thread");
}

void Wan::checkActivate() {
    {
        VRX::LockGuard guard(lock);
        if (checkState != CheckState::Idle) {
            LOG_DEBUG("checking activate -> not idle");
            return;
        }
        lastCheckTime = monotonicSeconds();
        checkState = CheckState::RunActive;
    }
    checkEpoch = quality.epoch();
    // The check thread sleeps until it is told; woken outside the lock, which it takes first.
    thread.wake();
}

void Wan::checkDone() {
    VRX::LockGuard guard(lock);
    if (checkState == CheckState::SuccessUp || checkState == CheckState::SuccessDown ||
        checkState == CheckState::Failed) {
        checkState = CheckState::Idle;
        return;
    }
    LOG_DEBUG("Check done -> previous checking is not completed");
}

CheckState Wan::readCheckState() const {
    VRX::LockGuard guard(lock);
    return checkState;
}

void Wan::readTargetCounts(uint32_t& answered, uint32_t& probed) const {
    VRX::LockGuard guard(lock);
    answered = targetsAnswered;
    probed = targetsProbed;
}

bool Wan::inet() const {
    if (!config.enabled || !linkReady())
        return false;
    return lastEnabled || config.monitorMode != MonitorMode::Active || activeResult;
}
