#include "main/config_server.h"

#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace maintest {

static constexpr uint16_t HTTP_PORT = 80;
static constexpr size_t MAX_REQUEST = 16384;
static constexpr const char* EXPECTED_TARGET = "/api?fields=uplinker,waninfo";

static int listenOnLoopback() {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    const int one = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one));
    sockaddr_in address;
    memset(&address, 0, sizeof(address));
    address.sin_family = AF_INET;
    address.sin_port = htons(HTTP_PORT);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(fd, 8) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

ConfigServer::ConfigServer(const std::string& body) : body_(body), fd_(listenOnLoopback()) {
    if (fd_ >= 0)
        thread_ = std::thread([this] { serve(); });
}

ConfigServer::~ConfigServer() {
    stop_ = true;
    if (thread_.joinable())
        thread_.join();
    if (fd_ >= 0)
        close(fd_);
}

std::vector<std::string> ConfigServer::requests() const {
    std::lock_guard<std::mutex> hold(mutex_);
    return requests_;
}

void ConfigServer::serve() {
    while (!stop_) {
        pollfd ready{fd_, POLLIN, 0};
        if (poll(&ready, 1, 50) <= 0)
            continue;
        const int client = accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0)
            continue;
        answer(client);
        close(client);
    }
}

// Reads up to the end of the request head, then sends the whole answer and closes.
static std::string readRequestHead(int client) {
    std::string request;
    char buffer[1024];
    while (request.find("\r\n\r\n") == std::string::npos && request.size() < MAX_REQUEST) {
        pollfd ready{client, POLLIN, 0};
        if (poll(&ready, 1, 2000) <= 0)
            break;
        const ssize_t got = read(client, buffer, sizeof(buffer));
        if (got <= 0)
            break;
        request.append(buffer, static_cast<size_t>(got));
    }
    return request;
}

void ConfigServer::answer(int client) {
    const std::string request = readRequestHead(client);
    const std::string line = request.substr(0, request.find("\r\n"));
    {
        std::lock_guard<std::mutex> hold(mutex_);
        requests_.push_back(line);
    }
    const bool known = line.rfind(std::string("GET ") + EXPECTED_TARGET + " ", 0) == 0;
    const std::string content = known ? body_ : "{}";
    const std::string reply =
        std::string(known ? "HTTP/1.1 200 OK" : "HTTP/1.1 404 Not Found") +
        "\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(content.size()) +
        "\r\nConnection: close\r\n\r\n" + content;
    size_t sent = 0;
    while (sent < reply.size()) {
        const ssize_t put = send(client, reply.data() + sent, reply.size() - sent, MSG_NOSIGNAL);
        if (put <= 0)
            break;
        sent += static_cast<size_t>(put);
    }
}

} // namespace maintest
