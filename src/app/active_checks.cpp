// Driving the active checks: starting them on the WANs that may matter and collecting the
// verdicts their check threads leave behind.
#include "app/app.h"
#include "app/bool_text.h"
#include "support/clock.h"
#include "support/lock.h"
#include "support/log.h"

namespace {

int32_t readLastCheckTime(Wan& wan) {
    VRX::LockGuard guard(wan.lock);
    return wan.lastCheckTime;
}

// True once interval seconds have passed since the last check, or when the clock is behind
// the stamp (which can only mean the stamp is not to be trusted).
bool intervalElapsed(int32_t lastCheckTime, uint32_t interval) {
    const int64_t now = monotonicSeconds();
    return now < lastCheckTime || now - lastCheckTime >= static_cast<int64_t>(interval);
}

// Starts a check on an idle WAN whose interval has run out; a WAN without internet is checked
// at the short interval so that it can come back quickly, and so is one whose verdicts are
// being counted toward a change, so that the change is confirmed quickly.
void startCheckIfDue(Wan& wan) {
    if (!wan.linkReady())
        return;
    const int32_t last = readLastCheckTime(wan);
    const bool hurried = !wan.inet() || wan.pendingCount > 0;
    if (hurried && intervalElapsed(last, wan.config.shortCheckInterval)) {
        LOG_WAN(TRACE, wan.ifname, "Wan::checkActivate after a short interval");
        wan.checkActivate();
    } else if (intervalElapsed(last, wan.config.checkInterval)) {
        LOG_WAN(TRACE, wan.ifname, "Wan::checkActivate");
        wan.checkActivate();
    }
}

// A WAN with several targets says how many of them answered.
void logTargetCounts(const Wan& wan) {
    if (wan.config.moreHosts.empty())
        return;
    uint32_t answered = 0;
    uint32_t probed = 0;
    wan.readTargetCounts(answered, probed);
    LOG_WAN(TRACE, wan.ifname, "%u/%u targets answered", answered, probed);
}

// Takes a finished verdict toward activeResult and releases the check. Returns the verdict in
// a word, or nullptr when none was there to collect.
const char* collectVerdict(Wan& wan, CheckState state, bool checked) {
    const char* name = wan.ifname.c_str();
    if (state == CheckState::SuccessUp || state == CheckState::SuccessDown) {
        const bool reached = state == CheckState::SuccessUp;
        LOG_WAN(TRACE, name, "Wan::checkDone (%s)", reached ? "up" : "down");
        logTargetCounts(wan);
        const bool up = wan.judgeQuality(reached);
        wan.checkDone();
        wan.weighVerdict(up, checked);
        return up ? "up" : "down";
    }
    if (state == CheckState::Failed) {
        LOG_WAN(TRACE, name, "Wan::checkDone (failed)");
        logTargetCounts(wan);
        wan.checkDone();
        return "failed";
    }
    return nullptr;
}

} // namespace

void App::driveActiveChecks() {
    if (mode != Mode::Failover || lastEnabledWan < 0 || wans.empty())
        return;
    // New checks only for the current WAN and those preferred to it; with no current WAN the
    // last resort is left out, as it counts as usable without a check.
    const int limit = currentWan != -1 ? currentWan : lastEnabledWan - 1;
    int top = lastEnabledWan;
    if (static_cast<size_t>(top) >= wans.size())
        top = static_cast<int>(wans.size()) - 1;
    // From the bottom up, so a less preferred WAN's reaction is recorded first and a preferred
    // one's can override it.
    for (int index = top; index >= 0; --index) {
        Wan& wan = wans[index];
        if (!wan.config.enabled || wan.config.monitorMode != MonitorMode::Active)
            continue;
        // A WAN that is no longer checked is judged afresh once its checks resume.
        if (index > limit)
            wan.forgetQuality();
        const bool oldResult = wan.activeResult;
        const CheckState state = wan.readCheckState();
        // A count belongs to the situation it was counted in: it ends once the WAN is no
        // longer checked, before a verdict collected now could complete it.
        const bool checked = wan.linkReady() && index <= limit;
        if (!checked)
            wan.clearPending();
        if (state == CheckState::Idle && index <= limit) {
            startCheckIfDue(wan);
        } else if (const char* verdict = collectVerdict(wan, state, checked)) {
            status.noteVerdict(static_cast<size_t>(index), verdict, wan);
        }
        if (wan.activeResult == oldResult)
            continue;
        LOG_WAN(TRACE, wan.ifname, "Active check result changed to %s", boolText(wan.activeResult));
        if (dumpVerbosity != 0)
            dumpState(DumpPoint::ResultChanged);
        if (!wan.activeResult)
            processInetDown(wan.ifname, wan.downCause());
        else if (wan.inet())
            processInetUp(wan.ifname);
    }
}
