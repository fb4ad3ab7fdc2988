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

namespace VRX {
namespace ChildProcess {

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
int openPidFd(pid_t pid) {
#ifdef SYS_pidfd_open
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
#else
    (void)pid;
    return -1;
#endif
}

void pauseForExit(int pidFd, int64_t leftMs) {
    if (pidFd >= 0) {
        pollfd exited{pidFd, POLLIN, 0};
        poll(&exited, 1, static_cast<int>(std::min<int64_t>(leftMs, 1000)));
        return;
    }
    const timespec pause{0, static_cast<long>(std::min<int64_t>(leftMs, 10)) * 1000 * 1000};
    nanosleep(&pause, nullptr);
}

} // namespace

bool waitUntil(pid_t pid, int64_t deadlineMs, int& status) {
    int pidFd = openPidFd(pid);
    bool exited = false;
    for (;;) {
        pid_t reaped = waitChild(pid, &status, WNOHANG);
        if (reaped == pid || reaped < 0) {
            // Reaped elsewhere (SIGCHLD ignored): the status is lost, so it counts as failed.
            if (reaped < 0)
                status = 127 << 8;
            exited = true;
            break;
        }
        int64_t left = deadlineMs - monotonicMs();
        if (left <= 0)
            break;
        pauseForExit(pidFd, left);
    }
    if (pidFd >= 0)
        close(pidFd);
    return exited;
}

void killGroupAndReap(pid_t pid) {
    // The child is not reaped yet, so its pid still names its process group.
    kill(-pid, SIGKILL);
    int status = 0;
    waitChild(pid, &status, 0);
}

} // namespace ChildProcess
} // namespace VRX
