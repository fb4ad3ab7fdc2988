#include "app/state_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/log.h"
#include "support/shell.h"
#include "support/unique_fd.h"
#include "support/write_all.h"

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

} // namespace

void writeStateFile(const std::string& path, const std::string& directory,
                    const std::string& line) {
    UniqueFd fd(openForRewrite(path));
    if (!fd.valid()) {
        // /var/run is a tmpfs: the directory is gone after every boot, so it is created lazily.
        runShell("mkdir -p " + directory, COMMAND_TIMEOUT_S);
        fd.reset(openForRewrite(path));
    }
    if (!fd.valid())
        return;
    if (!isOwnFile(fd.get())) {
        LOG_DEBUG("%s is not a regular file of root's with one link; left alone", path.c_str());
        return;
    }
    // A file left by an older version may be writable by others.
    (void)fchmod(fd.get(), STATE_FILE_MODE);
    (void)ftruncate(fd.get(), 0);
    const std::string text = line + "\n";
    (void)writeAll(fd.get(), text.data(), text.size());
}
