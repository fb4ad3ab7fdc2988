// Splits a tool's command line into options and positional words, the part every tool shares.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace tools {

// Outcome of parsing a tool's command line: run it, print the help, or a usage error.
enum class ParseStatus { Ok, Help, Error };

// One accepted option; either name may be empty.
struct OptionSpec {
    std::string shortName; // without the dash, e.g. "I"
    std::string longName;  // without the dashes, e.g. "bind-address"
    bool takesValue;
};

// Options found on a command line, keyed by the option's long name (or its short one when it
// has none), and the words that were not options.
struct ScannedArgs {
    std::map<std::string, std::string> options;
    std::vector<std::string> positionals;
};

// Accepts "-x VALUE", "-xVALUE", "--long VALUE", "--long=VALUE" and "--" as the end of the
// options. Unknown, repeated or value-less options are errors, reported in error.
bool scanArgs(const std::vector<std::string>& args, const std::vector<OptionSpec>& specs,
              ScannedArgs& scanned, std::string& error);

// Turns main's argument vector into words, without the program name.
std::vector<std::string> argList(int argc, char** argv);

} // namespace tools
