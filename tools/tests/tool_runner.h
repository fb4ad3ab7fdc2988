// Runs one of the built tools as a child and collects what it did, with a fail-safe bound so
// that a hanging tool fails its test instead of stalling the suite.
#pragma once

#include <string>
#include <vector>

namespace toolstest {

struct RunResult {
    int exitCode = -1;   // -1 when the child ended by a signal or was killed
    int signal = 0;      // the ending signal, if any
    bool killed = false; // it outlived boundMs and was killed
    std::string out;     // its stdout
    std::string err;     // its stderr
};

// Starts TOOLS_BIN_DIR/tool with args and waits for it at most boundMs.
RunResult runTool(const std::string& tool, const std::vector<std::string>& args,
                  int boundMs = 10000);

// Lines of text, without their newlines.
std::vector<std::string> lines(const std::string& text);

} // namespace toolstest
