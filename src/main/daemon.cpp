// Each step logs its own ERROR and stops the start-up at once: a half-detached daemon is worse
// than none, and nothing already done is undone.
#include "main/daemon.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/log.h"

// The standard streams are reopened on the null device so that stray writes from us or from
// the programs we start cannot land on a terminal or a closed descriptor that a later open
// reused.
static bool redirectStandardStreams() {
    close(STDIN_FILENO);
    close(STDOUT_FILENO);
    close(STDERR_FILENO);
    const int modes[] = {O_RDONLY, O_WRONLY, O_RDWR};
    for (int mode : modes) {
        if (open(NULL_DEVICE, mode) == -1) {
            LOG_ERROR("open null device failed!");
            return false;
        }
    }
    return true;
}

void openStandardStreams() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) != -1 || errno != EBADF)
            continue;
        // The lowest free descriptor is this one, as every lower one is open.
        if (open(NULL_DEVICE, O_RDWR) == -1)
            return;
    }
}

static bool lockWholeFile(int fd) {
    struct flock lock;
    memset(&lock, 0, sizeof(lock));
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = 0;
    lock.l_len = 0;
    return fcntl(fd, F_SETLK, &lock) != -1;
}

bool writePidFile(const char* path) {
    const int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd == -1) {
        LOG_ERROR("create pid file failed!");
        return false;
    }
    if (!lockWholeFile(fd)) {
        LOG_ERROR("lock pid file failed!");
        return false;
    }
    if (ftruncate(fd, 0) == -1) {
        LOG_ERROR("truncate pid file failed!");
        return false;
    }
    char text[PID_TEXT_SIZE];
    memset(text, 0, sizeof(text));
    (void)snprintf(text, sizeof(text), "%ld\n", static_cast<long>(getpid()));
    const size_t length = strlen(text);
    if (write(fd, text, length) != static_cast<ssize_t>(length)) {
        LOG_ERROR("write pid to file failed!");
        return false;
    }
    return true;
}

// The child's part: new session, no working directory pinned, no terminal streams.
static bool detachChild() {
    // The inherited mask is dropped, and 022 put in its place: our own files name their modes,
    // but "mkdir -p", the hook and the probes create with the mask, and nothing on the device
    // made by a root daemon may be writable by others.
    umask(0);
    umask(S_IWGRP | S_IWOTH);
    if (setsid() == -1) {
        LOG_ERROR("start new session failed!");
        return false;
    }
    if (chdir("/") == -1) {
        LOG_ERROR("change the current working directory failed!");
        return false;
    }
    return redirectStandardStreams() && writePidFile(PID_FILE);
}

DaemonStart startDaemon() {
    LOG_DEBUG("start demonize");
    // Whatever stdio still buffers would otherwise be written twice, once by each process.
    (void)fflush(nullptr);
    const pid_t pid = fork();
    if (pid == -1) {
        LOG_ERROR("fork failed!");
        return DaemonStart::Failed;
    }
    if (pid > 0) {
        LOG_DEBUG("done parent");
        return DaemonStart::Parent;
    }
    return detachChild() ? DaemonStart::Child : DaemonStart::Failed;
}
