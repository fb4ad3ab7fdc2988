#include "app/state_file.h"

#include <cerrno>
#include <fcntl.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

#include "support/log.h"
#include "support/shell.h"
#include "support/unique_fd.h"
#include "support/write_all.h"

namespace {

constexpr mode_t STATE_FILE_MODE = 0644;
constexpr uid_t ROOT_UID = 0;

// The paths whose blocking has been logged; only the main thread writes state files.
std::set<std::string>& blockedPaths() {
    static std::set<std::string> paths;
    return paths;
}

// O_NOFOLLOW: the directory may have been writable by others on an older run, and a link
// planted there must not make the root daemon truncate whatever file it points at. O_NONBLOCK
// so that a planted FIFO cannot block the open.
constexpr int OPEN_FLAGS = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

// No O_TRUNC before the file is known to be ours.
int openInPlace(const std::string& path) {
    return open(path.c_str(), OPEN_FLAGS, STATE_FILE_MODE);
}

// Ours: a regular file of root's with no other name. A hard link planted in the directory would
// otherwise let the daemon overwrite the file it shares its contents with.
bool isOwnFile(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
           status.st_uid == ROOT_UID;
}

bool isPresent(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

// Whatever else is in the file's place goes, so that readers never see a stale state; removing a
// name leaves the file another link names untouched. O_EXCL: should something be planted again
// in between, nothing is written.
int makeAnew(const std::string& path) {
    if (!removeEmptyDirectory(path))
        (void)unlink(path.c_str());
    int fd = open(path.c_str(), OPEN_FLAGS | O_EXCL, STATE_FILE_MODE);
    if (fd >= 0 || firstTimeBlocked(path))
        LOG_WARNING("%s was not a regular file of root's with one link; %s", path.c_str(),
                    fd >= 0 ? "made anew" : "it could not be made anew");
    return fd;
}

} // namespace

bool removeEmptyDirectory(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && rmdir(path.c_str()) == 0;
}

bool firstTimeBlocked(const std::string& path) {
    return blockedPaths().insert(path).second;
}

void noLongerBlocked(const std::string& path) {
    if (!blockedPaths().empty())
        blockedPaths().erase(path);
}

void writeStateFile(const std::string& path, const std::string& directory,
                    const std::string& line) {
    UniqueFd fd(openInPlace(path));
    // A directory in the file's place is no missing directory above it.
    if (!fd.valid() && errno != EISDIR) {
        // /var/run is a tmpfs: the directory is gone after every boot, so it is created lazily.
        runShell("mkdir -p " + directory, COMMAND_TIMEOUT_S);
        fd.reset(openInPlace(path));
    }
    if (fd.valid() ? !isOwnFile(fd.get()) : isPresent(path))
        fd.reset(makeAnew(path));
    if (!fd.valid())
        return;
    noLongerBlocked(path);
    // Written in place, it keeps its inode for the programs that watch it. A file left by an
    // older version may be writable by others.
    (void)fchmod(fd.get(), STATE_FILE_MODE);
    (void)ftruncate(fd.get(), 0);
    const std::string text = line + "\n";
    (void)writeAll(fd.get(), text.data(), text.size());
}
