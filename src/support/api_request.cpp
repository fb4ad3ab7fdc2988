#include "support/api_request.h"

#include <curl/curl.h>
#include <memory>
#include <mutex>

#include "support/log.h"

namespace VRX {

namespace {

struct Body {
    std::string text;
    bool tooLarge = false;
};

size_t collectBody(char* data, size_t size, size_t count, void* user) {
    Body* body = static_cast<Body*>(user);
    size_t length = size * count;
    if (body->text.size() + length > ApiRequest::MAX_BODY) {
        body->tooLarge = true;
        // Returning less than was offered makes curl abort the transfer.
        return 0;
    }
    body->text.append(data, length);
    return length;
}

void initCurlOnce() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

using CurlHandle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

// Fetches the URL into body; empty reason on success.
std::string fetch(const std::string& url, Body& body) {
    initCurlOnce();
    CurlHandle curl(curl_easy_init(), &curl_easy_cleanup);
    if (!curl)
        return "cannot create a transfer handle";
    char error[CURL_ERROR_SIZE] = "";
    CURL* handle = curl.get();
    // The daemon is multi-threaded: curl must not use signals for its time-outs.
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    // The device API lives on this host; a proxy named in the environment must not carry it.
    curl_easy_setopt(handle, CURLOPT_PROXY, "");
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT, ApiRequest::CONNECT_TIMEOUT_S);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT, ApiRequest::TOTAL_TIMEOUT_S);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, error);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &collectBody);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &body);
    CURLcode code = curl_easy_perform(handle);
    if (body.tooLarge)
        return "answer larger than " + std::to_string(ApiRequest::MAX_BODY) + " bytes";
    if (code != CURLE_OK)
        return error[0] != '\0' ? std::string(error) : std::string(curl_easy_strerror(code));
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    if (status >= 400)
        return "HTTP status " + std::to_string(status);
    return std::string();
}

// Parses text as JSON into answer; empty reason on success.
std::string parse(const std::string& text, Json::Value& answer) {
    Json::CharReaderBuilder builder;
    std::string errors;
    try {
        std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
        if (reader->parse(text.data(), text.data() + text.size(), &answer, &errors))
            return std::string();
    } catch (const std::exception& e) {
        errors = e.what();
    }
    answer = Json::Value();
    return "invalid JSON: " + errors;
}

} // namespace

int ApiRequest::getRequest(const std::string& url, Json::Value& answer) {
    answer = Json::Value();
    Body body;
    std::string reason = fetch(url, body);
    if (reason.empty())
        reason = parse(body.text, answer);
    if (reason.empty())
        return 0;
    LOG_ERROR("API request to %s failed: %s", url.c_str(), reason.c_str());
    return 1;
}

} // namespace VRX
