#include "netlink_fixture.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

NetlinkTest::NetlinkTest() {
    restart();
}

void NetlinkTest::restart() {
    for (const char* name : {"eth0", "wlan0", "eth1"})
        unlink((std::string(ISTATE_DIR) + name).c_str());
    rebuild({wanConfig("eth0", 10, ETH0_TABLE, true), wanConfig("wlan0", 20, WLAN0_TABLE, true),
             wanConfig("eth1", 30, 103, false)},
            Failover);
}

NetlinkTest::~NetlinkTest() {
    if (app && app->netlinkFd != -1)
        close(app->netlinkFd);
    if (peer != -1)
        close(peer);
}

WanConfig NetlinkTest::wanConfig(const std::string& name, uint32_t priority, int32_t table,
                                 bool enabled) {
    WanConfig config;
    config.name = name;
    config.type = Ethernet;
    config.enabled = enabled;
    config.priority = priority;
    config.monitorMode = Passive;
    config.checkInterval = 30;
    config.shortCheckInterval = 10;
    config.routeTable = table;
    config.resolvFile = "/var/run/resolv_" + name + ".conf";
    return config;
}

void NetlinkTest::rebuild(const std::vector<WanConfig>& configs, Mode mode) {
    if (app && app->netlinkFd != -1)
        close(app->netlinkFd);
    if (peer != -1)
        close(peer);
    app.reset();
    Conf conf;
    conf.valid = true;
    conf.mode = mode;
    conf.wanConfigs.assign(configs.begin(), configs.end());
    app.reset(new App(&running, 0));
    ASSERT_TRUE(app->initWans(conf));
    int pair[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, pair));
    const int on = 1;
    ASSERT_EQ(0, setsockopt(pair[0], SOL_SOCKET, SO_PASSCRED, &on, sizeof(on)));
    app->netlinkFd = pair[0];
    peer = pair[1];
    app->initStage = 4;
    app->searchNextInet = false;
    // Each check thread announces itself once; wait for that so that the tests see only what
    // the messages caused.
    const int threads = static_cast<int>(app->wans.size());
    EXPECT_TRUE(testutil::waitFor(
        [&] { return log.count("WanCheckingThread::checkingThread") == threads; }));
    log.clear();
}

void NetlinkTest::deliver(const nltest::Bytes& datagram) {
    ASSERT_EQ(static_cast<ssize_t>(datagram.size()),
              send(peer, datagram.data(), datagram.size(), 0));
    app->netlinkReadMessages();
}

std::vector<nltest::Bytes> NetlinkTest::sentRequests() {
    std::vector<nltest::Bytes> requests;
    nltest::Bytes buffer(4096);
    for (;;) {
        const ssize_t got = recv(peer, buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (got < 0)
            break;
        requests.emplace_back(buffer.begin(), buffer.begin() + got);
    }
    return requests;
}

Wan& NetlinkTest::wan(const std::string& name) {
    return *app->findWanByName(name);
}

void NetlinkTest::bringUp(const std::string& name, int32_t index, const std::string& address,
                          const std::string& gateway, uint8_t table) {
    deliver(nltest::link(RTM_NEWLINK, index, FLAGS_RUNNING, name));
    deliver(nltest::address(RTM_NEWADDR, index, address));
    deliver(nltest::route(RTM_NEWROUTE, index, gateway, table));
}

std::string NetlinkTest::istate(const std::string& name) {
    return testutil::readText(std::string(ISTATE_DIR) + name);
}
