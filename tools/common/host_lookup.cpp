#include "common/host_lookup.h"

#include "common/values.h"

#include <cstring>
#include <netdb.h>
#include <sys/socket.h>

namespace tools {

bool lookupIpv4(const std::string& host, in_addr& address, std::string& error) {
    if (parseIpv4(host, address))
        return true;
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* results = nullptr;
    int rc = getaddrinfo(host.c_str(), nullptr, &hints, &results);
    if (rc != 0) {
        error = "cannot resolve " + host + ": " + gai_strerror(rc);
        return false;
    }
    bool found = false;
    for (addrinfo* item = results; item != nullptr && !found; item = item->ai_next) {
        if (item->ai_family == AF_INET && item->ai_addrlen >= sizeof(sockaddr_in)) {
            sockaddr_in in{};
            std::memcpy(&in, item->ai_addr, sizeof in);
            address = in.sin_addr;
            found = true;
        }
    }
    freeaddrinfo(results);
    if (!found)
        error = "no IPv4 address for " + host;
    return found;
}

} // namespace tools
