// The table-name file, read line by line the way iproute2's own files are written.
#include <fstream>
#include <gtest/gtest.h>
#include <map>

#include "conf/route_tables.h"

TEST(RouteTables, ReadsLinesLikeSscanf) {
    using Tables = std::map<std::string, int>;
    const std::pair<std::string, Tables> cases[] = {
        {"#\n# reserved\n255\tlocal\n254\tmain\n0\tunspec\n",
         {{"local", 255}, {"main", 254}, {"unspec", 0}}},
        {"   100 eth0\n\t101\twlan0\r\n", {{"eth0", 100}, {"wlan0", 101}}},
        {"  # 100 eth0\n100\neth0 100\n\n", {}},
        {"100 eth0 # uplink one\n200 eth0\n100 eth1", {{"eth0", 100}, {"eth1", 100}}},
        {"7 abcdefghijklmnopqrst\n", {{"abcdefghijklmno", 7}}},
        {"-5 odd\n+12 plus\n0x10 cellular\n12eth0\n",
         {{"odd", -5}, {"plus", 12}, {"x10", 0}, {"eth0", 12}}},
        {std::string(100000, ' ') + "42 far\n" + std::string(70000, 'x') + "\n", {{"far", 42}}},
    };
    const std::string path = "/var/run/rt_tables.test";
    for (const auto& c : cases) {
        std::ofstream(path, std::ios::trunc) << c.first;
        EXPECT_EQ(loadRouteTables(path), c.second) << c.first.substr(0, 40);
    }
    EXPECT_TRUE(loadRouteTables("/var/run/absent").empty());
    EXPECT_TRUE(loadRouteTables("/var/run").empty());
}
