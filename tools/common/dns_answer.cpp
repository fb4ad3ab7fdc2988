#include "common/dns_answer.h"

#include <ares.h>
#include <arpa/inet.h>
#include <climits>

#include "support/lookup_text.h"

namespace tools {

namespace {
// More than a UDP answer of 512 bytes can hold; larger answers are cut, not overrun.
constexpr int kMaxRecords = 64;
} // namespace

int answerLines(const unsigned char* answer, size_t length, std::vector<std::string>& lines) {
    if (answer == nullptr || length > INT_MAX)
        return ARES_EBADRESP;
    ares_addrttl records[kMaxRecords];
    int count = kMaxRecords;
    int status = ares_parse_a_reply(answer, static_cast<int>(length), nullptr, records, &count);
    if (status != ARES_SUCCESS)
        return status;
    for (int i = 0; i < count && i < kMaxRecords; ++i) {
        char text[INET_ADDRSTRLEN] = "";
        if (inet_ntop(AF_INET, &records[i].ipaddr, text, sizeof text) != nullptr)
            lines.push_back(std::string(FOUND_IPV4) + " " + text);
    }
    return count > 0 ? ARES_SUCCESS : ARES_ENODATA;
}

} // namespace tools
