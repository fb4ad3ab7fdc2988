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
    seenInDump.assign(wans.size(), 0);
    dumpSeq = nextSeq++;
    return socket.requestDump(type, dumpSeq);
}

void App::netlinkReadMessages() {
    switch (socket.receive(*this)) {
    case netlink::Socket::Received::Datagram:
        break;
    case netlink::Socket::Received::Overrun:
        readStateAgain();
        break;
    case netlink::Socket::Received::Failed:
        LOG_ERROR("netlink receive failed: %s", strerror(errno)); // NOLINT(concurrency-mt-unsafe)
        running = false;
        break;
    }
}

// The kernel dropped notifications it had no room for, so what the engine knows may be stale
// in any way: the three dumps of the start run again, decisions wait for them, and whatever
// they no longer show is gone. A dump under way is finished first, as the kernel refuses a
// second one on the same socket.
void App::readStateAgain() {
    LOG_WARNING("netlink receive buffer overrun, notifications lost: reading links, addresses "
                "and routes again");
    rereading = true;
    if (started())
        restartDumps();
    else
        restartAsked = true;
}

void App::restartDumps() {
    restartAsked = false;
    if (netlinkListItems(RTM_GETLINK))
        initStage = STAGE_LINKS;
    else
        running = false;
}

void App::handleNetlinkDone(uint32_t seq) {
    // A dump started by another process on the same socket family ends with its own sequence.
    if (seq != dumpSeq)
        return;
    LOG_TRACE("NLMSG_DONE");
    if (rereading)
        dropUnseen(initStage);
    if (restartAsked) {
        restartDumps();
        return;
    }
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
        if (rereading)
            chooseAfterReading();
        else
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
