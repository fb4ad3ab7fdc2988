// inet-check: can a TCP connection to HOST:PORT be made through one given interface?
#include "common/deadline.h"
#include "common/host_lookup.h"
#include "common/inet_check_args.h"
#include "common/tool_main.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const char* const kProgram = "inet-check";
constexpr int kConnectMs = 3000;
// Name resolution plus the connect bound; the watchdog ends anything longer.
constexpr unsigned kWatchdogSeconds = 10;

std::string errnoText(const char* what, int error) {
    return std::string(what) + ": " + strerror(error);
}

// The socket is tied to the interface before connecting, so the route lookup, and with it
// the source address, is that interface's even when the main table points elsewhere.
int openBoundSocket(const std::string& ifname, std::string& error) {
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        error = errnoText("socket", errno);
        return -1;
    }
    if (setsockopt(fd, SOL_SOCKET, SO_BINDTODEVICE, ifname.c_str(),
                   static_cast<socklen_t>(ifname.size() + 1)) != 0) {
        error = errnoText(("interface " + ifname).c_str(), errno);
        close(fd);
        return -1;
    }
    return fd;
}

// Waits for the non-blocking connect to settle; its outcome is in SO_ERROR.
bool awaitConnect(int fd, std::string& error) {
    tools::Deadline end(kConnectMs);
    pollfd entry{fd, POLLOUT, 0};
    int ready = 0;
    do {
        ready = poll(&entry, 1, end.remainingMs());
    } while (ready < 0 && errno == EINTR && !end.expired());
    if (ready <= 0) {
        error = "connect timed out";
        return false;
    }
    int result = 0;
    socklen_t size = sizeof result;
    if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &result, &size) != 0)
        result = errno;
    if (result != 0)
        error = errnoText("connect", result);
    return result == 0;
}

bool connectThrough(const tools::InetCheckArgs& args, in_addr host, std::string& error) {
    int fd = openBoundSocket(args.ifname, error);
    if (fd < 0)
        return false;
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(args.port);
    to.sin_addr = host;
    bool ok = false;
    if (connect(fd, reinterpret_cast<sockaddr*>(&to), sizeof to) == 0)
        ok = true;
    else if (errno == EINPROGRESS)
        ok = awaitConnect(fd, error);
    else
        error = errnoText("connect", errno);
    close(fd);
    return ok;
}

int run(const tools::InetCheckArgs& args) {
    tools::armWatchdog(kWatchdogSeconds);
    std::string error;
    if (if_nametoindex(args.ifname.c_str()) == 0) {
        tools::complain(kProgram, "no interface " + args.ifname);
        return tools::ExitFailed;
    }
    in_addr host{};
    if (!tools::lookupIpv4(args.host, host, error)) {
        tools::complain(kProgram, error);
        return tools::ExitFailed;
    }
    // The connect alone is timed: the lookup before it is no part of the link's latency.
    const int64_t startUs = tools::monotonicUs();
    if (!connectThrough(args, host, error)) {
        tools::complain(kProgram, error);
        return tools::ExitFailed;
    }
    const double connectMs = static_cast<double>(tools::monotonicUs() - startUs) / 1000.0;
    std::printf("%s: connected to %s:%u through %s\n", kProgram, args.host.c_str(),
                static_cast<unsigned>(args.port), args.ifname.c_str());
    std::printf("%s: connect_ms %.3f\n", kProgram, connectMs);
    return tools::ExitOk;
}

} // namespace

int main(int argc, char** argv) {
    tools::InetCheckArgs args;
    std::string error;
    tools::ParseStatus status = tools::parseInetCheckArgs(tools::argList(argc, argv), args, error);
    int exitStatus = tools::finishParse(status, kProgram, tools::kInetCheckUsage, error);
    return exitStatus >= 0 ? exitStatus : run(args);
}
