#include "wan/wan.h"

#include "support/shell.h"

namespace {

// A path whose every component needs no quoting is safe inside double quotes as well.
bool isSafePath(const std::string& path) {
    size_t start = 0;
    while (start <= path.size()) {
        size_t slash = path.find('/', start);
        size_t end = slash == std::string::npos ? path.size() : slash;
        if (end > start && !isShellSafe(path.substr(start, end - start)))
            return false;
        if (slash == std::string::npos)
            break;
        start = slash + 1;
    }
    return true;
}

} // namespace

// The interface name comes from the configuration service; a name the shell would interpret
// must not run anything, so the resolver path is then passed as one single-quoted word.
void Wan::linkResolvConf(bool current) {
    if (!current)
        return;
    std::string target;
    if (isShellSafe(config.name) && isSafePath(config.resolvFile))
        target = "\"" + config.resolvFile + "\"";
    else
        target = shellQuote(config.resolvFile);
    std::string command = "ln -sf " + target + " \"" + RESOLV_LINK + "\"";
    runShell(command, COMMAND_TIMEOUT_S);
}
