// Applying the configuration service's answer: shape checks, mode, and the interface list.
#include <exception>

#include "conf/conf.h"
#include "conf/conf_summary.h"
#include "conf/json_reader.h"
#include "conf/wan_entry.h"
#include "support/log.h"

namespace {

const char* const INVALID_ANSWER = "Conf::load: invalid API response";
const char* const OWN_SECTION = "uplinker";
const char* const INVENTORY_SECTION = "waninfo";

bool hasObject(const Json::Value& answer, const char* key) {
    return answer.isMember(key) && answer[key].isObject();
}

// isMember throws on arrays and scalars, so the top level is known to be an object first.
bool hasValidShape(const Json::Value& answer) {
    return answer.isObject() && hasObject(answer, OWN_SECTION) &&
           hasObject(answer, INVENTORY_SECTION);
}

void logTypeError(const JsonReader& reader) {
    LOG_FATAL("%s: %s", INVALID_ANSWER, reader.error().c_str());
}

// An unknown mode (lower case included) is refused without a message.
bool readMode(const Json::Value& own, JsonReader& reader, bool& known, Mode& mode) {
    std::string text;
    if (!reader.text(own, memberPath("", OWN_SECTION), "mode", text))
        return false;
    known = text == "CONSTANT" || text == "FAILOVER";
    mode = text == "FAILOVER" ? Mode::Failover : Mode::Constant;
    return true;
}

// Reads every entry of the interface list; false on a value of the wrong type.
bool readEntries(const Json::Value& wans, const std::string& path, const EntryContext& context,
                 std::list<WanConfig>& accepted) {
    for (Json::ArrayIndex i = 0; i < wans.size(); ++i) {
        WanConfig record;
        EntryOutcome outcome = readWanEntry(wans[i], indexPath(path, i), context, record);
        if (outcome == EntryOutcome::Invalid)
            return false;
        if (outcome == EntryOutcome::Accepted)
            accepted.push_back(record);
    }
    return true;
}

// The whole answer into mode and accepted; false (with any message already logged) when the
// answer is unusable.
bool readAnswer(const Json::Value& answer, const std::map<std::string, int>& routeTables,
                Mode& mode, std::list<WanConfig>& accepted) {
    if (!hasValidShape(answer)) {
        LOG_FATAL("%s", INVALID_ANSWER);
        return false;
    }
    JsonReader reader;
    bool known = false;
    if (!readMode(answer[OWN_SECTION], reader, known, mode)) {
        logTypeError(reader);
        return false;
    }
    if (!known)
        return false;
    const Json::Value& wans = answer[OWN_SECTION]["wans"];
    const Json::Value& inventory = answer[INVENTORY_SECTION]["wans"];
    std::string wansPath = memberPath(memberPath("", OWN_SECTION), "wans");
    EntryContext context{inventory, routeTables, reader};
    if (!reader.array(wans, wansPath) ||
        !reader.array(inventory, memberPath(memberPath("", INVENTORY_SECTION), "wans")) ||
        !readEntries(wans, wansPath, context, accepted)) {
        logTypeError(reader);
        return false;
    }
    return true;
}

} // namespace

bool Conf::applyAnswer(const Json::Value& answer, const std::map<std::string, int>& routeTables) {
    Mode newMode = Mode::Constant;
    std::list<WanConfig> accepted;
    bool ok = false;
    // The reads check types first; this is the last resort should jsoncpp still object.
    try {
        ok = readAnswer(answer, routeTables, newMode, accepted);
    } catch (const std::exception& e) {
        LOG_FATAL("%s: %s", INVALID_ANSWER, e.what());
        ok = false;
    }
    // Nothing of a refused answer is kept.
    reset();
    if (!ok)
        return false;
    mode = newMode;
    wanConfigs.swap(accepted);
    logConfSummary(mode, wanConfigs);
    return true;
}
