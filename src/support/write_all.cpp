#include "support/write_all.h"

#include <cerrno>
#include <unistd.h>

bool writeAll(int fd, const char* data, size_t length) {
    while (length > 0) {
        const ssize_t written = write(fd, data, length);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        data += written;
        length -= static_cast<size_t>(written);
    }
    return true;
}
