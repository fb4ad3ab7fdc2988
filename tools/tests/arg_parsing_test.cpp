// The command lines of the three tools, parsed directly.
#include "common/arg_scan.h"
#include "common/dig_args.h"
#include "common/inet_check_args.h"
#include "common/ping_args.h"
#include "common/values.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

using tools::ParseStatus;
using Words = std::vector<std::string>;

namespace {

std::string dotted(in_addr address) {
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

struct BadCase {
    const char* why;
    Words words;
};

// Every vector is refused with a reason.
template <typename Args, typename Parse>
void expectRefused(Parse parse, const std::vector<BadCase>& cases) {
    for (const BadCase& c : cases) {
        Args parsed;
        std::string error;
        EXPECT_EQ(parse(c.words, parsed, error), ParseStatus::Error) << c.why;
        EXPECT_FALSE(error.empty()) << c.why;
    }
}

} // namespace

TEST(ArgScan, AcceptsSeparateAttachedAndLongForms) {
    std::vector<tools::OptionSpec> specs = {
        {"c", "", true}, {"", "dns-address", true}, {"h", "help", false}};
    tools::ScannedArgs scanned;
    std::string error;
    ASSERT_TRUE(
        tools::scanArgs({"-c4", "--dns-address=1.2.3.4", "x", "--", "-h"}, specs, scanned, error))
        << error;
    EXPECT_EQ(scanned.options.at("c"), "4");
    EXPECT_EQ(scanned.options.at("dns-address"), "1.2.3.4");
    EXPECT_EQ(scanned.options.count("help"), 0u);
    EXPECT_EQ(scanned.positionals, (Words{"x", "-h"}));
}

TEST(ArgScan, RejectsUnknownRepeatedAndValuelessOptions) {
    std::vector<tools::OptionSpec> specs = {{"c", "", true}, {"", "help", false}};
    const std::vector<Words> bad = {
        {"-x"}, {"-c", "1", "-c", "2"}, {"-c"}, {"--help=yes"}, {"--nope"}};
    for (const Words& words : bad) {
        tools::ScannedArgs scanned;
        std::string error;
        EXPECT_FALSE(tools::scanArgs(words, specs, scanned, error)) << words[0];
        EXPECT_FALSE(error.empty());
    }
}

TEST(Values, NumbersAreStrictDecimalWithinRange) {
    struct Case {
        const char* text;
        bool ok;
        unsigned long value;
    } cases[] = {{"1", true, 1},
                 {"255", true, 255},
                 {"0", false, 0},
                 {"256", false, 0},
                 {"+4", false, 0},
                 {"-4", false, 0},
                 {" 4", false, 0},
                 {"4 ", false, 0},
                 {"0x10", false, 0},
                 {"", false, 0},
                 {"99999999999999999999", false, 0}};
    for (const Case& c : cases) {
        unsigned long value = 0;
        EXPECT_EQ(tools::parseNumber(c.text, 1, 255, value), c.ok) << c.text;
        if (c.ok) {
            EXPECT_EQ(value, c.value);
        }
    }
}

TEST(Values, ServerWithOptionalPort) {
    in_addr address{};
    uint16_t port = 0;
    ASSERT_TRUE(tools::parseIpv4WithPort("192.0.2.53", 53, address, port));
    EXPECT_EQ(dotted(address), "192.0.2.53");
    EXPECT_EQ(port, 53);
    ASSERT_TRUE(tools::parseIpv4WithPort("127.0.0.1:5300", 53, address, port));
    EXPECT_EQ(dotted(address), "127.0.0.1");
    EXPECT_EQ(port, 5300);
    for (const char* bad : {"127.0.0.1:", "127.0.0.1:0", "127.0.0.1:65536", "host:53", ":53",
                            "1.2.3:53", "1.2.3.4:53:53"})
        EXPECT_FALSE(tools::parseIpv4WithPort(bad, 53, address, port)) << bad;
}

TEST(PingArgs, GoodVectors) {
    tools::PingArgs parsed;
    std::string error;
    ASSERT_EQ(tools::parsePingArgs({"-I", "10.0.0.2", "-c", "4", "192.0.2.1"}, parsed, error),
              ParseStatus::Ok)
        << error;
    EXPECT_EQ(dotted(parsed.source), "10.0.0.2");
    EXPECT_EQ(parsed.count, 4u);
    EXPECT_EQ(parsed.target, "192.0.2.1");
    ASSERT_EQ(tools::parsePingArgs({"example.net", "-c255", "-I", "127.0.0.1"}, parsed, error),
              ParseStatus::Ok);
    EXPECT_EQ(parsed.count, 255u);
    EXPECT_EQ(parsed.target, "example.net");
}

TEST(PingArgs, HelpWins) {
    tools::PingArgs parsed;
    std::string error;
    EXPECT_EQ(tools::parsePingArgs({"-h"}, parsed, error), ParseStatus::Help);
    EXPECT_EQ(tools::parsePingArgs({"-I", "1.2.3.4", "--help"}, parsed, error), ParseStatus::Help);
}

TEST(PingArgs, BadVectors) {
    expectRefused<tools::PingArgs>(
        tools::parsePingArgs,
        {
            {"nothing", {}},
            {"no target", {"-I", "10.0.0.2", "-c", "4"}},
            {"two targets", {"-I", "10.0.0.2", "-c", "4", "a", "b"}},
            {"no -I", {"-c", "4", "192.0.2.1"}},
            {"no -c", {"-I", "10.0.0.2", "192.0.2.1"}},
            {"-I without value", {"-c", "4", "192.0.2.1", "-I"}},
            {"count 0", {"-I", "10.0.0.2", "-c", "0", "192.0.2.1"}},
            {"count 256", {"-I", "10.0.0.2", "-c", "256", "192.0.2.1"}},
            {"count text", {"-I", "10.0.0.2", "-c", "four", "192.0.2.1"}},
            {"source name", {"-I", "eth0", "-c", "4", "192.0.2.1"}},
            {"source short", {"-I", "10.0.2", "-c", "4", "192.0.2.1"}},
            {"source too big", {"-I", "10.0.0.256", "-c", "4", "192.0.2.1"}},
            {"empty target", {"-I", "10.0.0.2", "-c", "4", ""}},
            {"target with blank", {"-I", "10.0.0.2", "-c", "4", "a b"}},
            {"unknown option", {"-I", "10.0.0.2", "-c", "4", "-W", "1", "192.0.2.1"}},
            {"repeated option", {"-I", "10.0.0.2", "-I", "10.0.0.3", "-c", "4", "192.0.2.1"}},
        });
}

TEST(InetCheckArgs, GoodVector) {
    tools::InetCheckArgs parsed;
    std::string error;
    ASSERT_EQ(
        tools::parseInetCheckArgs(
            {"-m", "active", "-h", "192.0.2.7", "-t", "tcp", "-p", "80", "eth1"}, parsed, error),
        ParseStatus::Ok)
        << error;
    EXPECT_EQ(parsed.host, "192.0.2.7");
    EXPECT_EQ(parsed.port, 80);
    EXPECT_EQ(parsed.ifname, "eth1");
}

TEST(InetCheckArgs, HelpIsLongOrALoneDashH) {
    tools::InetCheckArgs parsed;
    std::string error;
    EXPECT_EQ(tools::parseInetCheckArgs({"--help"}, parsed, error), ParseStatus::Help);
    EXPECT_EQ(tools::parseInetCheckArgs({"-h"}, parsed, error), ParseStatus::Help);
    // With more words, -h names the host and needs one.
    EXPECT_EQ(tools::parseInetCheckArgs({"-m", "active", "-h"}, parsed, error), ParseStatus::Error);
}

TEST(InetCheckArgs, BadVectors) {
    const Words good = {"-m", "active", "-h", "192.0.2.7", "-t", "tcp", "-p", "80", "eth1"};
    auto with = [&good](size_t index, const std::string& value) {
        Words words = good;
        words[index] = value;
        return words;
    };
    Words twoInterfaces = good;
    twoInterfaces.push_back("eth2");
    expectRefused<tools::InetCheckArgs>(
        tools::parseInetCheckArgs,
        {
            {"nothing", {}},
            {"mode passive", with(1, "passive")},
            {"type udp", with(5, "udp")},
            {"type icmp", with(5, "icmp")},
            {"port 0", with(7, "0")},
            {"port 65536", with(7, "65536")},
            {"port text", with(7, "http")},
            {"empty host", with(3, "")},
            {"long interface", with(8, "interface-name-too-long")},
            {"interface with slash", with(8, "eth0/1")},
            {"no interface", Words(good.begin(), good.end() - 1)},
            {"two interfaces", twoInterfaces},
            {"no -m", Words(good.begin() + 2, good.end())},
            {"no -t", {"-m", "active", "-h", "192.0.2.7", "-p", "80", "eth1"}},
            {"no -p", {"-m", "active", "-h", "192.0.2.7", "-t", "tcp", "eth1"}},
        });
}

TEST(DigArgs, GoodVectors) {
    tools::DigArgs parsed;
    std::string error;
    ASSERT_EQ(tools::parseDigArgs(
                  {"--bind-address", "10.0.0.2", "--dns-address", "192.0.2.53", "example.net"},
                  parsed, error),
              ParseStatus::Ok)
        << error;
    EXPECT_EQ(dotted(parsed.bindAddress), "10.0.0.2");
    EXPECT_EQ(dotted(parsed.server), "192.0.2.53");
    EXPECT_EQ(parsed.port, 53);
    EXPECT_EQ(parsed.name, "example.net");
    ASSERT_EQ(tools::parseDigArgs(
                  {"example.org", "--dns-address=127.0.0.1:5353", "--bind-address=127.0.0.2"},
                  parsed, error),
              ParseStatus::Ok);
    EXPECT_EQ(parsed.port, 5353);
    EXPECT_EQ(parsed.name, "example.org");
}

TEST(DigArgs, HelpAndBadVectors) {
    tools::DigArgs parsed;
    std::string error;
    EXPECT_EQ(tools::parseDigArgs({"-h"}, parsed, error), ParseStatus::Help);
    EXPECT_EQ(tools::parseDigArgs({"--help"}, parsed, error), ParseStatus::Help);
    expectRefused<tools::DigArgs>(
        tools::parseDigArgs,
        {
            {"nothing", {}},
            {"no name", {"--bind-address", "10.0.0.2", "--dns-address", "192.0.2.53"}},
            {"two names", {"--bind-address", "10.0.0.2", "--dns-address", "192.0.2.53", "a", "b"}},
            {"no bind", {"--dns-address", "192.0.2.53", "a"}},
            {"no server", {"--bind-address", "10.0.0.2", "a"}},
            {"server name", {"--bind-address", "10.0.0.2", "--dns-address", "ns.example", "a"}},
            {"server port 0", {"--bind-address", "10.0.0.2", "--dns-address", "192.0.2.53:0", "a"}},
            {"bind bad", {"--bind-address", "10.0.0.300", "--dns-address", "192.0.2.53", "a"}},
            {"dangling option", {"--bind-address", "10.0.0.2", "a", "--dns-address"}},
            {"single dash long", {"-bind-address", "10.0.0.2", "--dns-address", "192.0.2.53", "a"}},
            {"name too long",
             {"--bind-address", "10.0.0.2", "--dns-address", "192.0.2.53", std::string(300, 'a')}},
        });
}
