#include <cctype>

#include "conf_test_util.h"

namespace {

using namespace conftest;

struct TypeCase {
    Strings path; // object keys, or array indices written as digits
    Json::Value value;
    const char* kind;
};

Json::Value& at(Json::Value& value, const Strings& path) {
    Json::Value* node = &value;
    for (const std::string& step : path)
        node = isdigit(step[0]) ? &(*node)[static_cast<Json::ArrayIndex>(std::stoul(step))]
                                : &(*node)[step];
    return *node;
}

// The path as the refusal names it: "uplinker"."wans"[1]."priority".
std::string where(const Strings& path) {
    std::string text;
    for (const std::string& step : path)
        text += isdigit(step[0]) ? "[" + step + "]" : (text.empty() ? "\"" : ".\"") + step + "\"";
    return text;
}

const Json::Value kObject(Json::objectValue);
const Json::Value kArray(Json::arrayValue);
const char* const kUnsigned = "an unsigned number";

const TypeCase kTypeCases[] = {
    {{"uplinker", "wans", "1", "priority"}, "5", kUnsigned},
    {{"uplinker", "wans", "1", "priority"}, -1, kUnsigned},
    {{"uplinker", "wans", "1", "weight"}, 1e12, kUnsigned},
    {{"uplinker", "wans", "1", "interface"}, kObject, "a string"},
    {{"uplinker", "wans", "1"}, 7, "an object"},
    {{"uplinker", "wans", "0"}, "eth0", "an object"},
    {{"uplinker", "wans", "1", "monitor"}, kArray, "an object"},
    {{"uplinker", "wans", "1", "monitor", "checkInterval"}, "30", kUnsigned},
    {{"uplinker", "wans", "1", "monitor", "mode"}, kArray, "a string"},
    {{"uplinker", "wans", "1", "monitor", "active"}, "icmp", "an object"},
    {{"uplinker", "wans", "1", "monitor", "active", "type"}, kObject, "a string"},
    {{"uplinker", "wans", "1", "monitor", "active", "hostname"}, kArray, "a string"},
    {{"uplinker", "wans", "1", "monitor", "active", "icmpCount"}, 4294967296.0, kUnsigned},
    {{"uplinker", "wans", "1", "monitor", "active", "tcpPort"}, -80, kUnsigned},
    {{"uplinker", "wans"}, kObject, "an array"},
    {{"uplinker", "wans"}, "eth0", "an array"},
    {{"uplinker", "mode"}, kObject, "a string"},
    {{"waninfo", "wans"}, 3, "an array"},
    {{"waninfo", "wans", "0"}, "eth9", "an object"},
    {{"waninfo", "wans", "0", "interface"}, kArray, "a string"},
    {{"waninfo", "wans", "0", "available"}, "yes", "a boolean"},
    {{"waninfo", "wans", "0", "enabled"}, kObject, "a boolean"},
    {{"waninfo", "wans", "0", "type"}, kArray, "a string"},
};

// Two entries, so that a mistake in the second follows an accepted first one.
TEST_F(ConfAnswer, WrongJsonTypesRefuseTheWholeAnswer) {
    for (const TypeCase& c : kTypeCases) {
        const std::string expected =
            "Conf::load: invalid API response: " + where(c.path) + " is not " + c.kind;
        SCOPED_TRACE(expected);
        Json::Value answer = baseAnswer();
        answer["uplinker"]["wans"].append(entryOf(answer));
        at(answer, c.path) = c.value;
        EXPECT_FALSE(apply(answer));
        EXPECT_EQ(linesAt(log, "FATAL"), Strings{expected});
        expectRefused();
    }
}

// A malformed inventory entry after the matching one is never reached.
TEST_F(ConfAnswer, InventoryIsCheckedOnlyAsFarAsTheWalkGoes) {
    Json::Value answer = baseAnswer();
    answer["waninfo"]["wans"].append(Json::Value(12));
    ASSERT_TRUE(apply(answer));
    EXPECT_EQ(conf.wanConfigs.size(), 1u);
}

TEST_F(ConfAnswer, ConvertibleScalarsAreAccepted) {
    Json::Value answer = baseAnswer();
    entryOf(answer)["priority"] = 3.0;
    entryOf(answer)["weight"] = true;
    itemOf(answer)["enabled"] = 1;
    entryOf(answer)["monitor"] = Json::Value();
    ASSERT_TRUE(apply(answer));
    ASSERT_EQ(conf.wanConfigs.size(), 1u);
    EXPECT_EQ(conf.wanConfigs.front().priority, 3u);
    EXPECT_EQ(conf.wanConfigs.front().weight, 1u);
    EXPECT_TRUE(conf.wanConfigs.front().enabled);
}

} // namespace
