#include "common/arg_scan.h"

namespace tools {
namespace {

const OptionSpec* findSpec(const std::vector<OptionSpec>& specs, const std::string& name,
                           bool isLong) {
    for (const OptionSpec& entry : specs) {
        const std::string& candidate = isLong ? entry.longName : entry.shortName;
        if (!candidate.empty() && candidate == name)
            return &entry;
    }
    return nullptr;
}

std::string keyOf(const OptionSpec& entry) {
    return entry.longName.empty() ? entry.shortName : entry.longName;
}

// Splits "--name=value" / "-xvalue" into the option name and an attached value, if any.
void splitWord(const std::string& word, bool isLong, std::string& name, std::string& attached,
               bool& hasAttached) {
    std::string body = word.substr(isLong ? 2 : 1);
    hasAttached = false;
    if (isLong) {
        size_t eq = body.find('=');
        name = body.substr(0, eq);
        if (eq != std::string::npos) {
            attached = body.substr(eq + 1);
            hasAttached = true;
        }
        return;
    }
    name = body.substr(0, 1);
    if (body.size() > 1) {
        attached = body.substr(1);
        hasAttached = true;
    }
}

} // namespace

bool scanArgs(const std::vector<std::string>& args, const std::vector<OptionSpec>& specs,
              ScannedArgs& scanned, std::string& error) {
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& word = args[i];
        if (optionsEnded || word.size() < 2 || word[0] != '-') {
            scanned.positionals.push_back(word);
            continue;
        }
        if (word == "--") {
            optionsEnded = true;
            continue;
        }
        bool isLong = word[1] == '-';
        std::string name, value;
        bool hasAttached = false;
        splitWord(word, isLong, name, value, hasAttached);
        const OptionSpec* entry = findSpec(specs, name, isLong);
        if (entry == nullptr) {
            error = "unknown option " + word;
            return false;
        }
        if (entry->takesValue && !hasAttached) {
            if (i + 1 >= args.size()) {
                error = "option " + word + " needs a value";
                return false;
            }
            value = args[++i];
        } else if (!entry->takesValue && hasAttached) {
            error = "option " + word + " takes no value";
            return false;
        }
        if (!scanned.options.emplace(keyOf(*entry), value).second) {
            error = "option " + word + " given twice";
            return false;
        }
    }
    return true;
}

std::vector<std::string> argList(int argc, char** argv) {
    std::vector<std::string> words;
    for (int i = 1; i < argc; ++i)
        words.emplace_back(argv[i]);
    return words;
}

} // namespace tools
