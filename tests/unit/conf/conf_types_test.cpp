#include <functional>

#include "conf_test_util.h"

namespace {

using conftest::baseAnswer;
using conftest::ConfAnswer;
using conftest::entryOf;
using conftest::itemOf;
using conftest::linesAt;
using conftest::parse;
using conftest::Strings;

struct TypeCase {
    std::function<void(Json::Value& answer)> tweak;
    const char* where;
};

Json::Value obj() {
    return Json::Value(Json::objectValue);
}

Json::Value arr() {
    return Json::Value(Json::arrayValue);
}

// Two entries, so that a mistake in the second follows an accepted first one.
Json::Value twoEntryAnswer() {
    Json::Value answer = baseAnswer();
    answer["uplinker"]["wans"].append(entryOf(answer));
    return answer;
}

const TypeCase kTypeCases[] = {
    {[](Json::Value& a) { entryOf(a, 1)["priority"] = "5"; },
     R"("uplinker"."wans"[1]."priority" is not an unsigned number)"},
    {[](Json::Value& a) { entryOf(a, 1)["priority"] = -1; },
     R"("uplinker"."wans"[1]."priority" is not an unsigned number)"},
    {[](Json::Value& a) { entryOf(a, 1)["weight"] = 1e12; },
     R"("uplinker"."wans"[1]."weight" is not an unsigned number)"},
    {[](Json::Value& a) { entryOf(a, 1)["interface"] = obj(); },
     R"("uplinker"."wans"[1]."interface" is not a string)"},
    {[](Json::Value& a) { entryOf(a, 1) = 7; }, R"("uplinker"."wans"[1] is not an object)"},
    {[](Json::Value& a) { entryOf(a, 0) = "eth0"; }, R"("uplinker"."wans"[0] is not an object)"},
    {[](Json::Value& a) { entryOf(a, 1)["monitor"] = arr(); },
     R"("uplinker"."wans"[1]."monitor" is not an object)"},
    {[](Json::Value& a) { entryOf(a, 1)["monitor"]["checkInterval"] = "30"; },
     R"("uplinker"."wans"[1]."monitor"."checkInterval" is not an unsigned number)"},
    {[](Json::Value& a) { entryOf(a, 1)["monitor"]["mode"] = arr(); },
     R"("uplinker"."wans"[1]."monitor"."mode" is not a string)"},
    {[](Json::Value& a) { entryOf(a, 1)["monitor"]["active"] = "icmp"; },
     R"("uplinker"."wans"[1]."monitor"."active" is not an object)"},
    {[](Json::Value& a) { entryOf(a, 1)["monitor"]["active"]["type"] = obj(); },
     R"("uplinker"."wans"[1]."monitor"."active"."type" is not a string)"},
    {[](Json::Value& a) { entryOf(a, 1)["monitor"]["active"]["hostname"] = arr(); },
     R"("uplinker"."wans"[1]."monitor"."active"."hostname" is not a string)"},
    {[](Json::Value& a) { entryOf(a, 1)["monitor"]["active"]["icmpCount"] = 4294967296.0; },
     R"("uplinker"."wans"[1]."monitor"."active"."icmpCount" is not an unsigned number)"},
    {[](Json::Value& a) { entryOf(a, 1)["monitor"]["active"]["tcpPort"] = -80; },
     R"("uplinker"."wans"[1]."monitor"."active"."tcpPort" is not an unsigned number)"},
    {[](Json::Value& a) { a["uplinker"]["wans"] = obj(); }, R"("uplinker"."wans" is not an array)"},
    {[](Json::Value& a) { a["uplinker"]["wans"] = "eth0"; },
     R"("uplinker"."wans" is not an array)"},
    {[](Json::Value& a) { a["waninfo"]["wans"] = 3; }, R"("waninfo"."wans" is not an array)"},
    {[](Json::Value& a) { a["uplinker"]["mode"] = obj(); }, R"("uplinker"."mode" is not a string)"},
    {[](Json::Value& a) { a["waninfo"]["wans"].insert(0, Json::Value("eth9")); },
     R"("waninfo"."wans"[0] is not an object)"},
    {[](Json::Value& a) { itemOf(a)["interface"] = arr(); },
     R"("waninfo"."wans"[0]."interface" is not a string)"},
    {[](Json::Value& a) { itemOf(a)["available"] = "yes"; },
     R"("waninfo"."wans"[0]."available" is not a boolean)"},
    {[](Json::Value& a) { itemOf(a)["enabled"] = obj(); },
     R"("waninfo"."wans"[0]."enabled" is not a boolean)"},
    {[](Json::Value& a) { itemOf(a)["type"] = arr(); },
     R"("waninfo"."wans"[0]."type" is not a string)"},
};

TEST_F(ConfAnswer, WrongJsonTypesRefuseTheWholeAnswer) {
    for (const TypeCase& c : kTypeCases) {
        SCOPED_TRACE(c.where);
        Json::Value answer = twoEntryAnswer();
        c.tweak(answer);
        EXPECT_FALSE(apply(answer));
        EXPECT_EQ(linesAt(log, "FATAL"),
                  Strings{std::string("Conf::load: invalid API response: ") + c.where});
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
