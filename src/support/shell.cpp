#include "support/shell.h"

#include <algorithm>
#include <cstdint>
#include <spawn.h>
#include <unistd.h>

#include "support/child_process.h"
#include "support/clock.h"
#include "support/log.h"

namespace {

const char* const SHELL_PATH = "/bin/sh";
// How often a running command's wait looks at the stop request.
constexpr int64_t STOP_POLL_MS = 100;

// Set once at start-up, before any thread runs; the flag itself is written by a signal handler.
const volatile sig_atomic_t* gShellRunning = nullptr;

bool stopRequested() {
    return gShellRunning != nullptr && *gShellRunning == 0;
}

enum class Outcome { Exited, TimedOut, Stopped };

// Waits in short slices, so that a stop request ends the wait without waiting out the bound.
Outcome waitForCommand(pid_t pid, int64_t deadline, int& status) {
    for (;;) {
        int64_t slice = std::min(deadline, monotonicMs() + STOP_POLL_MS);
        if (VRX::ChildProcess::waitUntil(pid, slice, status))
            return Outcome::Exited;
        if (monotonicMs() >= deadline)
            return Outcome::TimedOut;
        if (stopRequested())
            return Outcome::Stopped;
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
    Outcome outcome = waitForCommand(pid, deadline, status);
    if (outcome == Outcome::Exited)
        return status;
    // A hung hook or ip command must not stall the daemon; the group kill also ends whatever
    // the shell started.
    killGroupAndReap(pid);
    if (outcome == Outcome::Stopped)
        LOG_DEBUG("command ended by the stop request: %s", command.c_str());
    else
        LOG_WARNING("command timed out after %u seconds and was killed: %s", timeoutSeconds,
                    command.c_str());
    return -1;
}

void stopShellCommandsWith(const volatile sig_atomic_t* running) {
    gShellRunning = running;
}
