// A one-connection-at-a-time HTTP server on 127.0.0.1 that answers every request with a fixed
// JSON body and remembers each request line.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace conftest {

class HttpStub {
public:
    explicit HttpStub(std::string body);
    ~HttpStub();
    HttpStub(const HttpStub&) = delete;
    HttpStub& operator=(const HttpStub&) = delete;

    // Listens on 127.0.0.1:port and serves in a thread; false when the port cannot be bound.
    bool start(uint16_t port);
    // The first line of every request served so far.
    std::vector<std::string> requests() const;

private:
    void serve();
    void answer(int fd);

    const std::string body_;
    int listenFd_ = -1;
    std::atomic<bool> stop_{false};
    std::thread thread_;
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
};

} // namespace conftest
