#include "support/logger.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <mutex>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>
#include <vector>

#include "support/write_all.h"

namespace VRX {

namespace {

using Level = Logger::PrintLevel;

// All logger state; the mutex guards everything but the level, which every guarded log call
// reads without taking the lock.
struct LoggerState {
    std::mutex mutex;
    Logger::PrintMode mode = Logger::STDOUT_MODE;
    int fileFd = -1;
    // openlog keeps the pointer, not a copy, so the identity must outlive the syslog target.
    std::string syslogIdent;
    std::atomic<int> level{Level::INFO_LEVEL};
};

// Never destroyed: threads and static destructors may still log while the process exits.
LoggerState& state() {
    static LoggerState* instance = new LoggerState;
    return *instance;
}

// Drops the current target; called with the mutex held.
void releaseTarget(LoggerState& s) {
    if (s.fileFd >= 0)
        close(s.fileFd);
    s.fileFd = -1;
    if (s.mode == Logger::SYSLOG_MODE)
        closelog();
    s.mode = Logger::STDOUT_MODE;
}

// Where the C library's syslog sends its messages.
const char* const SYSLOG_SOCKET = "/dev/log";

// The system log is usable when its socket takes a connection now; the C library reconnects on
// its own when the system log restarts later. A system log that listens on a stream socket
// refuses the datagram connect with EPROTOTYPE, as the C library expects too.
bool syslogReachable() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, SYSLOG_SOCKET, sizeof(address.sun_path) - 1);
    for (int type : {SOCK_DGRAM, SOCK_STREAM}) {
        int fd = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
        if (fd < 0)
            return false;
        bool connected = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
        int error = errno;
        close(fd);
        if (connected)
            return true;
        if (error != EPROTOTYPE)
            return false;
    }
    return false;
}

int syslogPriority(int level) {
    if (level < Level::INFO_LEVEL)
        return LOG_DEBUG;
    if (level < Level::WARNING_LEVEL)
        return LOG_INFO;
    if (level < Level::ERROR_LEVEL)
        return LOG_WARNING;
    if (level < Level::FATAL_LEVEL)
        return LOG_ERR;
    return LOG_CRIT;
}

__attribute__((format(printf, 1, 0))) std::string formatMessage(const char* format, va_list args) {
    char small[512];
    va_list copy;
    va_copy(copy, args);
    int needed = vsnprintf(small, sizeof(small), format, copy);
    va_end(copy);
    if (needed < 0)
        return std::string();
    std::string message;
    if (static_cast<size_t>(needed) < sizeof(small)) {
        message.assign(small, static_cast<size_t>(needed));
    } else {
        std::vector<char> large(static_cast<size_t>(needed) + 1);
        // The first pass measured the same arguments, so the buffer fits exactly.
        (void)vsnprintf(large.data(), large.size(), format, args);
        message.assign(large.data(), static_cast<size_t>(needed));
    }
    if (!message.empty() && message.back() == '\n')
        message.pop_back();
    return message;
}

// "YYYY-MM-DD HH:MM:SS.mmm" in local time.
std::string timeStamp() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char text[40];
    size_t length = strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &local);
    (void)snprintf(text + length, sizeof(text) - length, ".%03ld", now.tv_nsec / 1000000L);
    return text;
}

} // namespace

void Logger::setPrintLevel(int level, bool /*flag*/) {
    state().level.store(level);
}

bool Logger::setup(const PrintMode& mode) {
    LoggerState& s = state();
    std::lock_guard<std::mutex> guard(s.mutex);
    releaseTarget(s);
    // A file or the system log cannot be selected without its name or identity.
    return mode == STDOUT_MODE;
}

bool Logger::setup(const PrintMode& mode, const std::string& fileName) {
    if (mode != FILE_MODE)
        return setup(mode);
    int fd = open(fileName.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    LoggerState& s = state();
    std::lock_guard<std::mutex> guard(s.mutex);
    releaseTarget(s);
    s.fileFd = fd;
    s.mode = FILE_MODE;
    return true;
}

bool Logger::setup(const PrintMode& mode, const std::string& ident, const int& option,
                   const int& facility) {
    if (mode != SYSLOG_MODE)
        return setup(mode);
    if (!syslogReachable())
        return false;
    LoggerState& s = state();
    std::lock_guard<std::mutex> guard(s.mutex);
    releaseTarget(s);
    s.syslogIdent = ident;
    openlog(s.syslogIdent.c_str(), option | LOG_PID | LOG_NDELAY,
            facility != 0 ? facility : LOG_DAEMON);
    s.mode = SYSLOG_MODE;
    return true;
}

bool Logger::isPrintable(int level) {
    return level >= state().level.load();
}

// A printf-style interface on purpose: every caller's format is checked by the compiler.
// NOLINTNEXTLINE(cert-dcl50-cpp)
void Logger::printfGeneric(int level, const char* label, const char* format, ...) {
    if (!isPrintable(level) || format == nullptr)
        return;
    va_list args;
    va_start(args, format);
    std::string message = formatMessage(format, args);
    va_end(args);

    LoggerState& s = state();
    std::lock_guard<std::mutex> guard(s.mutex);
    const char* text = label ? label : "";
    if (s.mode == SYSLOG_MODE) {
        // The priority alone cannot tell TRACE from DEBUG; the label can.
        syslog(syslogPriority(level), "[%s] %s", text, message.c_str());
        return;
    }
    std::string line = timeStamp() + " [" + text + "] " + message + "\n";
    // A whole line goes out in one write, so lines from several threads and processes never
    // mix; a short write (full disk, signal) is completed rather than dropped.
    (void)writeAll(s.mode == FILE_MODE && s.fileFd >= 0 ? s.fileFd : STDOUT_FILENO, line.data(),
                   line.size());
}

const std::string& Logger::getPrintLevelString() {
    static const std::string names[] = {PrintLevel::TRACE_LABEL, PrintLevel::DEBUG_LABEL,
                                        PrintLevel::INFO_LABEL,  PrintLevel::WARNING_LABEL,
                                        PrintLevel::ERROR_LABEL, PrintLevel::FATAL_LABEL};
    static const int levels[] = {PrintLevel::TRACE_LEVEL, PrintLevel::DEBUG_LEVEL,
                                 PrintLevel::INFO_LEVEL,  PrintLevel::WARNING_LEVEL,
                                 PrintLevel::ERROR_LEVEL, PrintLevel::FATAL_LEVEL};
    // A raw level between two named ones lets through the upper one and everything above.
    int inForce = state().level.load();
    for (size_t i = 0; i < sizeof(levels) / sizeof(levels[0]); ++i) {
        if (levels[i] >= inForce)
            return names[i];
    }
    return names[sizeof(names) / sizeof(names[0]) - 1];
}

} // namespace VRX
