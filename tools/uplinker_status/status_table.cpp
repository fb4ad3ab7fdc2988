#include "status_table.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <initializer_list>
#include <vector>

namespace tools {

namespace {

using Row = std::vector<std::string>;

// A field and the test of its type; an optional one may also be missing or null.
struct Field {
    const char* key;
    bool (Json::Value::*test)() const;
    bool optional = false;
};
constexpr auto STRING = &Json::Value::isString;
constexpr auto BOOL = &Json::Value::isBool;
constexpr auto OBJECT = &Json::Value::isObject;
constexpr auto COUNT = &Json::Value::isUInt64;
constexpr auto SECONDS = &Json::Value::isInt64;

// jsoncpp reads a field of another type as a default (a number as text, a missing list as an
// empty one) rather than failing, which would show a table of nothing as if all were well.
bool holds(const Json::Value& object, std::initializer_list<Field> fields) {
    if (!object.isObject())
        return false;
    for (const Field& field : fields) {
        const Json::Value& value = object[field.key];
        if (!(field.optional && value.isNull()) && !(value.*field.test)())
            return false;
    }
    return true;
}

bool optionalHolds(const Json::Value& value, std::initializer_list<Field> fields) {
    return value.isNull() || holds(value, fields);
}

bool probeWellFormed(const Json::Value& wan) {
    return holds(wan, {{"check", STRING}}) &&
           optionalHolds(wan["verdict"], {{"result", STRING},
                                          {"time", SECONDS},
                                          {"answered", COUNT, true},
                                          {"probed", COUNT, true}}) &&
           optionalHolds(wan["pending"], {{"toward", STRING}, {"count", COUNT}, {"needed", COUNT}});
}

bool wanWellFormed(const Json::Value& wan) {
    return holds(wan, {{"name", STRING},
                       {"link", BOOL},
                       {"modem", BOOL, true},
                       {"address", STRING},
                       {"gateway", STRING},
                       {"monitor", STRING},
                       {"enabled", BOOL},
                       {"usable", BOOL}}) &&
           (wan["monitor"].asString() != "Active" || probeWellFormed(wan));
}

// Local time of day: what the operator's own clock shows.
std::string clockText(int64_t seconds) {
    const time_t when = static_cast<time_t>(seconds);
    tm local{};
    char text[16] = "?";
    if (localtime_r(&when, &local) != nullptr)
        (void)strftime(text, sizeof text, "%H:%M:%S", &local);
    return text;
}

// Interface names come from the configuration: a control byte must not reach the terminal.
std::string printable(const std::string& text) {
    std::string out;
    for (const unsigned char c : text) {
        if (c < 0x20 || c == 0x7f || c == '\\') {
            char escaped[8];
            (void)snprintf(escaped, sizeof escaped, "\\x%02x", c);
            out += escaped;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

std::string headline(const Json::Value& status) {
    const std::string current = status["current"].asString();
    std::string line = "uplinker: " + status["mode"].asString() + ", " +
                       (current.empty() ? "no uplink" : "uplink " + printable(current));
    const Json::Value& last = status["last_switch"];
    if (last.isObject())
        line += " since " + clockText(last["time"].asInt64()) + " (" +
                printable(last["cause"].asString()) + ")";
    return line + "\n";
}

std::string linkText(const Json::Value& wan) {
    if (!wan["link"].asBool())
        return "down";
    return wan.isMember("modem") && !wan["modem"].asBool() ? "up, no modem" : "up";
}

std::string probeText(const Json::Value& wan, int64_t now) {
    if (wan["monitor"].asString() != "Active")
        return "passive";
    const Json::Value& verdict = wan["verdict"];
    if (!verdict.isObject())
        return wan["check"].asString() == "RunActive" ? "checking" : "none yet";
    const int64_t age = std::max<int64_t>(0, now - verdict["time"].asInt64());
    std::string text = verdict["result"].asString();
    if (verdict.isMember("probed"))
        text += " " + verdict["answered"].asString() + "/" + verdict["probed"].asString();
    text += ", " + std::to_string(age) + " s ago";
    const Json::Value& pending = wan["pending"];
    if (pending.isObject())
        text += ", " + pending["count"].asString() + "/" + pending["needed"].asString() +
                " toward " + pending["toward"].asString();
    return text;
}

// A measured value to a tenth, a trailing ".0" left off; "-" while there is none.
std::string measuredText(const Json::Value& value, const char* unit) {
    if (!value.isNumeric())
        return "-";
    char text[32];
    (void)snprintf(text, sizeof text, "%.1f", value.asDouble());
    std::string out = text;
    if (out.size() > 2 && out.compare(out.size() - 2, 2, ".0") == 0)
        out.resize(out.size() - 2);
    return out + " " + unit;
}

// Loss and latency, for a table in which some WAN is judged by them.
void addQuality(Row& row, const Json::Value& wan) {
    const Json::Value& quality = wan["quality"];
    row.insert(row.end() - 1,
               {measuredText(quality["loss"], "%"), measuredText(quality["latency_ms"], "ms")});
}

Row wanRow(const Json::Value& wan, int64_t now) {
    const char* usable = !wan["enabled"].asBool() ? "disabled"
                         : wan["usable"].asBool() ? "yes"
                                                  : "no";
    return {printable(wan["name"].asString()), linkText(wan),       wan["address"].asString(),
            wan["gateway"].asString(),         probeText(wan, now), usable};
}

// Columns as wide as their widest cell, two blanks apart; the last one is not padded.
std::string columns(const std::vector<Row>& rows) {
    std::vector<size_t> widths;
    for (const Row& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    }
    std::string out;
    for (const Row& row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i)
            line += i + 1 < row.size() ? row[i] + std::string(widths[i] - row[i].size() + 2, ' ')
                                       : row[i];
        out += line + "\n";
    }
    return out;
}

} // namespace

bool wellFormed(const Json::Value& status) {
    if (!holds(status, {{"phase", STRING},
                        {"pid", &Json::Value::isInt},
                        {"start_time", COUNT},
                        {"mode", STRING},
                        {"current", STRING},
                        {"wans", &Json::Value::isArray},
                        {"lock", OBJECT, true},
                        {"last_switch", OBJECT, true}}) ||
        !optionalHolds(status["lock"], {{"wan", STRING}, {"until", SECONDS}}) ||
        !optionalHolds(status["last_switch"], {{"time", SECONDS}, {"cause", STRING}}))
        return false;
    const Json::Value& wans = status["wans"];
    return std::all_of(wans.begin(), wans.end(), wanWellFormed);
}

std::string statusTable(const Json::Value& status, int64_t now) {
    if (status["phase"].asString() == "starting")
        return "uplinker: starting, no decisions yet\n";
    std::string out = headline(status);
    const Json::Value& lock = status["lock"];
    if (lock.isObject())
        out += "roaming lock on " + printable(lock["wan"].asString()) + " until " +
               clockText(lock["until"].asInt64()) + "\n";
    std::vector<Row> rows = {{"WAN", "link", "address", "gateway", "probe", "usable"}};
    std::vector<const Json::Value*> wans;
    bool judged = false;
    for (const Json::Value& wan : status["wans"]) {
        rows.push_back(wanRow(wan, now));
        wans.push_back(&wan);
        judged = judged || wan["quality"].isObject();
    }
    // Without thresholds the table stays as it always was.
    if (judged) {
        rows.front().insert(rows.front().end() - 1, {"loss", "latency"});
        for (size_t i = 0; i < wans.size(); ++i)
            addQuality(rows[i + 1], *wans[i]);
    }
    return out + columns(rows);
}

} // namespace tools
