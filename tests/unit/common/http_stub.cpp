#include "common/http_stub.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace testutil {

namespace {

constexpr size_t MAX_REQUEST = 16384;

bool readable(int fd, int timeoutMs) {
    pollfd ready{fd, POLLIN, 0};
    return poll(&ready, 1, timeoutMs) > 0;
}

// Binds before the constructor returns, so a client may connect at once.
int listenOnLoopback(uint16_t& port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    const int one = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(fd, 8) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        close(fd);
        return -1;
    }
    port = ntohs(address.sin_port);
    return fd;
}

// Reads up to the end of the request head; a client that stalls is given up on.
std::string readHead(int client) {
    std::string head;
    char buffer[1024];
    while (head.find("\r\n\r\n") == std::string::npos && head.size() < MAX_REQUEST) {
        if (!readable(client, 2000))
            break;
        const ssize_t got = read(client, buffer, sizeof(buffer));
        if (got <= 0)
            break;
        head.append(buffer, static_cast<size_t>(got));
    }
    return head;
}

} // namespace

HttpStub::HttpStub(std::string body, uint16_t port, std::string status)
    : reply_("HTTP/1.1 " + status + "\r\nContent-Type: application/json\r\nContent-Length: " +
             std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body),
      port_(port) {
    fd_ = listenOnLoopback(port_);
    if (fd_ >= 0)
        thread_ = std::thread([this] { serve(); });
}

HttpStub::~HttpStub() {
    stop_ = true;
    if (thread_.joinable())
        thread_.join();
    if (fd_ >= 0)
        close(fd_);
}

std::string HttpStub::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::vector<std::string> HttpStub::requests() const {
    std::lock_guard<std::mutex> hold(mutex_);
    return requests_;
}

void HttpStub::serve() {
    while (!stop_) {
        if (!readable(fd_, 20))
            continue;
        const int client = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0)
            continue;
        answer(client);
        close(client);
    }
}

void HttpStub::answer(int client) {
    const std::string head = readHead(client);
    {
        std::lock_guard<std::mutex> hold(mutex_);
        requests_.push_back(head.substr(0, head.find("\r\n")));
    }
    size_t sent = 0;
    while (sent < reply_.size()) {
        const ssize_t put = send(client, reply_.data() + sent, reply_.size() - sent, MSG_NOSIGNAL);
        if (put <= 0)
            break;
        sent += static_cast<size_t>(put);
    }
}

} // namespace testutil
