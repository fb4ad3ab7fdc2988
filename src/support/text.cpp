#include "support/text.h"

namespace VRX {

namespace {

const char* const WHITE_SPACE = " \t\r\n\v\f";

} // namespace

std::string Text::join(std::vector<std::string> parts, char separator) {
    std::string joined;
    for (size_t i = 0; i < parts.size(); ++i) {
        if (i > 0)
            joined += separator;
        joined += parts[i];
    }
    return joined;
}

std::string Text::trim(const std::string& text) {
    size_t first = text.find_first_not_of(WHITE_SPACE);
    if (first == std::string::npos)
        return std::string();
    size_t last = text.find_last_not_of(WHITE_SPACE);
    return text.substr(first, last - first + 1);
}

} // namespace VRX
