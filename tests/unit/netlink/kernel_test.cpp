// The socket against the real kernel: the tests run in a private network namespace that has
// only the loopback link, which the start-up dumps must bring in.
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/select.h>

#include "common/test_util.h"
#include "netlink_fixture.h"

namespace {

// Reads what the kernel sends until the start-up dumps are through or the deadline passes.
bool runStartup(App& app) {
    return testutil::waitFor([&] {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(app.netlinkFd, &readable);
        timeval timeout = {0, 0};
        if (select(app.netlinkFd + 1, &readable, nullptr, nullptr, &timeout) > 0)
            app.netlinkReadMessages();
        return app.initStage == 4;
    });
}

} // namespace

TEST(KernelNetlink, StartupDumpsOfTheLoopback) {
    testutil::LogCapture log;
    bool running = true;
    Conf conf;
    conf.valid = true;
    conf.mode = Constant;
    conf.wanConfigs = {NetlinkTest::wanConfig("lo", 10, RT_TABLE_LOCAL, true)};
    App app(&running, 0);
    ASSERT_TRUE(app.initWans(conf));

    ASSERT_TRUE(app.openNetlink());
    EXPECT_NE(-1, app.netlinkFd);
    EXPECT_EQ(1, app.initStage);
    EXPECT_EQ(1u, app.dumpSeq);
    EXPECT_EQ(2u, app.nextSeq);
    EXPECT_TRUE(log.has("App::netlinkListItems(type->18)"));

    // The kernel answering all three requests means it accepted their 17-byte layout.
    ASSERT_TRUE(runStartup(app));
    EXPECT_TRUE(running);
    EXPECT_EQ(3, log.count("NLMSG_DONE"));
    EXPECT_EQ(1, log.count("INIT NETLINK COMPLETED"));
    EXPECT_EQ(4u, app.nextSeq);
    Wan& lo = app.wans[0];
    EXPECT_EQ(static_cast<int32_t>(if_nametoindex("lo")), lo.ifIndex);
    EXPECT_TRUE(lo.up);
    EXPECT_EQ(nltest::ipv4("127.0.0.1"), lo.address.load());
    // Local-table routes of the loopback carry no gateway.
    EXPECT_FALSE(lo.gwValid());
    app.deinit();
    EXPECT_EQ(-1, app.netlinkFd);
}
