// Small text utilities.
#pragma once

#include <string>
#include <vector>

namespace VRX {

class Text {
public:
    // The parts joined with the separator.
    static std::string join(std::vector<std::string> parts, char separator);
    // The text without leading and trailing white space.
    static std::string trim(const std::string& text);
};

} // namespace VRX
