// The floor of the failover benchmark: the least a program can do to follow carrier changes.
// It listens for link notifications and, when the first running interface of its list changes,
// replaces the main table's default route with the same two shell commands the daemon uses.
// Usage: min_reactor IFNAME=GATEWAY...   (most preferred first)
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

struct Uplink {
    std::string name;
    std::string gateway;
    bool running = false;
};

int openListener() {
    int fd = socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_ROUTE);
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_LINK;
    if (fd >= 0 && bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

bool requestLinkDump(int fd) {
    struct {
        nlmsghdr header;
        rtgenmsg body;
    } request{};
    request.header.nlmsg_len = sizeof(request);
    request.header.nlmsg_type = RTM_GETLINK;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.body.rtgen_family = AF_UNSPEC;
    return send(fd, &request, sizeof(request), 0) == static_cast<ssize_t>(sizeof(request));
}

// The interface name of a link message, empty when it has none or the message is cut.
std::string linkName(const nlmsghdr* message) {
    const size_t length = message->nlmsg_len;
    if (length < NLMSG_LENGTH(sizeof(ifinfomsg)))
        return std::string();
    const uint8_t* base = reinterpret_cast<const uint8_t*>(message);
    size_t offset = NLMSG_LENGTH(sizeof(ifinfomsg));
    offset = NLMSG_ALIGN(offset);
    while (length >= offset + sizeof(rtattr)) {
        rtattr attribute;
        std::memcpy(&attribute, base + offset, sizeof(attribute));
        if (attribute.rta_len < sizeof(rtattr) || attribute.rta_len > length - offset)
            break;
        if (attribute.rta_type == IFLA_IFNAME) {
            const char* text = reinterpret_cast<const char*>(base + offset + RTA_LENGTH(0));
            return std::string(text, strnlen(text, attribute.rta_len - RTA_LENGTH(0)));
        }
        offset += RTA_ALIGN(attribute.rta_len);
    }
    return std::string();
}

void noteLink(const nlmsghdr* message, std::vector<Uplink>& uplinks) {
    if (message->nlmsg_type != RTM_NEWLINK || message->nlmsg_len < NLMSG_LENGTH(sizeof(ifinfomsg)))
        return;
    ifinfomsg info;
    std::memcpy(&info, NLMSG_DATA(message), sizeof(info));
    const std::string name = linkName(message);
    for (Uplink& uplink : uplinks) {
        if (uplink.name == name)
            uplink.running = (info.ifi_flags & IFF_RUNNING) != 0;
    }
}

// Reads one datagram and updates the running flags; false when the socket failed.
bool readLinks(int fd, std::vector<Uplink>& uplinks, bool& dumpDone) {
    alignas(nlmsghdr) uint8_t buffer[32768];
    const ssize_t got = recv(fd, buffer, sizeof(buffer), 0);
    if (got < 0)
        return false;
    size_t left = static_cast<size_t>(got);
    const uint8_t* cursor = buffer;
    while (left >= sizeof(nlmsghdr)) {
        const nlmsghdr* message = reinterpret_cast<const nlmsghdr*>(cursor);
        if (message->nlmsg_len < sizeof(nlmsghdr) || message->nlmsg_len > left)
            break;
        if (message->nlmsg_type == NLMSG_DONE)
            dumpDone = true;
        noteLink(message, uplinks);
        const size_t step = std::min<size_t>(NLMSG_ALIGN(message->nlmsg_len), left);
        cursor += step;
        left -= step;
    }
    return true;
}

int firstRunning(const std::vector<Uplink>& uplinks) {
    for (size_t index = 0; index < uplinks.size(); ++index) {
        if (uplinks[index].running)
            return static_cast<int>(index);
    }
    return -1;
}

void switchTo(const Uplink& uplink, int switches) {
    (void)std::system("ip route del default table main");
    const std::string add =
        "ip route add default via " + uplink.gateway + " dev " + uplink.name + " table main";
    (void)std::system(add.c_str());
    std::printf("switch %d %s\n", switches, uplink.name.c_str());
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    std::vector<Uplink> uplinks;
    for (int index = 1; index < argc; ++index) {
        const char* equals = std::strchr(argv[index], '=');
        if (equals == nullptr)
            return 2;
        const std::string word = argv[index];
        const size_t split = static_cast<size_t>(equals - argv[index]);
        uplinks.push_back({word.substr(0, split), word.substr(split + 1), false});
    }
    const int fd = openListener();
    if (fd < 0 || !requestLinkDump(fd))
        return 1;
    bool dumpDone = false;
    int current = -1;
    int switches = 0;
    while (readLinks(fd, uplinks, dumpDone)) {
        const int best = firstRunning(uplinks);
        if (!dumpDone || best == current || best < 0)
            continue;
        current = best;
        switchTo(uplinks[static_cast<size_t>(best)], ++switches);
    }
    return 1;
}
