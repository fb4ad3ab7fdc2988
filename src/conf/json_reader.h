// Typed reads of the configuration answer. jsoncpp throws when asked to convert a value of the
// wrong type; these reads check first and keep the first mismatch as a message naming where in
// the answer it was, so the loader can end the load in an orderly way instead.
#pragma once

#include <cstdint>
#include <json/json.h>
#include <string>

class JsonReader {
public:
    // Member key of parent (an object or null, so absent members read as null) as a string,
    // an unsigned 32-bit number or a flag; null gives "", 0 or false. False on a type mismatch.
    bool text(const Json::Value& parent, const std::string& path, const char* key,
              std::string& out);
    bool number(const Json::Value& parent, const std::string& path, const char* key, uint32_t& out);
    bool flag(const Json::Value& parent, const std::string& path, const char* key, bool& out);
    // True when value (found at path) is an object or null: both may be read by member name.
    bool object(const Json::Value& value, const std::string& path);
    // True when value (found at path) is an array or null: both may be walked.
    bool array(const Json::Value& value, const std::string& path);

    // The first mismatch: "<path> is not <kind>"; empty while none occurred.
    const std::string& error() const { return error_; }

private:
    bool fail(const std::string& path, const char* kind);

    std::string error_;
};

// "parent"."key" in the notation of the error messages; a top-level member has no parent.
std::string memberPath(const std::string& parent, const char* key);
// parent[index].
std::string indexPath(const std::string& parent, Json::ArrayIndex index);
