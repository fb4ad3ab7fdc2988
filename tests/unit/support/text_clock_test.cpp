// Text helpers and the monotonic clock.
#include <gtest/gtest.h>

#include <ctime>

#include "support/clock.h"
#include "support/text.h"

namespace {

TEST(TextTest, TrimAndJoin) {
    const std::pair<std::string, std::string> trims[] = {
        {"", ""},
        {"   ", ""},
        {"  nameserver 1.1.1.1\n", "nameserver 1.1.1.1"},
        {"\t\r\n\v\f x y \f\v\n\r\t", "x y"},
        {"inner  space", "inner  space"}};
    for (const auto& c : trims)
        EXPECT_EQ(VRX::Text::trim(c.first), c.second) << "'" << c.first << "'";
    const std::pair<std::vector<std::string>, std::string> joins[] = {
        {{}, ""},
        {{"one"}, "one"},
        {{"-I", "eth0", "8.8.8.8"}, "-I eth0 8.8.8.8"},
        {{"", "b", ""}, " b "}};
    for (const auto& c : joins)
        EXPECT_EQ(VRX::Text::join(c.first, ' '), c.second);
    EXPECT_EQ(VRX::Text::join({"a", "b"}, ','), "a,b");
}

TEST(ClockTest, MonotonicSecondsFollowTheMonotonicClock) {
    timespec before{}, after{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    const int32_t seconds = monotonicSeconds();
    clock_gettime(CLOCK_MONOTONIC, &after);
    EXPECT_GE(seconds, static_cast<int32_t>(before.tv_sec));
    EXPECT_LE(seconds, static_cast<int32_t>(after.tv_sec));
}

} // namespace
