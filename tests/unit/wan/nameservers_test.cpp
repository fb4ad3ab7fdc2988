#include <gtest/gtest.h>

#include "common/test_util.h"
#include "wan/checking_thread.h"

namespace {

using Strings = std::vector<std::string>;

TEST(ReadNameservers, ParsesResolverFilesAndAppends) {
    const struct {
        const char* what;
        const char* content; // nullptr: no file
        bool found;
        Strings servers;
    } cases[] = {
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
        {"missing file", nullptr, false, {}},
    };
    testutil::TempDir dir;
    WanCheckingThread checker(nullptr);
    for (const auto& c : cases) {
        const std::string path =
            c.content ? dir.write("resolv.conf", c.content) : dir.path() + "/absent.conf";
        Strings servers = {"198.51.100.1"};
        EXPECT_EQ(checker.readNameservers(servers, path), c.found) << c.what;
        Strings expected = {"198.51.100.1"};
        expected.insert(expected.end(), c.servers.begin(), c.servers.end());
        EXPECT_EQ(servers, expected) << c.what;
    }
}

} // namespace
