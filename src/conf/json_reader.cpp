#include "conf/json_reader.h"

bool JsonReader::text(const Json::Value& parent, const std::string& path, const char* key,
                      std::string& out) {
    const Json::Value& value = parent[key];
    // jsoncpp also renders numbers and flags as text; only containers cannot be converted.
    if (!value.isConvertibleTo(Json::stringValue))
        return fail(memberPath(path, key), "a string");
    out = value.asString();
    return true;
}

bool JsonReader::number(const Json::Value& parent, const std::string& path, const char* key,
                        uint32_t& out) {
    const Json::Value& value = parent[key];
    // Rejects negative, fractional and too large numbers as well as strings and containers.
    if (!value.isConvertibleTo(Json::uintValue))
        return fail(memberPath(path, key), "an unsigned number");
    out = value.asUInt();
    return true;
}

bool JsonReader::flag(const Json::Value& parent, const std::string& path, const char* key,
                      bool& out) {
    const Json::Value& value = parent[key];
    if (!value.isConvertibleTo(Json::booleanValue))
        return fail(memberPath(path, key), "a boolean");
    out = value.asBool();
    return true;
}

bool JsonReader::object(const Json::Value& value, const std::string& path) {
    if (!value.isNull() && !value.isObject())
        return fail(path, "an object");
    return true;
}

bool JsonReader::array(const Json::Value& value, const std::string& path) {
    if (!value.isNull() && !value.isArray())
        return fail(path, "an array");
    return true;
}

bool JsonReader::fail(const std::string& path, const char* kind) {
    if (error_.empty())
        error_ = path + " is not " + kind;
    return false;
}

std::string memberPath(const std::string& parent, const char* key) {
    std::string quoted = std::string("\"") + key + "\"";
    return parent.empty() ? quoted : parent + "." + quoted;
}

std::string indexPath(const std::string& parent, Json::ArrayIndex index) {
    return parent + "[" + std::to_string(index) + "]";
}
