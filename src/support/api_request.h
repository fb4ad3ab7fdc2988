// HTTP GET of a JSON document.
#pragma once

#include <json/json.h>
#include <string>

namespace VRX {

class ApiRequest {
public:
    static constexpr long CONNECT_TIMEOUT_S = 3;
    static constexpr long TOTAL_TIMEOUT_S = 10;
    static constexpr size_t MAX_BODY = size_t{4} * 1024 * 1024;

    // GETs the URL and parses the body into answer; 0 on success, non-zero for a transport
    // failure, a time-out, an HTTP status of 400 or above, a body over MAX_BODY or one that is
    // not JSON (each logged at ERROR with the reason).
    static int getRequest(const std::string& url, Json::Value& answer);
};

} // namespace VRX
