#include "conf/route_tables.h"

#include <cstdio>
#include <fstream>

namespace {

// One line of the table file: number, then a name of at most 15 characters. Anything after the
// name (a comment, a second word) is ignored, as iproute2's own reader does.
bool parseLine(const std::string& line, int& number, std::string& name) {
    char word[16] = {};
    // This conversion is the file format we accept (sign, blanks, the 15-character cut), so it
    // stays sscanf rather than strtol.
    if (sscanf(line.c_str(), "%d %15s", &number, word) != 2) // NOLINT(cert-err34-c)
        return false;
    name = word;
    return true;
}

} // namespace

std::map<std::string, int> loadRouteTables(const std::string& path) {
    std::map<std::string, int> tables;
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return tables;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#')
            continue;
        int number = 0;
        std::string name;
        // emplace keeps an existing entry: the first line naming a table wins.
        if (parseLine(line, number, name))
            tables.emplace(name, number);
    }
    return tables;
}
