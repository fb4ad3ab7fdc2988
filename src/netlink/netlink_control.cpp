// The control replies to our dump requests: the end of a dump drives the start-up stages, an
// error reply to the last request is reported.
#include <cstdint>
#include <cstring>
#include <linux/rtnetlink.h>

#include "app/app.h"
#include "netlink/netlink_walk.h"
#include "support/log.h"

namespace {

// The stage reached once the final dump has ended.
constexpr int STAGE_COMPLETE = 4;

void stop(bool* running) {
    if (running != nullptr)
        *running = false;
}

} // namespace

void App::handleNetlinkDone(const nlmsghdr* message) {
    // A dump started by another process on the same socket family ends with its own sequence.
    if (netlink::messageHeader(message).nlmsg_seq != dumpSeq)
        return;
    LOG_TRACE("NLMSG_DONE");
    switch (initStage) {
    case 1:
        if (netlinkListItems(RTM_GETADDR))
            initStage = 2;
        else
            stop(running);
        break;
    case 2:
        if (netlinkListItems(RTM_GETROUTE))
            initStage = 3;
        else
            stop(running);
        break;
    case 3:
        initStage = STAGE_COMPLETE;
        LOG_DEBUG("INIT NETLINK COMPLETED");
        searchNextInet = true;
        break;
    default:
        break;
    }
}

void App::handleNetlinkError(const nlmsghdr* message) {
    if (netlink::messageHeader(message).nlmsg_seq != dumpSeq)
        return;
    int32_t code = 0;
    if (!netlink::fixedHeader(message, &code, sizeof(code)) || code == 0)
        return;
    // Only the main thread turns error numbers into text; the check threads never do.
    // A forged reply may carry INT32_MIN, which has no positive counterpart; strerror calls any
    // number outside the errno range unknown, so that one is passed as it is.
    LOG_ERROR("Error: %s\n",
              strerror(code == INT32_MIN ? code : -code)); // NOLINT(concurrency-mt-unsafe)
    // Without all three dumps the engine would decide on a partial picture of the links.
    if (initStage != STAGE_COMPLETE)
        stop(running);
}
