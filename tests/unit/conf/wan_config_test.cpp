#include <gtest/gtest.h>

#include "conf/wan_config.h"

namespace {

// Values from outside the enumerations must not index past the name tables.
TEST(WanConfigNames, OutOfRangeValuesPrintUnknown) {
    for (int value : {-1, 4, 1000, INT32_MIN}) {
        SCOPED_TRACE(value);
        EXPECT_STREQ(modeName(static_cast<Mode>(value)), "Unknown");
        EXPECT_STREQ(monitorModeName(static_cast<MonitorMode>(value)), "Unknown");
        EXPECT_STREQ(checkTypeName(static_cast<CheckType>(value)), "Unknown");
        EXPECT_STREQ(wanTypeName(static_cast<WanType>(value)), "Unknown");
    }
    EXPECT_STREQ(modeName(Constant), "Constant");
    EXPECT_STREQ(hostKindName(static_cast<HostKind>(2)), "Unknown");
}

} // namespace
