// Reading datagrams: who may send them, what a receive error does, and walking several,
// truncated or garbled messages without reading past the end.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/rtnetlink.h>
#include <random>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "netlink_fixture.h"

namespace {

constexpr uid_t NOBODY = 65534;

// Sends the datagram from a child that has given up root first.
void sendAsNobody(int fd, const nltest::Bytes& datagram) {
    const pid_t child = fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        if (setresgid(NOBODY, NOBODY, NOBODY) != 0 || setresuid(NOBODY, NOBODY, NOBODY) != 0)
            _exit(2);
        _exit(send(fd, datagram.data(), datagram.size(), 0) == static_cast<ssize_t>(datagram.size())
                  ? 0
                  : 3);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(0, WEXITSTATUS(status));
}

// A link, an address and a route of eth0, the order the start-up dumps bring them in.
nltest::Bytes eth0Datagram() {
    return nltest::concat({nltest::link(RTM_NEWLINK, ETH0_INDEX, FLAGS_RUNNING, "eth0"),
                           nltest::address(RTM_NEWADDR, ETH0_INDEX, "192.0.2.10"),
                           nltest::route(RTM_NEWROUTE, ETH0_INDEX, "192.0.2.1", ETH0_TABLE)});
}

// Back to the state before any message was seen.
void forget(Wan& wan) {
    wan.ifIndex = -1;
    wan.up = false;
    wan.address.store(NO_ADDRESS);
    wan.gateway = NO_ADDRESS;
}

} // namespace

TEST_F(NetlinkTest, DatagramFromUnprivilegedSenderIgnored) {
    sendAsNobody(peer, eth0Datagram());
    app->netlinkReadMessages();
    EXPECT_EQ(-1, wan("eth0").ifIndex);
    EXPECT_FALSE(wan("eth0").up);
    EXPECT_EQ(std::vector<std::string>{}, log.messages());
    EXPECT_TRUE(running);

    deliver(eth0Datagram());
    EXPECT_EQ(ETH0_INDEX, wan("eth0").ifIndex);
}

TEST_F(NetlinkTest, SeveralMessagesHandledInOrder) {
    deliver(eth0Datagram());
    EXPECT_TRUE(wan("eth0").up);
    EXPECT_EQ(nltest::ipv4("192.0.2.10"), wan("eth0").address.load());
    EXPECT_EQ(nltest::ipv4("192.0.2.1"), wan("eth0").gateway);
    const auto messages = log.messages();
    const std::vector<std::string> expected = {
        "eth0| RTM_NEWLINK: index=7 flags=0x10041 [UP][RUNNING][LOWER_UP]",
        "eth0| Up state changed to true",
        "eth0| RTM_NEWADDR index(7)",
        "eth0| Address changed to 192.0.2.10",
        "eth0| RTM_NEWROUTE index(7) gw(192.0.2.1) table(101)",
        "eth0| Gateway set to 192.0.2.1",
        "eth0| App::processInetUp",
    };
    EXPECT_EQ(expected, messages);

    // The same bytes at an odd address.
    forget(wan("eth0"));
    const nltest::Bytes full = eth0Datagram();
    nltest::Bytes shifted(full.size() + 1);
    std::memcpy(shifted.data() + 1, full.data(), full.size());
    app->netlinkHandleDatagram(shifted.data() + 1, full.size());
    EXPECT_TRUE(wan("eth0").inet());
}

TEST_F(NetlinkTest, MessageRunningPastTheEndEndsTheWalk) {
    nltest::Bytes datagram = eth0Datagram();
    // The second message claims four bytes more than the datagram still holds.
    const size_t second = nltest::link(RTM_NEWLINK, ETH0_INDEX, FLAGS_RUNNING, "eth0").size();
    const uint32_t tooLong = static_cast<uint32_t>(datagram.size() - second + 4);
    std::memcpy(datagram.data() + second, &tooLong, sizeof(tooLong));
    deliver(datagram);
    EXPECT_TRUE(wan("eth0").up);
    EXPECT_FALSE(wan("eth0").ipValid());
    EXPECT_FALSE(wan("eth0").gwValid());
}

