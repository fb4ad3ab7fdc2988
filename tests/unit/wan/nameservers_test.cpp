#include <gtest/gtest.h>

#include "common/test_util.h"
#include "wan/checking_thread.h"

namespace {

struct NameserverCase {
    const char* what;
    const char* content;
    bool found;
    std::vector<std::string> servers;
};

TEST(ReadNameservers, ParsesResolverFiles) {
    const NameserverCase cases[] = {
        {"two servers in file order",
         "nameserver 192.0.2.53\nnameserver 192.0.2.54\n",
         true,
         {"192.0.2.53", "192.0.2.54"}},
        {"keyword anywhere, even in a comment",
         "search lan\n# nameserver 192.0.2.99\nnameserver\t192.0.2.53  \n",
         true,
         {"192.0.2.99", "192.0.2.53"}},
        {"only search lines", "search example.net\nsearch lan\n", false, {}},
        {"empty file", "", false, {}},
        {"keyword without a server", "nameserver\n", true, {""}},
        {"no final newline", "nameserver 192.0.2.53", true, {"192.0.2.53"}},
    };
    testutil::TempDir dir;
    WanCheckingThread checker(nullptr);
    for (const NameserverCase& c : cases) {
        std::string path = dir.write("resolv.conf", c.content);
        std::vector<std::string> servers;
        EXPECT_EQ(checker.readNameservers(servers, path), c.found) << c.what;
        EXPECT_EQ(servers, c.servers) << c.what;
    }
}

TEST(ReadNameservers, AppendsToWhatIsThere) {
    testutil::TempDir dir;
    WanCheckingThread checker(nullptr);
    std::vector<std::string> servers = {"198.51.100.1"};
    EXPECT_TRUE(checker.readNameservers(servers, dir.write("r", "nameserver 192.0.2.53\n")));
    EXPECT_EQ(servers, (std::vector<std::string>{"198.51.100.1", "192.0.2.53"}));
}

TEST(ReadNameservers, MissingFileIsAFailure) {
    testutil::TempDir dir;
    WanCheckingThread checker(nullptr);
    std::vector<std::string> servers;
    EXPECT_FALSE(checker.readNameservers(servers, dir.path() + "/absent.conf"));
    EXPECT_TRUE(servers.empty());
}

} // namespace
