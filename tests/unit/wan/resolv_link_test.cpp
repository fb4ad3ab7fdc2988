#include <climits>
#include <gtest/gtest.h>
#include <unistd.h>

#include "common/test_util.h"
#include "wan/wan.h"
#include "wan_test_support.h"

using namespace wantest;

namespace {

const char* const CANARY = "/var/run/uplinker-wan-canary";

std::string linkTarget() {
    char buffer[PATH_MAX] = {};
    ssize_t length = readlink(RESOLV_LINK, buffer, sizeof(buffer) - 1);
    return length < 0 ? std::string() : std::string(buffer, static_cast<size_t>(length));
}

TEST(LinkResolvConf, RunsLnOnlyWhenCurrent) {
    testutil::RecorderTools tools;
    tools.add("ln");
    Wan wan(makeConfig("eth1"));
    wan.linkResolvConf(false);
    EXPECT_TRUE(tools.calls("ln").empty());
    wan.linkResolvConf(true);
    EXPECT_EQ(tools.calls("ln"),
              (std::vector<std::string>{"-sf /var/run/resolv_eth1.conf /var/run/wan_resolv.conf"}));
}

// Interface names come from the configuration service; whatever they hold, the link must
// point at the resolver file named after them and the shell must run nothing else.
TEST(LinkResolvConf, PointsTheLinkAtTheResolverFileWhateverTheName) {
    const char* names[] = {"eth1",
                           "wlan0",
                           "wan 2",
                           "x$(touch /var/run/uplinker-wan-canary)",
                           "x`touch /var/run/uplinker-wan-canary`",
                           "a\";touch /var/run/uplinker-wan-canary;\"b",
                           "it's;touch /var/run/uplinker-wan-canary",
                           "x\\$HOME"};
    for (const char* name : names) {
        unlink(RESOLV_LINK);
        Wan wan(makeConfig(name));
        wan.linkResolvConf(true);
        EXPECT_EQ(linkTarget(), wan.config.resolvFile) << name;
        EXPECT_NE(access(CANARY, F_OK), 0) << name;
    }
}

TEST(LinkResolvConf, LaterCurrentWanRelinksAndNotCurrentKeepsTheTarget) {
    Wan first(makeConfig("eth0"));
    Wan second(makeConfig("eth1"));
    first.linkResolvConf(true);
    second.linkResolvConf(true);
    EXPECT_EQ(linkTarget(), "/var/run/resolv_eth1.conf");
    first.linkResolvConf(true);
    second.linkResolvConf(false);
    EXPECT_EQ(linkTarget(), "/var/run/resolv_eth0.conf");
    first.linkResolvConf(false);
    EXPECT_EQ(linkTarget(), "/var/run/resolv_eth0.conf");
}

} // namespace
