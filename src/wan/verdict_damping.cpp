// Damping of active verdicts: one lost reply must not move the uplink, and with it every NAT
// session, away and straight back.
#include "support/log.h"
#include "wan/wan.h"

namespace {

const char* directionText(bool up) {
    return up ? "up" : "down";
}

} // namespace

void Wan::weighVerdict(bool verdictUp) {
    if (verdictUp == activeResult) {
        clearPending();
        return;
    }
    // A count left from the other way cannot continue: activeResult was set meanwhile.
    if (pendingUp != verdictUp)
        pendingCount = 0;
    pendingUp = verdictUp;
    ++pendingCount;
    const uint32_t needed = verdictUp ? config.upCount : config.downCount;
    if (needed > 1)
        LOG_WAN(TRACE, ifname, "Active check verdict %s %u/%u", directionText(verdictUp),
                pendingCount, needed);
    if (pendingCount < needed)
        return;
    pendingCount = 0;
    activeResult = verdictUp;
}

void Wan::clearPending() {
    if (pendingCount == 0)
        return;
    LOG_WAN(TRACE, ifname, "Active check count %s %u/%u dropped", directionText(pendingUp),
            pendingCount, pendingUp ? config.upCount : config.downCount);
    pendingCount = 0;
}
