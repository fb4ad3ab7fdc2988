// The built tools, run for real on the loopback interface of a private network namespace.
#include "dns_responder.h"
#include "tool_runner.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

using toolstest::DnsResponder;
using toolstest::runTool;
using Words = std::vector<std::string>;

namespace {

// A TCP port on 127.0.0.1 that is listening while the object lives; closed() gives one that
// is certainly not.
class TcpPort {
public:
    explicit TcpPort(bool listening) {
        fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in local{};
        local.sin_family = AF_INET;
        local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof local;
        bind(fd_, reinterpret_cast<sockaddr*>(&local), sizeof local);
        getsockname(fd_, reinterpret_cast<sockaddr*>(&local), &size);
        port_ = ntohs(local.sin_port);
        if (listening)
            listen(fd_, 4);
    }
    ~TcpPort() { close(fd_); }
    std::string port() const { return std::to_string(port_); }

private:
    int fd_ = -1;
    uint16_t port_ = 0;
};

Words inetCheck(const std::string& host, const std::string& port, const std::string& ifname) {
    return {"-m", "active", "-h", host, "-t", "tcp", "-p", port, ifname};
}

Words dig(const std::string& bind, uint16_t port, const std::string& name) {
    return {"--bind-address", bind, "--dns-address", "127.0.0.1:" + std::to_string(port), name};
}

// The tools' own bounds are a few seconds; these give them room and still catch a hang.
constexpr int kPingBoundMs = 5000;
constexpr int kConnectBoundMs = 6000;
constexpr int kDigBoundMs = 6000;

} // namespace

TEST(UsageRuns, HelpOnStdoutAndErrorsOnStderr) {
    struct Case {
        const char* tool;
        Words words;
        int exitCode;
    } cases[] = {
        {"uplinker-ping", {"-h"}, 0},
        {"uplinker-ping", {}, 2},
        {"uplinker-ping", {"-I", "127.0.0.1", "-c", "0", "127.0.0.1"}, 2},
        {"inet-check", {"--help"}, 0},
        {"inet-check", {"-h"}, 0},
        {"inet-check", {"-m", "passive", "-h", "127.0.0.1", "-t", "tcp", "-p", "1", "lo"}, 2},
        {"vrx-dig", {"--help"}, 0},
        {"vrx-dig", {"-h"}, 0},
        {"vrx-dig", {"--bind-address", "127.0.0.1", "x"}, 2},
    };
    for (const Case& c : cases) {
        toolstest::RunResult run = runTool(c.tool, c.words);
        EXPECT_EQ(run.exitCode, c.exitCode) << c.tool << " " << c.words.size();
        bool help = c.exitCode == 0;
        EXPECT_EQ(run.out.find("usage: ") == 0, help) << c.tool;
        EXPECT_EQ(run.err.find("usage: ") != std::string::npos, !help) << c.tool;
    }
}

TEST(PingRuns, ExitStatusBySourceAndTarget) {
    const struct {
        const char* source;
        const char* count;
        const char* target;
        int exitCode;
        const char* err; // part of stderr, "" when anything goes
    } cases[] = {
        {"127.0.0.1", "3", "127.0.0.1", 0, ""},     {"127.0.0.2", "3", "127.0.0.1", 0, ""},
        {"127.0.0.1", "1", "localhost", 0, ""},     {"127.0.0.1", "2", "192.0.2.1", 1, ""},
        {"192.0.2.5", "1", "127.0.0.1", 1, "bind"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.source) + " -> " + c.target);
        toolstest::RunResult run =
            runTool("uplinker-ping", {"-I", c.source, "-c", c.count, c.target}, kPingBoundMs);
        EXPECT_FALSE(run.killed);
        EXPECT_EQ(run.exitCode, c.exitCode) << run.err;
        EXPECT_NE(run.err.find(c.err), std::string::npos) << run.err;
    }
}

