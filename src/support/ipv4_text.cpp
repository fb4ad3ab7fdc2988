#include "support/ipv4_text.h"

#include <arpa/inet.h>
#include <netinet/in.h>

std::string dottedQuad(uint32_t address) {
    in_addr value{};
    value.s_addr = address;
    char text[INET_ADDRSTRLEN] = {};
    // Unlike inet_ntoa this keeps no shared buffer, and the check threads format addresses too.
    if (inet_ntop(AF_INET, &value, text, sizeof(text)) == nullptr)
        return std::string();
    return text;
}
