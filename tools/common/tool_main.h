// The shared start of every tool's main: parse, answer --help, report usage errors.
#pragma once

#include "common/arg_scan.h"

#include <string>

namespace tools {

enum ExitStatus { ExitOk = 0, ExitFailed = 1, ExitUsage = 2 };

// Help goes to stdout (exit 0), a usage error to stderr (exit 2). Returns -1 when the tool
// should go on with its work, otherwise the status to exit with.
int finishParse(ParseStatus status, const char* program, const char* usage,
                const std::string& error);

// One line "program: message" on stderr.
void complain(const char* program, const std::string& message);

} // namespace tools
