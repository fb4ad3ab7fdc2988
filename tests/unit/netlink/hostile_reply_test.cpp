// Replies no kernel sends but a forged or corrupted datagram can carry; inputs the fuzz target
// found are kept here as well as in its corpus.
#include <cerrno>
#include <climits>
#include <cstring>

#include "netlink_fixture.h"

TEST_F(NetlinkTest, ErrorReplyWithMostNegativeCodeIsReportedAsUnknown) {
    app->initStage = 4;
    app->dumpSeq = 1;
    deliver(nltest::error(1, INT32_MIN));
    EXPECT_EQ(std::vector<std::string>{std::string("ERROR Error: ") + strerror(INT32_MIN)},
              log.labelled());
    EXPECT_TRUE(running);
}
