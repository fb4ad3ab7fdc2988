// Line-by-line scanning of resolver files and lookup-tool output.
#pragma once

#include <string>
#include <vector>

namespace wanscan {

// The text split at '\n' as std::getline does: a final newline starts no empty line.
std::vector<std::string> lines(const std::string& text);
// When line contains key, the trimmed rest after its first occurrence goes to value.
bool valueAfter(const std::string& line, const std::string& key, std::string& value);

} // namespace wanscan
