// Reading A records out of answers, including answers that lie about their contents.
#include "common/dns_answer.h"
#include "dns_responder.h"

#include <ares.h>
#include <gtest/gtest.h>

using Lines = std::vector<std::string>;

namespace {

// A query for "a.example", id 0x0102, type A, class IN.
const std::vector<uint8_t> kQuery = {0x01, 0x02, 0x01, 0x00, 0,   1,   0,   0,   0, 0, 0, 0, 1, 'a',
                                     7,    'e',  'x',  'a',  'm', 'p', 'l', 'e', 0, 0, 1, 0, 1};

} // namespace

TEST(DnsAnswer, EveryARecordInOrder) {
    std::vector<uint8_t> answer = toolstest::buildAnswer(kQuery, {"192.0.2.7", "192.0.2.8"});
    Lines lines;
    EXPECT_EQ(tools::answerLines(answer.data(), answer.size(), lines), ARES_SUCCESS);
    EXPECT_EQ(lines, (Lines{"Found ipV4 192.0.2.7", "Found ipV4 192.0.2.8"}));
}

TEST(DnsAnswer, NoRecordsIsNoData) {
    std::vector<uint8_t> answer = toolstest::buildAnswer(kQuery, {});
    Lines lines;
    EXPECT_EQ(tools::answerLines(answer.data(), answer.size(), lines), ARES_ENODATA);
    EXPECT_TRUE(lines.empty());
}

TEST(DnsAnswer, EveryTruncationIsRejectedWithoutOverrun) {
    std::vector<uint8_t> answer = toolstest::buildAnswer(kQuery, {"192.0.2.7", "192.0.2.8"});
    for (size_t length = 0; length < answer.size(); ++length) {
        // A copy of exactly this length, so a sanitizer sees any read past it.
        std::vector<uint8_t> cut(answer.begin(), answer.begin() + static_cast<long>(length));
        Lines lines;
        int status = tools::answerLines(cut.data(), cut.size(), lines);
        EXPECT_NE(status, ARES_SUCCESS) << length;
        EXPECT_TRUE(lines.empty()) << length;
    }
}

TEST(DnsAnswer, GarbledRecordsNeverPrintWrongAddresses) {
    std::vector<uint8_t> answer = toolstest::buildAnswer(kQuery, {"192.0.2.7"});
    const size_t record = kQuery.size();
    struct Case {
        const char* why;
        size_t offset;
        uint8_t value;
    } cases[] = {
        {"pointer loop", record + 1, static_cast<uint8_t>(record)},
        {"pointer past end", record + 1, 0xff},
        {"rdlength 3", record + 11, 3},
        {"rdlength past end", record + 11, 200},
        {"answer count lies", 7, 9},
        {"label past end", 12, 60},
    };
    for (const Case& c : cases) {
        std::vector<uint8_t> bad = answer;
        bad[c.offset] = c.value;
        if (c.offset == record + 1)
            bad[record] = 0xc0;
        Lines lines;
        tools::answerLines(bad.data(), bad.size(), lines);
        for (const std::string& line : lines)
            EXPECT_EQ(line, "Found ipV4 192.0.2.7") << c.why;
    }
}

TEST(DnsAnswer, NullInputIsBadResponse) {
    Lines lines;
    EXPECT_EQ(tools::answerLines(nullptr, 0, lines), ARES_EBADRESP);
}
