#include "support/shell.h"

#include <spawn.h>

#include "support/child_process.h"
#include "support/log.h"

extern char** environ;

namespace {

const char* const SHELL_PATH = "/bin/sh";

bool isSafeCharacter(char c) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
        return true;
    switch (c) {
    case '.':
    case '_':
    case '-':
    case '@':
    case '+':
    case ':':
        return true;
    default:
        return false;
    }
}

} // namespace

int runShell(const std::string& command, unsigned int timeoutSeconds) {
    std::string shell = SHELL_PATH;
    std::string flag = "-c";
    std::string text = command;
    char* argv[] = {&shell[0], &flag[0], &text[0], nullptr};
    using namespace VRX::ChildProcess;
    SpawnAttributes attributes;
    SpawnFileActions actions;
    actions.closeInherited();
    pid_t pid = 0;
    if (posix_spawn(&pid, SHELL_PATH, actions.get(), attributes.get(), argv, environ) != 0)
        return -1;
    int status = 0;
    int64_t deadline = monotonicMs() + static_cast<int64_t>(timeoutSeconds) * 1000;
    if (waitUntil(pid, deadline, status))
        return status;
    // A hung hook or ip command must not stall the daemon; the group kill also ends whatever
    // the shell started.
    killGroupAndReap(pid);
    LOG_WARNING("command timed out after %u seconds and was killed: %s", timeoutSeconds,
                command.c_str());
    return -1;
}

bool isShellSafe(const std::string& word) {
    if (word.empty())
        return false;
    for (char c : word) {
        if (!isSafeCharacter(c))
            return false;
    }
    return true;
}

std::string shellQuote(const std::string& word) {
    std::string quoted = "'";
    for (char c : word) {
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    }
    return quoted + "'";
}

std::string shellWord(const std::string& word) {
    return isShellSafe(word) ? word : shellQuote(word);
}
