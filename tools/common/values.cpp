#include "common/values.h"

#include <arpa/inet.h>

namespace tools {

bool parseNumber(const std::string& text, unsigned long min, unsigned long max,
                 unsigned long& value) {
    // Nine digits cannot overflow, and no accepted range needs more.
    if (text.empty() || text.size() > 9)
        return false;
    unsigned long result = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
        result = result * 10 + static_cast<unsigned long>(c - '0');
    }
    if (result < min || result > max)
        return false;
    value = result;
    return true;
}

bool parseIpv4(const std::string& text, in_addr& address) {
    return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

bool parseIpv4WithPort(const std::string& text, uint16_t defaultPort, in_addr& address,
                       uint16_t& port) {
    size_t colon = text.find(':');
    if (colon == std::string::npos) {
        port = defaultPort;
        return parseIpv4(text, address);
    }
    unsigned long number = 0;
    if (!parseNumber(text.substr(colon + 1), 1, 65535, number))
        return false;
    if (!parseIpv4(text.substr(0, colon), address))
        return false;
    port = static_cast<uint16_t>(number);
    return true;
}

bool plausibleHost(const std::string& text) {
    if (text.empty() || text.size() > 253 || text[0] == '-')
        return false;
    for (char c : text) {
        unsigned char byte = static_cast<unsigned char>(c);
        if (byte <= ' ' || byte == 0x7f)
            return false;
    }
    return true;
}

} // namespace tools
