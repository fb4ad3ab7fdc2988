#include <gtest/gtest.h>

#include <string>

#include "conf/wan_config.h"

namespace {

TEST(WanConfigNames, KnownValues) {
    EXPECT_STREQ(modeName(Constant), "Constant");
    EXPECT_STREQ(modeName(Failover), "Failover");
    EXPECT_STREQ(wanTypeName(Unknown), "Unknown");
    EXPECT_STREQ(wanTypeName(Cellular), "PPP");
    EXPECT_STREQ(wanTypeName(Wifi), "WIFI");
    EXPECT_STREQ(wanTypeName(Ethernet), "ETHERNET");
    EXPECT_STREQ(monitorModeName(Passive), "Passive");
    EXPECT_STREQ(monitorModeName(Active), "Active");
    EXPECT_STREQ(checkTypeName(Icmp), "Icmp");
    EXPECT_STREQ(checkTypeName(Tcp), "Tcp");
    EXPECT_STREQ(hostKindName(Ipv4), "ipv4");
    EXPECT_STREQ(hostKindName(Fqdn), "fqdn");
}

TEST(WanConfigNames, OutOfRangeValuesPrintUnknown) {
    for (int value : {-1, 2, 4, 1000, INT32_MIN}) {
        SCOPED_TRACE(value);
        EXPECT_STREQ(modeName(static_cast<Mode>(value)), "Unknown");
        EXPECT_STREQ(monitorModeName(static_cast<MonitorMode>(value)), "Unknown");
        EXPECT_STREQ(checkTypeName(static_cast<CheckType>(value)), "Unknown");
    }
    for (int value : {-1, 4, 1000})
        EXPECT_STREQ(wanTypeName(static_cast<WanType>(value)), "Unknown") << value;
    for (int value : {2, 255})
        EXPECT_STREQ(hostKindName(static_cast<HostKind>(value)), "Unknown") << value;
}

} // namespace
