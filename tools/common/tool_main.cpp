#include "common/tool_main.h"

#include <cstdio>

namespace tools {

int finishParse(ParseStatus status, const char* program, const char* usage,
                const std::string& error) {
    if (status == ParseStatus::Help) {
        (void)std::fputs(usage, stdout);
        return ExitOk;
    }
    if (status == ParseStatus::Error) {
        complain(program, error);
        (void)std::fputs(usage, stderr);
        return ExitUsage;
    }
    return -1;
}

void complain(const char* program, const std::string& message) {
    // Nothing is left to tell if standard error itself fails.
    (void)std::fprintf(stderr, "%s: %s\n", program, message.c_str());
}

} // namespace tools
