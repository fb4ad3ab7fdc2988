// Reading a whole file, bounded in size.
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include "support/system.h"
#include "support/unique_fd.h"

namespace VRX {

namespace {

constexpr size_t READ_CHUNK = 16384;

} // namespace

int System::readFile(const std::string& path, std::string& content) {
    content.clear();
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd.valid())
        return -1;
    char buffer[READ_CHUNK];
    int result = 0;
    for (;;) {
        ssize_t got = read(fd.get(), buffer, sizeof(buffer));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0) {
            result = got < 0 ? -1 : 0;
            break;
        }
        if (content.size() + static_cast<size_t>(got) > MAX_FILE) {
            result = -1;
            break;
        }
        content.append(buffer, static_cast<size_t>(got));
    }
    if (result != 0)
        content.clear();
    return result;
}

} // namespace VRX
