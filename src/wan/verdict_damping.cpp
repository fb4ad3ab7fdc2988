// Damping of active verdicts: one lost reply must not move the uplink, and with it every NAT
// session, away and straight back.
#include <utility>

#include "support/log.h"
#include "wan/wan.h"

namespace {

const char* directionText(bool up) {
    return up ? "up" : "down";
}

} // namespace

void Wan::weighVerdict(bool verdictUp, bool checked) {
    const uint32_t needed = verdictUp ? config.upCount : config.downCount;
    const bool known = std::exchange(resultKnown, true);
    if (verdictUp == activeResult) {
        clearPending();
        return;
    }
    // Counts damp changes of a known result; the first verdict makes it known.
    if (!known || needed == 1) {
        if (needed > 1)
            LOG_WAN(TRACE, ifname, "Active check verdict %s taken at once, the first",
                    directionText(verdictUp));
        activeResult = verdictUp;
        return;
    }
    if (!checked) {
        LOG_WAN(TRACE, ifname, "Active check verdict %s not counted, the checks stopped",
                directionText(verdictUp));
        return;
    }
    // Every pending verdict disagreed with activeResult, so a count only ever goes one way.
    pendingUp = verdictUp;
    ++pendingCount;
    LOG_WAN(TRACE, ifname, "Active check verdict %s %u/%u", directionText(verdictUp), pendingCount,
            needed);
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
