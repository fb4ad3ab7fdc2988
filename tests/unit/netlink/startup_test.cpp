// The three start-up dumps, the sequence numbers that tie replies to requests, error replies
// during and after start-up, and the same start-up against the real kernel.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include "netlink_fixture.h"

namespace {

void expectRequest(const nltest::Bytes& bytes, uint16_t type, uint32_t seq) {
    ASSERT_EQ(17u, bytes.size());
    nlmsghdr header;
    std::memcpy(&header, bytes.data(), sizeof(header));
    EXPECT_EQ(17u, header.nlmsg_len);
    EXPECT_EQ(type, header.nlmsg_type);
    EXPECT_EQ(0x305, header.nlmsg_flags);
    EXPECT_EQ(seq, header.nlmsg_seq);
    EXPECT_EQ(0u, header.nlmsg_pid);
    EXPECT_EQ(0, bytes[16]);
}

class StartupTest : public NetlinkTest {
protected:
    // What openNetlink leaves behind, on the socket pair instead of the kernel.
    void requestLinks() {
        app->initStage = 0;
        ASSERT_TRUE(app->netlinkListItems(RTM_GETLINK));
        app->initStage = 1;
    }
    // Delivers one reply and expects exactly the follow-up request.
    void replyAndExpect(const nltest::Bytes& reply, int stage, uint16_t type, uint32_t seq) {
        deliver(reply);
        EXPECT_EQ(stage, app->initStage);
        const auto requests = sentRequests();
        ASSERT_EQ(1u, requests.size());
        expectRequest(requests[0], type, seq);
    }
};

} // namespace

TEST_F(StartupTest, ThreeDumpsInOrderThenComplete) {
    requestLinks();
    auto requests = sentRequests();
    ASSERT_EQ(1u, requests.size());
    expectRequest(requests[0], RTM_GETLINK, 1);
    EXPECT_TRUE(log.has("App::netlinkListItems(type->18)"));
    replyAndExpect(nltest::concat({nltest::link(RTM_NEWLINK, ETH0_INDEX, FLAGS_RUNNING, "eth0"),
                                   nltest::done(1)}),
                   2, RTM_GETADDR, 2);
    replyAndExpect(
        nltest::concat({nltest::address(RTM_NEWADDR, ETH0_INDEX, "192.0.2.10"), nltest::done(2)}),
        3, RTM_GETROUTE, 3);
    EXPECT_FALSE(app->searchNextInet);

    deliver(nltest::concat(
        {nltest::route(RTM_NEWROUTE, ETH0_INDEX, "192.0.2.1", ETH0_TABLE), nltest::done(3)}));
    EXPECT_EQ(4, app->initStage);
    EXPECT_TRUE(app->searchNextInet);
    EXPECT_TRUE(sentRequests().empty());
    EXPECT_EQ(3, log.count("NLMSG_DONE"));
    EXPECT_EQ(1, log.count("INIT NETLINK COMPLETED"));
    EXPECT_TRUE(running);
    // The dumps filled in the WAN before the engine decides anything.
    EXPECT_TRUE(wan("eth0").inet());
    EXPECT_EQ("Up\n", istate("eth0"));
}

TEST_F(StartupTest, DoneOfAnotherSequenceOrAfterStartUpChangesNothing) {
    requestLinks();
    sentRequests();
    for (uint32_t seq : {0u, 2u, 77u})
        deliver(nltest::done(seq));
    EXPECT_EQ(1, app->initStage);
    EXPECT_EQ(0, log.count("NLMSG_DONE"));

    app->initStage = 4;
    app->dumpSeq = 3;
    deliver(nltest::done(3));
    EXPECT_EQ(4, app->initStage);
    EXPECT_EQ(1, log.count("NLMSG_DONE"));
    EXPECT_EQ(0, log.count("INIT NETLINK COMPLETED"));
    EXPECT_FALSE(app->searchNextInet);
    EXPECT_TRUE(sentRequests().empty());
}

TEST_F(StartupTest, FollowUpRequestThatCannotBeSentStops) {
    requestLinks();
    sentRequests();
    // Queue the reply, then take the "kernel" away so that the next request fails.
    const auto reply = nltest::done(1);
    ASSERT_EQ(static_cast<ssize_t>(reply.size()), send(peer, reply.data(), reply.size(), 0));
    close(peer);
    peer = -1;
    const auto previous = signal(SIGPIPE, SIG_IGN);
    app->netlinkReadMessages();
    signal(SIGPIPE, previous);
    EXPECT_FALSE(running);
    EXPECT_EQ(1, app->initStage);
}

TEST_F(StartupTest, ErrorReplies) {
    const struct {
        const char* what;
        int stage;
        uint32_t replySeq;
        int32_t code;
        bool logged;
        bool keepsRunning;
    } cases[] = {
        {"link dump refused", 1, 1, -ENOENT, true, false},
        {"address dump refused", 2, 1, -EPERM, true, false},
        {"route dump refused", 3, 1, -EBUSY, true, false},
        {"after start-up", 4, 1, -ENOBUFS, true, true},
        {"acknowledgement at start-up", 1, 1, 0, false, true},
        {"acknowledgement later", 4, 1, 0, false, true},
        {"other sequence at start-up", 1, 9, -ENOENT, false, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        running = true;
        log.clear();
        app->initStage = c.stage;
        app->dumpSeq = 1;
        deliver(nltest::error(c.replySeq, c.code));
        const std::vector<std::string> expected =
            c.logged ? std::vector<std::string>{std::string("ERROR Error: ") + strerror(-c.code)}
                     : std::vector<std::string>{};
        EXPECT_EQ(expected, log.labelled());
        EXPECT_EQ(c.keepsRunning, running);
        EXPECT_EQ(c.stage, app->initStage);
    }
}

TEST_F(StartupTest, ErrorReplyTooShortForItsCodeIsDropped) {
    app->initStage = 1;
    app->dumpSeq = 1;
    // A bare header of type NLMSG_ERROR: the code would lie beyond the message.
    deliver(nltest::Message(NLMSG_ERROR, 1).bytes());
    // The same with two bytes of the code, padded inside the datagram but not the message.
    nltest::Bytes cut = nltest::error(1, -ENOENT);
    const uint32_t shortLength = 18;
    std::memcpy(cut.data(), &shortLength, sizeof(shortLength));
    deliver(cut);
    EXPECT_TRUE(running);
    EXPECT_TRUE(log.messages().empty());
}

// The tests run in a private network namespace whose only link is the loopback.
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
    EXPECT_EQ(1, app.initStage);
    EXPECT_EQ(2u, app.nextSeq);

    // The kernel answering all three requests means it accepted their 17-byte layout.
    ASSERT_TRUE(testutil::waitFor([&] {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(app.netlinkFd, &readable);
        timeval timeout = {0, 0};
        if (select(app.netlinkFd + 1, &readable, nullptr, nullptr, &timeout) > 0)
            app.netlinkReadMessages();
        return app.initStage == 4;
    }));
    EXPECT_TRUE(running);
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
