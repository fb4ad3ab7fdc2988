// The three start-up dumps, the sequence numbers that tie replies to requests, and error
// replies during and after start-up.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include "netlink_fixture.h"

namespace {

struct Request {
    uint32_t length;
    uint16_t type;
    uint16_t flags;
    uint32_t seq;
    uint32_t pid;
    uint8_t family;
};

Request parse(const nltest::Bytes& bytes) {
    Request request{};
    nlmsghdr header;
    std::memcpy(&header, bytes.data(), sizeof(header));
    request = {header.nlmsg_len, header.nlmsg_type, header.nlmsg_flags,
               header.nlmsg_seq, header.nlmsg_pid,  bytes[16]};
    return request;
}

void expectRequest(const nltest::Bytes& bytes, uint16_t type, uint32_t seq) {
    ASSERT_EQ(17u, bytes.size());
    const Request request = parse(bytes);
    EXPECT_EQ(17u, request.length);
    EXPECT_EQ(type, request.type);
    EXPECT_EQ(0x305, request.flags);
    EXPECT_EQ(seq, request.seq);
    EXPECT_EQ(0u, request.pid);
    EXPECT_EQ(0, request.family);
}

class StartupTest : public NetlinkTest {
protected:
    // What openNetlink leaves behind, on the socket pair instead of the kernel.
    void requestLinks() {
        app->initStage = 0;
        ASSERT_TRUE(app->netlinkListItems(RTM_GETLINK));
        app->initStage = 1;
    }
};

} // namespace

TEST_F(StartupTest, ThreeDumpsInOrderThenComplete) {
    requestLinks();
    auto requests = sentRequests();
    ASSERT_EQ(1u, requests.size());
    expectRequest(requests[0], RTM_GETLINK, 1);
    EXPECT_TRUE(log.has("App::netlinkListItems(type->18)"));

    deliver(nltest::concat(
        {nltest::link(RTM_NEWLINK, ETH0_INDEX, FLAGS_RUNNING, "eth0"), nltest::done(1)}));
    EXPECT_EQ(2, app->initStage);
    requests = sentRequests();
    ASSERT_EQ(1u, requests.size());
    expectRequest(requests[0], RTM_GETADDR, 2);

    deliver(
        nltest::concat({nltest::address(RTM_NEWADDR, ETH0_INDEX, "192.0.2.10"), nltest::done(2)}));
    EXPECT_EQ(3, app->initStage);
    requests = sentRequests();
    ASSERT_EQ(1u, requests.size());
    expectRequest(requests[0], RTM_GETROUTE, 3);
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

TEST_F(StartupTest, DoneOfAnotherSequenceChangesNothing) {
    requestLinks();
    sentRequests();
    for (uint32_t seq : {0u, 2u, 77u})
        deliver(nltest::done(seq));
    EXPECT_EQ(1, app->initStage);
    EXPECT_TRUE(sentRequests().empty());
    EXPECT_EQ(0, log.count("NLMSG_DONE"));
}

TEST_F(StartupTest, DoneAfterStartupOnlyLogged) {
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

namespace {

struct ErrorCase {
    const char* what;
    int stage;
    uint32_t replySeq;
    int32_t code;
    bool logged;
    bool keepsRunning;
};

const ErrorCase ERROR_CASES[] = {
    {"link dump refused", 1, 1, -ENOENT, true, false},
    {"address dump refused", 2, 1, -EPERM, true, false},
    {"route dump refused", 3, 1, -EBUSY, true, false},
    {"after start-up", 4, 1, -ENOBUFS, true, true},
    {"acknowledgement at start-up", 1, 1, 0, false, true},
    {"acknowledgement later", 4, 1, 0, false, true},
    {"other sequence at start-up", 1, 9, -ENOENT, false, true},
};

} // namespace

TEST_F(StartupTest, ErrorReplies) {
    for (const ErrorCase& c : ERROR_CASES) {
        SCOPED_TRACE(c.what);
        running = true;
        log.clear();
        app->initStage = c.stage;
        app->dumpSeq = 1;
        deliver(nltest::error(c.replySeq, c.code));
        const std::string line = std::string("ERROR Error: ") + strerror(-c.code);
        const auto labelled = log.labelled();
        const bool logged = std::find(labelled.begin(), labelled.end(), line) != labelled.end();
        EXPECT_EQ(c.logged, logged);
        EXPECT_EQ(c.logged ? 1u : 0u, labelled.size());
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
