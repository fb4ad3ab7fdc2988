// A one-connection-at-a-time HTTP server on 127.0.0.1 that answers every request with one fixed
// status and JSON body, and remembers each request line.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace testutil {

class HttpStub {
public:
    // Listens on port (0: any free port) and serves from a thread until destroyed.
    explicit HttpStub(std::string body, uint16_t port = 0, std::string status = "200 OK");
    ~HttpStub();
    HttpStub(const HttpStub&) = delete;
    HttpStub& operator=(const HttpStub&) = delete;

    bool listening() const { return fd_ >= 0; }
    std::string url(const std::string& path) const;
    // The first line of every request served so far ("GET /api?... HTTP/1.1").
    std::vector<std::string> requests() const;

private:
    void serve();
    void answer(int client);

    const std::string reply_;
    int fd_ = -1;
    uint16_t port_ = 0;
    std::atomic<bool> stop_{false};
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    std::thread thread_;
};

} // namespace testutil
