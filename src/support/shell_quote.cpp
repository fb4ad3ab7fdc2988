// Quoting of untrusted words for the shell commands the daemon runs.
#include "support/shell.h"

namespace {

bool isSafeCharacter(char c) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
        return true;
    switch (c) {
    case '.':
    case '_':
    case '-':
    case '@':
    case '+':
    case ':':
        return true;
    default:
        return false;
    }
}

} // namespace

bool isShellSafe(const std::string& word) {
    if (word.empty())
        return false;
    for (char c : word) {
        if (!isSafeCharacter(c))
            return false;
    }
    return true;
}

std::string shellQuote(const std::string& word) {
    std::string quoted = "'";
    for (char c : word) {
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    }
    return quoted + "'";
}

std::string shellWord(const std::string& word) {
    return isShellSafe(word) ? word : shellQuote(word);
}
