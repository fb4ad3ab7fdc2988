// HTTP GET of JSON documents against a small server on the loopback interface.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <mutex>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "common/test_util.h"
#include "support/api_request.h"

namespace {

using VRX::ApiRequest;

// Answers every connection with one fixed response and remembers the request lines.
class TinyHttpServer {
public:
    explicit TinyHttpServer(std::string response) : response_(std::move(response)) {
        listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof(address));
        listen(listener_, 8);
        getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { serve(); });
    }
    ~TinyHttpServer() {
        // Shutting down a listening socket wakes the blocked accept.
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
    }
    std::string url(const std::string& path) const {
        return "http://127.0.0.1:" + std::to_string(port_) + path;
    }
    std::vector<std::string> requestLines() const {
        std::lock_guard<std::mutex> guard(mutex_);
        return requestLines_;
    }

private:
    void serve() {
        for (;;) {
            int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (connection < 0)
                return;
            answer(connection);
            close(connection);
        }
    }
    void answer(int connection) {
        std::string request;
        char buffer[4096];
        while (request.find("\r\n\r\n") == std::string::npos) {
            ssize_t got = recv(connection, buffer, sizeof(buffer), 0);
            if (got <= 0)
                return;
            request.append(buffer, static_cast<size_t>(got));
        }
        {
            std::lock_guard<std::mutex> guard(mutex_);
            requestLines_.push_back(request.substr(0, request.find("\r\n")));
        }
        size_t sent = 0;
        while (sent < response_.size()) {
            ssize_t put =
                send(connection, response_.data() + sent, response_.size() - sent, MSG_NOSIGNAL);
            if (put <= 0)
                return;
            sent += static_cast<size_t>(put);
        }
    }

    std::string response_;
    int listener_ = -1;
    uint16_t port_ = 0;
    std::thread thread_;
    mutable std::mutex mutex_;
    std::vector<std::string> requestLines_;
};

std::string httpResponse(const std::string& status, const std::string& body) {
    return "HTTP/1.1 " + status +
           "\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\nConnection: close\r\n\r\n" + body;
}

bool loggedFailureFor(const testutil::LogCapture& capture, const std::string& url,
                      const std::string& reasonPart) {
    const std::string start = "ERROR API request to " + url + " failed: ";
    for (const std::string& line : capture.labelled()) {
        if (line.rfind(start, 0) == 0 && line.find(reasonPart, start.size()) != std::string::npos)
            return true;
    }
    return false;
}

TEST(ApiRequestTest, GoodJsonIsParsed) {
    TinyHttpServer server(httpResponse("200 OK", R"({"uplinker":{"mode":1},"waninfo":[]})"));
    testutil::LogCapture capture;
    Json::Value answer;
    EXPECT_EQ(ApiRequest::getRequest(server.url("/api?fields=uplinker,waninfo"), answer), 0);
    EXPECT_EQ(answer["uplinker"]["mode"].asInt(), 1);
    EXPECT_TRUE(answer["waninfo"].isArray());
    EXPECT_EQ(server.requestLines(),
              std::vector<std::string>{"GET /api?fields=uplinker,waninfo HTTP/1.1"});
    EXPECT_TRUE(capture.messages().empty());
}

TEST(ApiRequestTest, FailuresAreReportedAndLogged) {
    struct Case {
        const char* name;
        std::string response;
        const char* reason;
    };
    const Case cases[] = {
        {"bad JSON", httpResponse("200 OK", "{\"open\": [1, 2"), "invalid JSON"},
        {"not found", httpResponse("404 Not Found", "{}"), "HTTP status 404"},
        {"server error", httpResponse("500 Internal Server Error", "{}"), "HTTP status 500"},
        {"too large", httpResponse("200 OK", std::string(ApiRequest::MAX_BODY + 1, ' ')),
         "larger than"}};
    for (const Case& c : cases) {
        TinyHttpServer server(c.response);
        testutil::LogCapture capture;
        Json::Value answer = "stale";
        const std::string url = server.url("/api");
        EXPECT_NE(ApiRequest::getRequest(url, answer), 0) << c.name;
        EXPECT_TRUE(answer.isNull()) << c.name;
        EXPECT_TRUE(loggedFailureFor(capture, url, c.reason)) << c.name;
    }
}

TEST(ApiRequestTest, NothingListeningFails) {
    // Take an ephemeral port and give it back, so that nobody listens there.
    uint16_t port = 0;
    {
        TinyHttpServer server(httpResponse("200 OK", "{}"));
        port = static_cast<uint16_t>(std::stoi(server.url("").substr(17)));
    }
    testutil::LogCapture capture;
    Json::Value answer;
    const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/api";
    EXPECT_NE(ApiRequest::getRequest(url, answer), 0);
    EXPECT_TRUE(answer.isNull());
    EXPECT_TRUE(loggedFailureFor(capture, url, ""));
}

} // namespace
