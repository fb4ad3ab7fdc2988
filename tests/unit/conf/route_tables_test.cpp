#include <gtest/gtest.h>

#include <fstream>
#include <random>

#include "common/test_util.h"
#include "conf/route_tables.h"

namespace {

using Tables = std::map<std::string, int>;

struct TableCase {
    const char* what;
    std::string content;
    Tables expected;
};

const TableCase kCases[] = {
    {"iproute2 defaults",
     "#\n# reserved values\n#\n255\tlocal\n254\tmain\n253\tdefault\n0\tunspec\n",
     {{"local", 255}, {"main", 254}, {"default", 253}, {"unspec", 0}}},
    {"leading blanks before the number",
     "   100 eth0\n\t101\twlan0\n",
     {{"eth0", 100}, {"wlan0", 101}}},
    {"blanks before # cannot be read as a number", "  # 100 eth0\n", {}},
    {"trailing comment ignored", "100 eth0 # uplink one\n", {{"eth0", 100}}},
    {"number only or word first skipped", "100\neth0 100\n\n101 wlan0\n", {{"wlan0", 101}}},
    {"20-character name cut to 15", "7 abcdefghijklmnopqrst\n", {{"abcdefghijklmno", 7}}},
    {"first line naming a table wins", "100 eth0\n200 eth0\n", {{"eth0", 100}}},
    {"same number under two names", "100 eth0\n100 eth1\n", {{"eth0", 100}, {"eth1", 100}}},
    {"negative number kept", "-5 odd\n", {{"odd", -5}}},
    {"hex number ends before x", "0x10 cellular\n", {{"x10", 0}}},
    {"empty file", "", {}},
    {"only comments", "# one\n#two\n", {}},
    {"last line without newline", "100 eth0\n102 cellular", {{"eth0", 100}, {"cellular", 102}}},
    {"carriage returns are white space", "100 eth0\r\n", {{"eth0", 100}}},
    {"sign allowed", "+12 plus\n", {{"plus", 12}}},
    {"number glued to name", "12eth0\n", {{"eth0", 12}}},
};

TEST(RouteTables, ReadsLinesLikeSscanf) {
    testutil::TempDir dir;
    for (const TableCase& c : kCases) {
        std::string path = dir.write("rt_tables", c.content);
        EXPECT_EQ(loadRouteTables(path), c.expected) << c.what;
    }
}

TEST(RouteTables, MissingOrUnreadableFileGivesEmptyMap) {
    testutil::TempDir dir;
    EXPECT_TRUE(loadRouteTables(dir.path() + "/absent").empty());
    // A directory opens but cannot be read as text.
    EXPECT_TRUE(loadRouteTables(dir.path()).empty());
}

TEST(RouteTables, VeryLongLineIsReadWhole) {
    testutil::TempDir dir;
    std::string content = std::string(100000, ' ') + "42 far\n" + std::string(70000, 'x') + "\n";
    EXPECT_EQ(loadRouteTables(dir.write("rt_tables", content)), (Tables{{"far", 42}}));
}

// Whatever the bytes, every stored name is a 1..15 character word without white space.
TEST(RouteTables, RandomBytesGiveOnlyWellFormedNames) {
    testutil::TempDir dir;
    std::string path = dir.write("rt_tables", "");
    std::mt19937 random(12345);
    const char alphabet[] = "0123456789 \t\n#-+xabc\r\0\xff";
    for (int round = 0; round < 200; ++round) {
        std::string content;
        for (int i = 0; i < 400; ++i)
            content += alphabet[random() % (sizeof(alphabet) - 1)];
        std::ofstream(path, std::ios::trunc | std::ios::binary) << content;
        for (const auto& entry : loadRouteTables(path)) {
            ASSERT_GE(entry.first.size(), 1u);
            ASSERT_LE(entry.first.size(), 15u);
            ASSERT_EQ(entry.first.find_first_of(" \t\r\n"), std::string::npos);
        }
    }
}

} // namespace