TEST(InetCheckRuns, ExitStatusByPortInterfaceAndHost) {
    TcpPort closed(false);
    TcpPort open(true);
    const struct {
        const char* why;
        Words words;
        int exitCode;
    } cases[] = {
        {"listening port", inetCheck("127.0.0.1", open.port(), "lo"), 0},
        {"closed port", inetCheck("127.0.0.1", closed.port(), "lo"), 1},
        {"unknown interface", inetCheck("127.0.0.1", open.port(), "nosuch0"), 1},
        {"unknown host", inetCheck("no-such-host.invalid", "80", "lo"), 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        toolstest::RunResult run = runTool("inet-check", c.words, kConnectBoundMs);
        EXPECT_FALSE(run.killed);
        EXPECT_EQ(run.exitCode, c.exitCode) << run.err;
        EXPECT_EQ(run.err.empty(), c.exitCode == 0) << run.err;
    }
}

TEST(InetCheckRuns, SilentPeerTimesOutWithinItsBound) {
    // Routed out of lo but owned by nobody: the SYN is dropped and never answered.
    if (system("ip route replace 198.51.100.0/24 dev lo 2>/dev/null") != 0)
        GTEST_SKIP() << "cannot add a route here";
    toolstest::RunResult run =
        runTool("inet-check", inetCheck("198.51.100.1", "80", "lo"), kConnectBoundMs);
    system("ip route del 198.51.100.0/24 dev lo 2>/dev/null");
    EXPECT_FALSE(run.killed);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.err.find("timed out"), std::string::npos) << run.err;
}

TEST(DigRuns, PrintsEveryAddressOfTheAnswerSentFromTheBindAddress) {
    for (const Words& addresses : {Words{"192.0.2.7", "192.0.2.8"}, Words{}}) {
        DnsResponder server(DnsResponder::Mode::Answer, addresses);
        toolstest::RunResult run =
            runTool("vrx-dig", dig("127.0.0.2", server.port(), "a.example"), kDigBoundMs);
        EXPECT_EQ(run.exitCode, 0) << run.err;
        Words expected;
        for (const std::string& address : addresses)
            expected.push_back("Found ipV4 " + address);
        EXPECT_EQ(toolstest::lines(run.out), expected);
        EXPECT_EQ(server.queries(), 1);
        in_addr source{server.lastSource()};
        EXPECT_STREQ(inet_ntoa(source), "127.0.0.2");
    }
}

TEST(DigRuns, SilentServerFailsWithinItsBound) {
    DnsResponder server(DnsResponder::Mode::Silent);
    toolstest::RunResult run =
        runTool("vrx-dig", dig("127.0.0.1", server.port(), "a.example"), kDigBoundMs);
    EXPECT_FALSE(run.killed);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(server.queries(), 2); // two tries
}

TEST(DigRuns, BogusAnswersAndNamesFailCleanly) {
    DnsResponder truncated(DnsResponder::Mode::Truncated, {"192.0.2.7", "192.0.2.8"});
    DnsResponder good(DnsResponder::Mode::Answer, {"192.0.2.7"});
    struct Case {
        const char* why;
        Words words;
    } cases[] = {
        {"truncated answer", dig("127.0.0.1", truncated.port(), "a.example")},
        {"empty label", dig("127.0.0.1", good.port(), "a..example")},
        {"label too long", dig("127.0.0.1", good.port(), std::string(64, 'a') + ".example")},
        {"foreign bind address", dig("192.0.2.5", good.port(), "a.example")},
    };
    for (const Case& c : cases) {
        toolstest::RunResult run = runTool("vrx-dig", c.words, kDigBoundMs);
        EXPECT_EQ(run.signal, 0) << c.why;
        EXPECT_FALSE(run.killed) << c.why;
        EXPECT_EQ(run.exitCode, 1) << c.why;
        EXPECT_EQ(run.out, "") << c.why;
    }
}
