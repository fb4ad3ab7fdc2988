// uplinker-ping: is TARGET reachable by ICMP echo from one given local address?
#include "common/deadline.h"
#include "common/host_lookup.h"
#include "common/icmp_echo.h"
#include "common/ping_args.h"
#include "common/tool_main.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <linux/icmp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

const char* const kProgram = "uplinker-ping";
constexpr int kIntervalMs = 200;
// How long replies are awaited after the last request. A loaded cellular link can hold a
// reply back for seconds; one up to 5 s late must still count, and a silent target must
// still be reported well within 10 s at the usual count of 4.
constexpr int kReplyWaitMs = 6000;
// Room for name resolution before the first request; the watchdog ends anything longer.
constexpr unsigned kLookupSeconds = 5;

struct Pinger {
    int fd = -1;
    sockaddr_in to{};
    tools::EchoExpectation expected{};
    unsigned sentOk = 0;
    int sendError = 0;
    // Per request (sequence - 1): when it left, and its round-trip time once answered (a
    // duplicate reply counts once).
    std::vector<int64_t> sentAtUs;
    std::vector<double> rttMs;
    unsigned received = 0;
    bool all = false;

    // Enough heard: the first reply, or with -a every request answered.
    bool done() const { return received > 0 && (!all || received == rttMs.size()); }
};

// Raw sockets need root (which the daemon has); ICMP datagram sockets are the fallback for
// users inside net.ipv4.ping_group_range.
int openIcmpSocket(bool& raw) {
    int fd = socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP);
    raw = fd >= 0;
    if (raw) {
        // Keep the receive queue free of the requests and errors of every other ping.
        icmp_filter filter{};
        filter.data = ~(1U << ICMP_ECHOREPLY);
        setsockopt(fd, SOL_RAW, ICMP_FILTER, &filter, sizeof filter);
        return fd;
    }
    return socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_ICMP);
}

bool openPinger(const tools::PingArgs& args, in_addr target, Pinger& pinger) {
    bool raw = false;
    pinger.fd = openIcmpSocket(raw);
    if (pinger.fd < 0) {
        tools::complain(kProgram, std::string("cannot open ICMP socket: ") + strerror(errno));
        return false;
    }
    sockaddr_in from{};
    from.sin_family = AF_INET;
    from.sin_addr = args.source;
    if (bind(pinger.fd, reinterpret_cast<sockaddr*>(&from), sizeof from) != 0) {
        tools::complain(kProgram, std::string("cannot bind source address: ") + strerror(errno));
        return false;
    }
    pinger.to.sin_family = AF_INET;
    pinger.to.sin_addr = target;
    pinger.expected = {raw, raw, static_cast<uint16_t>(getpid() & 0xffff), 0, target};
    pinger.all = args.all;
    pinger.sentAtUs.reserve(args.count);
    pinger.rttMs.assign(args.count, -1);
    return true;
}

// A failed send (no route yet, for instance) is not the end: a later request may still pass.
void sendRequest(Pinger& pinger, uint16_t seq) {
    std::vector<uint8_t> packet = tools::buildEchoRequest(pinger.expected.id, seq);
    pinger.sentAtUs.push_back(tools::monotonicUs());
    if (sendto(pinger.fd, packet.data(), packet.size(), 0, reinterpret_cast<sockaddr*>(&pinger.to),
               sizeof pinger.to) < 0)
        pinger.sendError = errno;
    else
        ++pinger.sentOk;
    pinger.expected.lastSeq = seq;
}

// Notes the reply to request seq, the first one only.
void noteReply(Pinger& pinger, uint16_t seq) {
    const size_t index = seq - 1U;
    if (index >= pinger.sentAtUs.size() || pinger.rttMs[index] >= 0)
        return;
    pinger.rttMs[index] =
        static_cast<double>(tools::monotonicUs() - pinger.sentAtUs[index]) / 1000.0;
    ++pinger.received;
}

// Reads the queued replies until enough of ours are among them; a flood of others' replies (a
// raw socket sees every echo reply of the host) must not hold the run past its end.
bool drainReplies(Pinger& pinger, const tools::Deadline& end) {
    uint8_t buffer[1500];
    for (;;) {
        sockaddr_in sender{};
        socklen_t senderSize = sizeof sender;
        ssize_t got = recvfrom(pinger.fd, buffer, sizeof buffer, MSG_DONTWAIT,
                               reinterpret_cast<sockaddr*>(&sender), &senderSize);
        if (got < 0)
            return false;
        uint16_t seq = 0;
        if (senderSize >= sizeof sender && sender.sin_family == AF_INET &&
            tools::isOurEchoReply(buffer, static_cast<size_t>(got), sender.sin_addr,
                                  pinger.expected, seq))
            noteReply(pinger, seq);
        if (pinger.done())
            return true;
        if (end.expired())
            return false;
    }
}

// Sends the requests on their schedule and listens in between; true at the first reply. When
// not one request could leave, no reply can come: no waiting for one.
bool exchange(Pinger& pinger, unsigned count) {
    tools::Deadline end((static_cast<int64_t>(count) - 1) * kIntervalMs + kReplyWaitMs);
    unsigned sent = 0;
    int64_t nextSend = tools::monotonicMs();
    while (!end.expired()) {
        int64_t now = tools::monotonicMs();
        if (sent < count && now >= nextSend) {
            sendRequest(pinger, static_cast<uint16_t>(++sent));
            nextSend = now + kIntervalMs;
        }
        if (sent == count && pinger.sentOk == 0) {
            tools::complain(kProgram, std::string("cannot send: ") + strerror(pinger.sendError));
            return false;
        }
        int wait = end.remainingMs();
        if (sent < count && nextSend - now < wait)
            wait = static_cast<int>(nextSend - now > 0 ? nextSend - now : 0);
        pollfd entry{pinger.fd, POLLIN, 0};
        if (poll(&entry, 1, wait) > 0 && drainReplies(pinger, end))
            return true;
    }
    return pinger.received > 0;
}

// The last line: what was measured, for a daemon that judges loss and latency.
void printReport(const Pinger& pinger) {
    std::printf("%s: sent %zu received %u rtt_ms", kProgram, pinger.sentAtUs.size(),
                pinger.received);
    for (const double rtt : pinger.rttMs) {
        if (rtt >= 0)
            std::printf(" %.3f", rtt);
    }
    std::printf("\n");
}

int run(const tools::PingArgs& args) {
    tools::armWatchdog(kLookupSeconds + ((args.count - 1) * kIntervalMs + kReplyWaitMs) / 1000 + 1);
    in_addr target{};
    std::string error;
    if (!tools::lookupIpv4(args.target, target, error)) {
        tools::complain(kProgram, error);
        return tools::ExitFailed;
    }
    Pinger pinger;
    bool opened = openPinger(args, target, pinger);
    bool ok = opened && exchange(pinger, args.count);
    if (pinger.fd >= 0)
        close(pinger.fd);
    if (!opened)
        return tools::ExitFailed;
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &target, text, sizeof text);
    std::printf("%s: %s %s\n", kProgram, text, ok ? "is alive" : "did not answer");
    printReport(pinger);
    return ok ? tools::ExitOk : tools::ExitFailed;
}

} // namespace

int main(int argc, char** argv) {
    tools::PingArgs args;
    std::string error;
    tools::ParseStatus status = tools::parsePingArgs(tools::argList(argc, argv), args, error);
    int exitStatus = tools::finishParse(status, kProgram, tools::kPingUsage, error);
    return exitStatus >= 0 ? exitStatus : run(args);
}
