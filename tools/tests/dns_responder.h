// A tiny DNS server on 127.0.0.1 for the vrx-dig tests: answers A queries the way it is told.
#pragma once

#include <atomic>
#include <cstdint>
#include <netinet/in.h>
#include <string>
#include <thread>
#include <vector>

namespace toolstest {

// Builds an answer to query: same id and question, NOERROR, one A record per address (each
// name a pointer to the question). Empty when the query is not a well-formed question.
std::vector<uint8_t> buildAnswer(const std::vector<uint8_t>& query,
                                 const std::vector<std::string>& addresses);

class DnsResponder {
public:
    enum class Mode { Answer, Silent, Truncated };

    DnsResponder(Mode mode, std::vector<std::string> addresses = {});
    ~DnsResponder();
    DnsResponder(const DnsResponder&) = delete;
    DnsResponder& operator=(const DnsResponder&) = delete;

    uint16_t port() const { return port_; }
    int queries() const { return queries_.load(); }
    // Source address of the last query, network byte order (0 before any).
    uint32_t lastSource() const { return lastSource_.load(); }

private:
    void serve();
    void reply(const std::vector<uint8_t>& query, const sockaddr_in& client);

    Mode mode_;
    std::vector<std::string> addresses_;
    int fd_ = -1;
    uint16_t port_ = 0;
    std::atomic<bool> stop_{false};
    std::atomic<int> queries_{0};
    std::atomic<uint32_t> lastSource_{0};
    std::thread thread_;
};

} // namespace toolstest
