// HTTP GET of JSON documents against a stub server on the loopback interface.
#include <algorithm>
#include <gtest/gtest.h>

#include "common/http_stub.h"
#include "common/test_util.h"
#include "support/api_request.h"

namespace {

using VRX::ApiRequest;

void expectFailure(const std::string& url, const std::string& reason) {
    testutil::LogCapture capture;
    Json::Value answer = "stale";
    EXPECT_NE(ApiRequest::getRequest(url, answer), 0);
    EXPECT_TRUE(answer.isNull());
    const std::string start = "ERROR API request to " + url + " failed: ";
    const std::vector<std::string> lines = capture.labelled();
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.rfind(start, 0) == 0 && line.find(reason, start.size()) != std::string::npos;
    })) << testing::PrintToString(lines);
}

TEST(ApiRequestTest, GoodJsonIsParsed) {
    testutil::HttpStub server(R"({"uplinker":{"mode":1},"waninfo":[]})");
    testutil::LogCapture capture;
    Json::Value answer;
    EXPECT_EQ(ApiRequest::getRequest(server.url("/api?fields=uplinker,waninfo"), answer), 0);
    EXPECT_EQ(answer["uplinker"]["mode"].asInt(), 1);
    EXPECT_TRUE(answer["waninfo"].isArray());
    EXPECT_EQ(server.requests(),
              std::vector<std::string>{"GET /api?fields=uplinker,waninfo HTTP/1.1"});
    EXPECT_TRUE(capture.messages().empty());
}

TEST(ApiRequestTest, FailuresAreReportedAndLogged) {
    const struct {
        std::string body, status, reason;
    } cases[] = {{"{\"open\": [1, 2", "200 OK", "invalid JSON"},
                 {"{}", "404 Not Found", "HTTP status 404"},
                 {"{}", "500 Internal Server Error", "HTTP status 500"},
                 {std::string(ApiRequest::MAX_BODY + 1, ' '), "200 OK", "larger than"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.reason);
        testutil::HttpStub server(c.body, 0, c.status);
        expectFailure(server.url("/api"), c.reason);
    }
    std::string closed;
    {
        testutil::HttpStub server("{}");
        closed = server.url("/api");
    }
    expectFailure(closed, "");
}

} // namespace
