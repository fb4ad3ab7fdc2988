#include "wan/line_scan.h"

#include <sstream>

#include "support/text.h"

namespace wanscan {

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line))
        result.push_back(line);
    return result;
}

bool valueAfter(const std::string& line, const std::string& key, std::string& value) {
    size_t at = line.find(key);
    if (at == std::string::npos)
        return false;
    value = VRX::Text::trim(line.substr(at + key.size()));
    return true;
}

} // namespace wanscan
