#include "http_stub.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace conftest {

namespace {

constexpr int POLL_MS = 20;
constexpr int READ_TIMEOUT_MS = 2000;
constexpr size_t MAX_REQUEST = 16384;

bool readable(int fd, int timeoutMs) {
    pollfd p{fd, POLLIN, 0};
    return poll(&p, 1, timeoutMs) > 0;
}

// Reads up to the end of the request head; a client that stalls is given up on.
std::string readHead(int fd) {
    std::string head;
    char buffer[1024];
    while (head.find("\r\n\r\n") == std::string::npos && head.size() < MAX_REQUEST) {
        if (!readable(fd, READ_TIMEOUT_MS))
            break;
        ssize_t n = read(fd, buffer, sizeof(buffer));
        if (n <= 0)
            break;
        head.append(buffer, static_cast<size_t>(n));
    }
    return head;
}

void writeAll(int fd, const std::string& data) {
    size_t done = 0;
    while (done < data.size()) {
        ssize_t n = write(fd, data.data() + done, data.size() - done);
        if (n <= 0)
            return;
        done += static_cast<size_t>(n);
    }
}

} // namespace

HttpStub::HttpStub(std::string body) : body_(std::move(body)) {}

HttpStub::~HttpStub() {
    stop_ = true;
    if (thread_.joinable())
        thread_.join();
    if (listenFd_ >= 0)
        close(listenFd_);
}

bool HttpStub::start(uint16_t port) {
    listenFd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listenFd_ < 0)
        return false;
    int on = 1;
    setsockopt(listenFd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listenFd_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(listenFd_, 8) != 0)
        return false;
    thread_ = std::thread([this] { serve(); });
    return true;
}

std::vector<std::string> HttpStub::requests() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return requests_;
}

void HttpStub::serve() {
    while (!stop_) {
        if (!readable(listenFd_, POLL_MS))
            continue;
        int fd = accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            continue;
        answer(fd);
        close(fd);
    }
}

void HttpStub::answer(int fd) {
    std::string head = readHead(fd);
    {
        std::lock_guard<std::mutex> guard(mutex_);
        requests_.push_back(head.substr(0, head.find("\r\n")));
    }
    writeAll(fd, "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
                     std::to_string(body_.size()) + "\r\nConnection: close\r\n\r\n" + body_);
}

} // namespace conftest
