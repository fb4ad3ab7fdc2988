#include "app/state_file.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include "support/shell.h"

namespace {

// O_NOFOLLOW: the directory may have been writable by others on an older run, and a link
// planted there must not make the root daemon truncate whatever file it points at.
int openForRewrite(const std::string& path) {
    return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644);
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
    writeAll(fd, line + "\n");
    close(fd);
}
