#include "support/process_stat.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>

#include "support/unique_fd.h"

namespace {

// Far more than a stat line takes: the name in it is at most 16 bytes, every other field a
// number.
constexpr size_t STAT_LINE_BYTES = 1024;
constexpr int START_TIME_FIELD = 22;
// The first field after the name, which may itself hold blanks and parentheses.
constexpr int FIELD_AFTER_NAME = 3;

} // namespace

bool processStartTime(pid_t pid, uint64_t& ticks) {
    // The main thread's own entry tells the same start time. An emulator such as qemu-user
    // answers a process's reads of /proc/<its pid>/stat itself, with a start time of its own
    // making, but leaves the task entries to the kernel, so the daemon and the tool read alike.
    char path[64];
    (void)snprintf(path, sizeof path, "/proc/%ld/task/%ld/stat", static_cast<long>(pid),
                   static_cast<long>(pid));
    UniqueFd fd(open(path, O_RDONLY | O_CLOEXEC));
    char text[STAT_LINE_BYTES];
    const ssize_t length = fd.valid() ? read(fd.get(), text, sizeof text - 1) : -1;
    if (length <= 0)
        return false;
    text[length] = '\0';
    const char* field = strrchr(text, ')');
    for (int n = FIELD_AFTER_NAME; field != nullptr && n <= START_TIME_FIELD; ++n) {
        field = strchr(field, ' ');
        field = field != nullptr ? field + 1 : nullptr;
    }
    if (field == nullptr || *field < '0' || *field > '9')
        return false;
    char* end = nullptr;
    errno = 0;
    const unsigned long long value = strtoull(field, &end, 10);
    if (errno != 0 || (*end != ' ' && *end != '\n' && *end != '\0'))
        return false;
    ticks = value;
    return true;
}
