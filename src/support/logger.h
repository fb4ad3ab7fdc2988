// Process-wide logger: one level in force, one target (stdout, a file or syslog), whole lines.
#pragma once

#include <string>

namespace VRX {

class Logger {
public:
    // Levels are integers 0..100; a level in force lets through messages of that level and above.
    struct PrintLevel {
        static constexpr int TRACE_LEVEL = 0;
        static constexpr int DEBUG_LEVEL = 20;
        static constexpr int INFO_LEVEL = 40;
        static constexpr int WARNING_LEVEL = 60;
        static constexpr int ERROR_LEVEL = 80;
        static constexpr int FATAL_LEVEL = 100;
        static constexpr const char* TRACE_LABEL = "TRACE";
        static constexpr const char* DEBUG_LABEL = "DEBUG";
        static constexpr const char* INFO_LABEL = "INFO";
        static constexpr const char* WARNING_LABEL = "WARNING";
        static constexpr const char* ERROR_LABEL = "ERROR";
        static constexpr const char* FATAL_LABEL = "FATAL";
    };

    enum PrintMode { STDOUT_MODE = 1, FILE_MODE = 2, SYSLOG_MODE = 3 };

    // Sets the level in force; the flag is accepted for compatibility and has no effect.
    static void setPrintLevel(int level, bool flag);
    // Selects standard output.
    static bool setup(const PrintMode& mode);
    // Selects a log file (appended to); false when it cannot be opened.
    static bool setup(const PrintMode& mode, const std::string& fileName);
    // Selects the system log under an identity; messages carry their label there too. False when
    // the system log cannot be reached now; once selected, it gets the messages logged after a
    // restart of the system log too.
    static bool setup(const PrintMode& mode, const std::string& ident, const int& option,
                      const int& facility);
    // True when a message of this level would be written at the level in force.
    static bool isPrintable(int level);
    // Writes one whole line: time stamp, label, formatted message (a final newline is dropped).
    static void printfGeneric(int level, const char* label, const char* format, ...)
        __attribute__((format(printf, 3, 4)));
    // Name of the level in force ("TRACE" ... "FATAL"; a raw level is named by the lowest
    // named level it lets through).
    static const std::string& getPrintLevelString();
};

} // namespace VRX
