#include "dns_responder.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace toolstest {
namespace {

constexpr size_t kHeaderSize = 12;

// Length of the header plus the one question, or 0 when it does not fit.
size_t questionEnd(const std::vector<uint8_t>& query) {
    size_t at = kHeaderSize;
    while (at < query.size() && query[at] != 0) {
        if (query[at] > 63)
            return 0;
        at += 1 + query[at];
    }
    at += 1 + 4; // the root label, then type and class
    return at <= query.size() ? at : 0;
}

void put16(std::vector<uint8_t>& out, unsigned value) {
    out.push_back(static_cast<uint8_t>(value >> 8));
    out.push_back(static_cast<uint8_t>(value & 0xff));
}

} // namespace

std::vector<uint8_t> buildAnswer(const std::vector<uint8_t>& query,
                                 const std::vector<std::string>& addresses) {
    size_t end = questionEnd(query);
    if (end == 0)
        return {};
    std::vector<uint8_t> out(query.begin(), query.begin() + static_cast<long>(end));
    out[2] = 0x81; // response, recursion desired
    out[3] = 0x80; // recursion available, NOERROR
    out[4] = 0, out[5] = 1;
    out[6] = 0, out[7] = static_cast<uint8_t>(addresses.size());
    for (size_t i = 8; i < kHeaderSize; ++i)
        out[i] = 0;
    for (const std::string& text : addresses) {
        in_addr address{};
        inet_pton(AF_INET, text.c_str(), &address);
        put16(out, 0xc00c);
        put16(out, 1);
        put16(out, 1);
        put16(out, 0), put16(out, 60);
        put16(out, 4);
        const uint8_t* bytes = reinterpret_cast<const uint8_t*>(&address.s_addr);
        out.insert(out.end(), bytes, bytes + 4);
    }
    return out;
}

DnsResponder::DnsResponder(Mode mode, std::vector<std::string> addresses)
    : mode_(mode), addresses_(std::move(addresses)) {
    fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof local;
    bind(fd_, reinterpret_cast<sockaddr*>(&local), sizeof local);
    getsockname(fd_, reinterpret_cast<sockaddr*>(&local), &size);
    port_ = ntohs(local.sin_port);
    thread_ = std::thread(&DnsResponder::serve, this);
}

DnsResponder::~DnsResponder() {
    stop_ = true;
    thread_.join();
    close(fd_);
}

void DnsResponder::serve() {
    while (!stop_) {
        pollfd entry{fd_, POLLIN, 0};
        if (poll(&entry, 1, 20) <= 0)
            continue;
        std::vector<uint8_t> query(1500);
        sockaddr_in client{};
        socklen_t size = sizeof client;
        ssize_t got = recvfrom(fd_, query.data(), query.size(), 0,
                               reinterpret_cast<sockaddr*>(&client), &size);
        if (got <= 0)
            continue;
        query.resize(static_cast<size_t>(got));
        lastSource_ = client.sin_addr.s_addr;
        ++queries_;
        reply(query, client);
    }
}

void DnsResponder::reply(const std::vector<uint8_t>& query, const sockaddr_in& client) {
    if (mode_ == Mode::Silent)
        return;
    std::vector<uint8_t> answer = buildAnswer(query, addresses_);
    // Claims its records but ends in the middle of the first one.
    size_t end = questionEnd(query);
    if (mode_ == Mode::Truncated && end != 0 && answer.size() > end + 7)
        answer.resize(end + 7);
    sendto(fd_, answer.data(), answer.size(), 0, reinterpret_cast<const sockaddr*>(&client),
           sizeof client);
}

} // namespace toolstest
