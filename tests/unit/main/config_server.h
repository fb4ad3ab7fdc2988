// A minimal configuration service on 127.0.0.1:80: answers GET /api?fields=uplinker,waninfo with
// a fixed JSON document and anything else with 404, one connection at a time.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace maintest {

constexpr const char* EMPTY_FAILOVER_CONFIG =
    R"({"uplinker":{"mode":"FAILOVER","wans":[]},"waninfo":{"wans":[]}})";

class ConfigServer {
public:
    explicit ConfigServer(const std::string& body = EMPTY_FAILOVER_CONFIG);
    ~ConfigServer();
    ConfigServer(const ConfigServer&) = delete;
    ConfigServer& operator=(const ConfigServer&) = delete;

    bool listening() const { return fd_ >= 0; }
    // The request lines received so far ("GET /api?... HTTP/1.1").
    std::vector<std::string> requests() const;

private:
    void serve();
    void answer(int client);

    std::string body_;
    int fd_ = -1;
    std::atomic<bool> stop_{false};
    mutable std::mutex mutex_;
    std::vector<std::string> requests_;
    std::thread thread_;
};

} // namespace maintest
