#include "app/state_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/log.h"
#include "support/shell.h"

namespace {

constexpr mode_t STATE_FILE_MODE = 0644;
constexpr uid_t ROOT_UID = 0;

// O_NOFOLLOW: the directory may have been writable by others on an older run, and a link
// planted there must not make the root daemon truncate whatever file it points at. No O_TRUNC
// before the file is known to be ours; O_NONBLOCK so that a planted FIFO cannot block the open.
int openForRewrite(const std::string& path) {
    return open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC,
                STATE_FILE_MODE);
}

// Ours: a regular file of root's with no other name. A hard link planted in the directory would
// otherwise let the daemon overwrite the file it shares its contents with.
bool isOwnFile(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
           status.st_uid == ROOT_UID;
}

void writeAll(int fd, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        ssize_t written = write(fd, text.data() + done, text.size() - done);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        done += static_cast<size_t>(written);
    }
}

} // namespace

void writeStateFile(const std::string& path, const std::string& directory,
                    const std::string& line) {
    int fd = openForRewrite(path);
    if (fd < 0) {
        // /var/run is a tmpfs: the directory is gone after every boot, so it is created lazily.
        runShell("mkdir -p " + directory, COMMAND_TIMEOUT_S);
        fd = openForRewrite(path);
    }
    if (fd < 0)
        return;
    if (isOwnFile(fd)) {
        // A file left by an older version may be writable by others.
        (void)fchmod(fd, STATE_FILE_MODE);
        (void)ftruncate(fd, 0);
        writeAll(fd, line + "\n");
    } else {
        LOG_DEBUG("%s is not a regular file of root's with one link; left alone", path.c_str());
    }
    close(fd);
}
