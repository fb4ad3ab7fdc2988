#include "app/switch_reason.h"

namespace {

// A threshold's cause carries its measurement after the word, which no fixed set can hold.
bool startsWithWord(const std::string& what, const std::string& word) {
    return what.compare(0, word.size() + 1, word + " ") == 0;
}

} // namespace

const char* switchReason(const std::string& what) {
    for (const char* reason : SWITCH_REASONS) {
        if (what == reason)
            return reason;
    }
    if (startsWithWord(what, "loss"))
        return "loss";
    if (startsWithWord(what, "latency"))
        return "latency";
    return "other";
}