TEST_F(NetlinkTest, ReceiveErrorsStopOnlyWhenReal) {
    // Nothing queued on a non-blocking socket: EAGAIN, the step just goes on.
    const int flags = fcntl(app->netlinkFd, F_GETFL);
    ASSERT_EQ(0, fcntl(app->netlinkFd, F_SETFL, flags | O_NONBLOCK));
    app->netlinkReadMessages();
    EXPECT_TRUE(running);

    // A descriptor that is no socket at all.
    close(app->netlinkFd);
    app->netlinkFd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_NE(-1, app->netlinkFd);
    app->netlinkReadMessages();
    EXPECT_FALSE(running);
}

TEST_F(NetlinkTest, EveryTruncationOfADatagramIsSafe) {
    const nltest::Bytes full = eth0Datagram();
    const size_t linkSize = nltest::link(RTM_NEWLINK, ETH0_INDEX, FLAGS_RUNNING, "eth0").size();
    for (size_t length = 0; length < full.size(); ++length) {
        SCOPED_TRACE(length);
        forget(wan("eth0"));
        // An exact-size heap copy, so that the address sanitizer sees any read past the end.
        const nltest::Bytes cut(full.begin(), full.begin() + static_cast<long>(length));
        app->netlinkHandleDatagram(cut.data(), cut.size());
        // A link message cut anywhere must not have been taken.
        EXPECT_EQ(length >= linkSize, wan("eth0").ifIndex == ETH0_INDEX);
        EXPECT_FALSE(wan("eth0").gwValid());
    }
}

TEST_F(NetlinkTest, GarbledCopiesAreSafe) {
    const nltest::Bytes full =
        nltest::concat({eth0Datagram(), nltest::done(1), nltest::error(1, -ENOENT),
                        nltest::link(RTM_DELLINK, ETH0_INDEX, 0, "")});
    std::mt19937 random(20240601);
    for (int round = 0; round < 2000; ++round) {
        nltest::Bytes garbled = full;
        const int flips = 1 + static_cast<int>(random() % 8);
        for (int flip = 0; flip < flips; ++flip)
            garbled[random() % garbled.size()] = static_cast<uint8_t>(random());
        garbled.resize(random() % (garbled.size() + 1));
        app->netlinkHandleDatagram(garbled.data(), garbled.size());
    }
    // Still on its feet: a clean datagram is handled as usual.
    for (Wan& each : app->wans)
        forget(each);
    app->netlinkHandleDatagram(full.data(), full.size());
    EXPECT_EQ(-1, wan("eth0").ifIndex);
    EXPECT_FALSE(wan("eth0").up);
    EXPECT_TRUE(wan("eth0").ipValid());
}

TEST_F(NetlinkTest, AttributeRunningPastItsMessageIsDropped) {
    ifinfomsg info{};
    info.ifi_index = ETH0_INDEX;
    info.ifi_flags = FLAGS_RUNNING;
    // IFLA_IFNAME claiming 12 bytes where the message holds only its header and "eth0".
    const rtattr overlong = {12, IFLA_IFNAME};
    const nltest::Bytes message = nltest::Message(RTM_NEWLINK)
                                      .raw(&info, sizeof(info))
                                      .raw(&overlong, 4)
                                      .raw("eth0", 4)
                                      .bytes();
    const nltest::Bytes followed = nltest::concat({message, nltest::done(99)});
    for (const nltest::Bytes* datagram : {&message, &followed}) {
        log.clear();
        // Exact-size heap copies: reading on would leave the datagram or enter the next message.
        const nltest::Bytes copy = *datagram;
        app->netlinkHandleDatagram(copy.data(), copy.size());
        EXPECT_EQ(std::vector<std::string>{"| RTM_NEWLINK: index(7) skipping as not wan interface"},
                  log.messages());
        EXPECT_EQ(-1, wan("eth0").ifIndex);
    }
}
