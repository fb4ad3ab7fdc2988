#include "support/child_process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <poll.h>
#ifndef UPLINKER_HAVE_SPAWN_CLOSEFROM
#include <cstdlib>
#include <dirent.h>
#include <sys/resource.h>
#endif
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/clock.h"
#include "support/unique_fd.h"

namespace VRX {
namespace ChildProcess {

namespace {

// How long a sliced wait goes without looking at its deadline again.
constexpr int64_t WAIT_SLICE_MS = 100;
// The longest single pause on a pid descriptor, and the polling step without one.
constexpr int64_t PIDFD_PAUSE_MS = 1000;
constexpr int64_t POLL_PAUSE_MS = 10;
constexpr long NS_PER_MS = 1000000L;
// The wait status of a child that exited with 127, what a shell reports for a program it could
// not run.
constexpr int LOST_STATUS = 127 << 8;

} // namespace

SpawnAttributes::SpawnAttributes() {
    posix_spawnattr_init(&attr_);
    // The calling thread may block the daemon's signals; a child must not inherit that, nor
    // an ignored SIGPIPE or SIGCHLD.
    sigset_t empty;
    sigemptyset(&empty);
    posix_spawnattr_setsigmask(&attr_, &empty);
    sigset_t defaults;
    sigemptyset(&defaults);
    for (int signal : {SIGHUP, SIGTERM, SIGINT, SIGPIPE, SIGCHLD})
        sigaddset(&defaults, signal);
    posix_spawnattr_setsigdefault(&attr_, &defaults);
    // Its own process group, so that a kill on overrun also reaches the grandchildren.
    posix_spawnattr_setpgroup(&attr_, 0);
    posix_spawnattr_setflags(&attr_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                         POSIX_SPAWN_SETPGROUP);
}

SpawnAttributes::~SpawnAttributes() {
    posix_spawnattr_destroy(&attr_);
}

#ifndef UPLINKER_HAVE_SPAWN_CLOSEFROM
namespace {

// Descriptors other threads may open between the count below and the spawn.
constexpr int OPENED_MEANWHILE = 64;
// Where /proc is missing: the close actions stop here even under a huge descriptor limit, or
// when the limit cannot be read.
constexpr rlim_t MAX_CLOSE_ACTIONS = 65536;

// One past the highest descriptor number that can be open when the child starts. A new
// descriptor takes the lowest free number, so the highest open one now plus a margin covers
// those opened meanwhile.
int descriptorBound() {
    DIR* dir = opendir("/proc/self/fd");
    if (dir == nullptr) {
        rlimit limit{};
        if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
            return static_cast<int>(MAX_CLOSE_ACTIONS);
        return static_cast<int>(std::min(limit.rlim_cur, MAX_CLOSE_ACTIONS));
    }
    int highest = STDERR_FILENO;
    while (const dirent* entry = readdir(dir))
        highest = std::max(highest, static_cast<int>(std::strtol(entry->d_name, nullptr, 10)));
    closedir(dir);
    return highest + 1 + OPENED_MEANWHILE;
}

} // namespace
#endif

void SpawnFileActions::closeInherited() {
    // Descriptors opened without O_CLOEXEC (by us or a library) must not reach probes or hook
    // scripts: a long-lived grandchild holding one would keep, for example, a socket of the
    // daemon alive after the daemon has gone.
#ifdef UPLINKER_HAVE_SPAWN_CLOSEFROM
    posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
#else
    // C libraries before glibc 2.34, and musl, have no closefrom action: one close action per
    // number instead. Closing a number that is not open is no error for a spawn action.
    const int bound = descriptorBound();
    for (int fd = STDERR_FILENO + 1; fd < bound; ++fd)
        posix_spawn_file_actions_addclose(&actions_, fd);
#endif
}

pid_t waitChild(pid_t pid, int* status, int options) {
    for (;;) {
        pid_t result = waitpid(pid, status, options);
        if (result >= 0 || errno != EINTR)
            return result;
    }
}

namespace {

// A descriptor that becomes readable when the child exits, or -1 on kernels without pidfd,
// where the wait falls back to polling.
UniqueFd openPidFd(pid_t pid) {
#ifdef SYS_pidfd_open
    return UniqueFd(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
#else
    (void)pid;
    return UniqueFd();
#endif
}

void pauseForExit(const UniqueFd& pidFd, int64_t leftMs) {
    if (pidFd.valid()) {
        pollfd exited{pidFd.get(), POLLIN, 0};
        poll(&exited, 1, static_cast<int>(std::min(leftMs, PIDFD_PAUSE_MS)));
        return;
    }
    const timespec pause{0, static_cast<long>(std::min(leftMs, POLL_PAUSE_MS)) * NS_PER_MS};
    nanosleep(&pause, nullptr);
}

} // namespace

bool waitUntil(pid_t pid, int64_t deadlineMs, int& status) {
    const UniqueFd pidFd = openPidFd(pid);
    bool exited = false;
    for (;;) {
        pid_t reaped = waitChild(pid, &status, WNOHANG);
        if (reaped == pid || reaped < 0) {
            // Reaped elsewhere (SIGCHLD ignored): the status is lost, so it counts as failed.
            if (reaped < 0)
                status = LOST_STATUS;
            exited = true;
            break;
        }
        int64_t left = deadlineMs - monotonicMs();
        if (left <= 0)
            break;
        pauseForExit(pidFd, left);
    }
    return exited;
}

bool waitInSlices(pid_t pid, int& status, const std::function<int64_t()>& deadlineMs) {
    for (;;) {
        const int64_t deadline = deadlineMs();
        if (waitUntil(pid, std::min(deadline, monotonicMs() + WAIT_SLICE_MS), status))
            return true;
        if (monotonicMs() >= deadlineMs())
            return false;
    }
}

void killGroupAndReap(pid_t pid) {
    // The child is not reaped yet, so its pid still names its process group.
    kill(-pid, SIGKILL);
    int status = 0;
    waitChild(pid, &status, 0);
}

} // namespace ChildProcess
} // namespace VRX
