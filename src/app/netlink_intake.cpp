// The engine's side of the rtnetlink intake: the start-up dumps, one datagram per work step,
// and the control replies that drive the start-up stages.
#include <cstring>
#include <linux/rtnetlink.h>

#include "app/app.h"
#include "support/log.h"

bool App::openNetlink() {
    if (!socket.open())
        return false;
    if (!netlinkListItems(RTM_GETLINK)) {
        socket.close();
        return false;
    }
    initStage = STAGE_LINKS;
    return true;
}

bool App::netlinkListItems(uint16_t type) {
    LOG_TRACE("App::netlinkListItems(type->%hu)", type);
    dumpSeq = nextSeq++;
    return socket.requestDump(type, dumpSeq);
}

void App::netlinkReadMessages() {
    if (!socket.receive(*this))
        running = false;
}

void App::handleNetlinkDone(uint32_t seq) {
    // A dump started by another process on the same socket family ends with its own sequence.
    if (seq != dumpSeq)
        return;
    LOG_TRACE("NLMSG_DONE");
    switch (initStage) {
    case STAGE_LINKS:
        if (netlinkListItems(RTM_GETADDR))
            initStage = STAGE_ADDRESSES;
        else
            running = false;
        break;
    case STAGE_ADDRESSES:
        if (netlinkListItems(RTM_GETROUTE))
            initStage = STAGE_ROUTES;
        else
            running = false;
        break;
    case STAGE_ROUTES:
        initStage = STAGE_COMPLETE;
        LOG_DEBUG("INIT NETLINK COMPLETED");
        searchNextInet = true;
        break;
    default:
        break;
    }
}

void App::handleNetlinkError(uint32_t seq, int32_t code) {
    if (seq != dumpSeq || code == 0)
        return;
    // Only the main thread turns error numbers into text; the check threads never do.
    // A forged reply may carry INT32_MIN, which has no positive counterpart; strerror calls any
    // number outside the errno range unknown, so that one is passed as it is.
    LOG_ERROR("Error: %s\n",
              strerror(code == INT32_MIN ? code : -code)); // NOLINT(concurrency-mt-unsafe)
    // Without all three dumps the engine would decide on a partial picture of the links.
    if (!started())
        running = false;
}
