#include "support/shell.h"

#include <algorithm>
#include <cstdint>
#include <spawn.h>
#include <unistd.h>

#include "support/child_process.h"
#include "support/clock.h"
#include "support/log.h"
#include "support/stop_grace.h"

namespace {

const char* const SHELL_PATH = "/bin/sh";

enum class Outcome { Exited, TimedOut, Stopped };

// A stop request seen while the command runs leaves it what is left of the stop's grace
// period, or of its own bound if that ends first; a command the grace period is waived for has
// its own bound alone.
Outcome waitForCommand(pid_t pid, int64_t deadline, StopGrace grace, int& status) {
    const bool stoppable = grace == StopGrace::Applies;
    if (VRX::ChildProcess::waitInSlices(pid, status, [deadline, stoppable] {
            return stoppable ? std::min(deadline, stopDeadline()) : deadline;
        }))
        return Outcome::Exited;
    return stoppable && stopDeadline() < deadline ? Outcome::Stopped : Outcome::TimedOut;
}

} // namespace

int runShell(const std::string& command, unsigned int timeoutSeconds, StopGrace grace) {
    if (grace == StopGrace::Applies && stopGraceOver()) {
        // It would be killed at once: better not run at all than stop half-way.
        LOG_DEBUG("command not run, the stop request's grace period is over: %s", command.c_str());
        return -1;
    }
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
    Outcome outcome = waitForCommand(pid, deadline, grace, status);
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
