// An App whose kernel is one end of a Unix datagram socket pair: the test plays the kernel on
// the other end, sending crafted datagrams and reading the dump requests.
#pragma once

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "app/app.h"
#include "common/test_util.h"
#include "netlink_builder.h"

// Interface indices as a kernel might hand them out; nothing depends on their values.
constexpr int32_t ETH0_INDEX = 7;
constexpr int32_t WLAN0_INDEX = 8;
constexpr int32_t ETH1_INDEX = 9;
constexpr int32_t ETH0_TABLE = 101;
constexpr int32_t WLAN0_TABLE = 102;
// IFF_UP | IFF_RUNNING | IFF_LOWER_UP, what a link with carrier reports.
constexpr uint32_t FLAGS_RUNNING = 0x10041;

class NetlinkTest : public ::testing::Test {
public:
    // A passive Ethernet WAN with its own routing table.
    static WanConfig wanConfig(const std::string& name, uint32_t priority, int32_t table,
                               bool enabled);

protected:
    // eth0 and wlan0 enabled (in that order), eth1 disabled; Failover; start-up complete.
    NetlinkTest();
    ~NetlinkTest() override;

    // Back to the table the constructor builds, with no state files.
    void restart();
    // Rebuilds the table from other settings.
    void rebuild(const std::vector<WanConfig>& configs, Mode mode);
    // Sends one datagram as the kernel would and lets the App read it.
    void deliver(const nltest::Bytes& datagram);
    // The dump requests the App has sent since the last call.
    std::vector<nltest::Bytes> sentRequests();
    Wan& wan(const std::string& name);
    // Link with carrier, address and gateway in its own table: a usable WAN.
    void bringUp(const std::string& name, int32_t index, const std::string& address,
                 const std::string& gateway, uint8_t table);
    static std::string istate(const std::string& name);

    bool running = true;
    testutil::LogCapture log;
    std::unique_ptr<App> app;
    int peer = -1;
};
