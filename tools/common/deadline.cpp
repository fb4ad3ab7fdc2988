#include "common/deadline.h"

#include <csignal>
#include <ctime>
#include <unistd.h>

namespace tools {

int64_t monotonicMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

int64_t monotonicUs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

int Deadline::remainingMs() const {
    int64_t left = end_ - monotonicMs();
    if (left <= 0)
        return 0;
    return left > 0x7fffffff ? 0x7fffffff : static_cast<int>(left);
}

void armWatchdog(unsigned seconds) {
    // An ignored or blocked SIGALRM survives exec, so a parent could otherwise disarm us.
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(SIGALRM, &action, nullptr);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGALRM);
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
    alarm(seconds);
}

} // namespace tools
