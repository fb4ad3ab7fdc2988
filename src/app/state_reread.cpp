// Reading the kernel's state again after a receive overrun: the dumps tell what is there, and
// what they no longer show went while notifications were lost; the uplink is then chosen on
// that fresh picture.
#include "app/app.h"
#include "support/log.h"

namespace {

uint8_t stageBit(int stage) {
    return static_cast<uint8_t>(1u << stage);
}

} // namespace

void App::noteSeen(const Wan& wan, int stage) {
    if (!rereading)
        return;
    for (size_t index = 0; index < wans.size() && index < seenInDump.size(); ++index) {
        if (&wans[index] == &wan)
            seenInDump[index] |= stageBit(stage);
    }
}

void App::loseUnseen(Wan& wan, const char* why) {
    LOG_WAN(TRACE, wan.ifname, "not in the dump: %s", why);
    processInetDown(wan.ifname, why);
}

void App::dropUnseen(int stage) {
    for (size_t index = 0; index < wans.size(); ++index) {
        Wan& wan = wans[index];
        if (!wan.config.enabled ||
            (index < seenInDump.size() && (seenInDump[index] & stageBit(stage)) != 0))
            continue;
        if (stage == STAGE_LINKS) {
            wan.ifIndex = -1;
            if (wan.up) {
                wan.up = false;
                loseUnseen(wan, "link deleted");
            }
        } else if (stage == STAGE_ADDRESSES && wan.ipValid()) {
            wan.address.store(NO_ADDRESS);
            loseUnseen(wan, "address removed");
        } else if (stage == STAGE_ROUTES && wan.gwValid()) {
            wan.gateway = NO_ADDRESS;
            loseUnseen(wan, "gateway removed");
        }
    }
}

// As at start, the most preferred usable WAN is chosen from the top; when it is the uplink
// already, the choice is applied again, as the default route may have gone meanwhile.
void App::chooseAfterReading() {
    rereading = false;
    const int best = searchNextWan(-1);
    if (best != -1 && (currentWan == -1 || best < currentWan))
        status.requestedBy(wans[static_cast<size_t>(best)].ifname, "usable again");
    if (best == -1 && currentWan != -1) {
        previousWan = currentWan;
        currentWan = -1;
        refreshInet = true;
    } else if (best != currentWan) {
        nextWan = best;
        searchNextInet = true;
    } else {
        refreshInet = true;
    }
}
