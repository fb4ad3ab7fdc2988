#include "app/status_report.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "app/state_file.h"
#include "app/switch_reason.h"
#include "support/clock.h"
#include "support/log.h"
#include "support/paths.h"
#include "support/process_stat.h"
#include "support/unique_fd.h"
#include "support/write_all.h"
#include "wan/wan.h"

namespace {

constexpr mode_t STATUS_FILE_MODE = 0644;
constexpr mode_t STATUS_DIR_MODE = 0755;

// O_EXCL: a fresh inode that nothing else names, never a link planted under the temporary
// name; the rename then replaces whatever sits at the final name, a link included, and a
// reader sees the old file or the new one, never half of one.
int openTemporary(const std::string& path) {
    if (!removeEmptyDirectory(path))
        (void)unlink(path.c_str());
    return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                STATUS_FILE_MODE);
}

bool replaceFile(const std::string& text) {
    const std::string temporary = std::string(STATUS_FILE) + ".tmp";
    UniqueFd fd(openTemporary(temporary));
    // /var/run is emptied at every boot; the directory may not be there yet.
    if (!fd.valid() && errno == ENOENT && mkdir(CURRENT_WAN_DIR, STATUS_DIR_MODE) == 0)
        fd.reset(openTemporary(temporary));
    if (!fd.valid())
        return false;
    // The mask of a daemon started in the foreground is whatever its shell had.
    const bool written =
        fchmod(fd.get(), STATUS_FILE_MODE) == 0 && writeAll(fd.get(), text.data(), text.size());
    fd.reset();
    // rename replaces anything at the final name but a directory.
    if (written &&
        (rename(temporary.c_str(), STATUS_FILE) == 0 ||
         (removeEmptyDirectory(STATUS_FILE) && rename(temporary.c_str(), STATUS_FILE) == 0)))
        return true;
    const int error = errno;
    (void)unlink(temporary.c_str());
    errno = error;
    return false;
}

// The count a verdict adds to: collecting one gives "up", "down" or "failed".
uint64_t& countOf(StatusReport::VerdictCounts& tally, const char* result) {
    if (strcmp(result, "up") == 0)
        return tally.up;
    if (strcmp(result, "down") == 0)
        return tally.down;
    return tally.failed;
}

// A failed write is logged at DEBUG, as a full /var/run would fail every one; what stands in
// the file's place and cannot be removed is worth one WARNING.
void logNotWritten() {
    const int error = errno;
    LOG_DEBUG("%s not written: %s", STATUS_FILE, strerror(error)); // NOLINT(concurrency-mt-unsafe)
    if ((error == EISDIR || error == ENOTEMPTY || error == EEXIST) && firstTimeBlocked(STATUS_FILE))
        LOG_WARNING("%s not written: something that cannot be removed is in its place: %s",
                    STATUS_FILE, strerror(error)); // NOLINT(concurrency-mt-unsafe)
}

} // namespace

StatusReport::StatusReport() : pid(getpid()) {
    (void)processStartTime(pid, startTime);
}

bool StatusReport::due(std::vector<int64_t>& shown) {
    const bool changed = dirty || shown != lastShown;
    lastShown.swap(shown);
    return changed;
}

void StatusReport::requestedBy(const std::string& name, const char* what) {
    cause = name + ": " + what;
    reason = switchReason(what);
}

void StatusReport::noteSwitch(const Wan* from, const Wan* to) {
    last = Switch{from != nullptr ? from->ifname : "", to != nullptr ? to->ifname : "", cause,
                  realtimeMs() / 1000, true};
    ++switches[reason];
    dirty = true;
}

void StatusReport::noteVerdict(size_t index, const char* result, const Wan& wan) {
    if (verdicts.size() <= index) {
        verdicts.resize(index + 1);
        tallies.resize(index + 1);
    }
    ++countOf(tallies[index], result);
    Verdict& verdict = verdicts[index];
    verdict = Verdict{result, realtimeMs() / 1000};
    verdict.counted = !wan.config.moreHosts.empty();
    if (verdict.counted)
        wan.readTargetCounts(verdict.answered, verdict.probed);
    dirty = true;
}

StatusReport::Verdict StatusReport::verdict(size_t index) const {
    return index < verdicts.size() ? verdicts[index] : Verdict{};
}

StatusReport::VerdictCounts StatusReport::verdictCounts(size_t index) const {
    return index < tallies.size() ? tallies[index] : VerdictCounts{};
}

void StatusReport::publish(const std::string& text) {
    dirty = false;
    if (text == written)
        return;
    if (!replaceFile(text)) {
        logNotWritten();
        return;
    }
    noLongerBlocked(STATUS_FILE);
    written = text;
}

void StatusReport::remove() {
    (void)unlink(STATUS_FILE);
}

int64_t StatusReport::wallSeconds(int32_t monotonic) {
    return (realtimeMs() - monotonicMs() + int64_t{monotonic} * 1000) / 1000;
}
