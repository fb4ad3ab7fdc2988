// The lock is a name in the abstract socket namespace rather than a file, so that it vanishes
// with its holder even after a crash and needs no writable directory.
#include "main/instance_lock.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

// Sleeps the whole pause even when signals arrive meanwhile.
static void pauseBeforeRetry() {
    timespec request{0, INSTANCE_LOCK_RETRY_NS};
    timespec remaining{0, 0};
    while (nanosleep(&request, &remaining) == -1 && errno == EINTR)
        request = remaining;
}

// The whole 108-byte path is part of the name: a zero byte, the name, then zero padding.
static sockaddr_un instanceAddress() {
    sockaddr_un address;
    memset(&address, 0, sizeof(address));
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, INSTANCE_LOCK_NAME, strlen(INSTANCE_LOCK_NAME));
    return address;
}

bool acquireInstanceLock() {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd == -1)
        return false;
    const sockaddr_un address = instanceAddress();
    for (int attempt = 0; attempt < INSTANCE_LOCK_ATTEMPTS; ++attempt) {
        if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0)
            return true;
        pauseBeforeRetry();
    }
    close(fd);
    return false;
}
