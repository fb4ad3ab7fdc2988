// Option parsing keeps going after any problem: a daemon started by an init script should come
// up with defaults rather than stay down over a typo on its command line.
#include "main/options.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "support/log.h"

using VRX::Logger;

void printUsage() {
    puts("Usage: uplinker [param]");
    puts("Params:");
    puts("    -i         : interactive (foreground) mode");
    puts("    -p <level> : log level out of range [0-100]");
    puts("    -l <file>  : log to file");
    puts("    -e         : log to stdout");
    puts("    -d         : dump wan states (one more -d for more verbosity)");
    puts("    -h         : this help");
}

// Applies a -p argument; anything that is not a number in 0..100 leaves the level alone.
static void applyPrintLevel(const char* text) {
    // strtol rather than sscanf: an out-of-range number is undefined for "%d" and glibc wraps
    // it, so "-p 4294967296" would have set level 0. Trailing text is ignored as "%d" does.
    char* end = nullptr;
    const long level = strtol(text, &end, 10);
    if (end == text)
        return;
    // Compared unsigned so that negative numbers fall out of range like large ones.
    if (static_cast<unsigned long>(level) > static_cast<unsigned long>(MAX_PRINT_LEVEL))
        return;
    Logger::setPrintLevel(static_cast<int>(level), true);
}

static void applyLogFile(Options& options, const char* name) {
    options.logFileName = name;
    if (options.logFileName.empty())
        options.logFileName = DEFAULT_LOG_FILE;
    options.logToFile = true;
    options.logToSyslog = false;
}

Options parseOptions(int argc, char** argv) {
    Options options;
    int option = 0;
    // Parsed before any thread exists, so getopt's shared state cannot race.
    while ((option = getopt(argc, argv, "iedl:p:h")) != -1) { // NOLINT(concurrency-mt-unsafe)
        switch (option) {
        case 'i':
            options.daemonize = false;
            break;
        case 'e':
            options.logToStdout = true;
            break;
        case 'd':
            ++options.dumpVerbosity;
            break;
        case 'l':
            applyLogFile(options, optarg);
            break;
        case 'p':
            applyPrintLevel(optarg);
            break;
        default: // -h, -? and every option getopt refused
            printUsage();
            break;
        }
    }
    return options;
}

void setupLogTarget(const Options& options) {
    const Logger::PrintMode stdoutMode = Logger::STDOUT_MODE;
    if (options.logToStdout || (!options.logToSyslog && !options.logToFile)) {
        Logger::setup(stdoutMode);
    } else if (options.logToSyslog) {
        const Logger::PrintMode mode = Logger::SYSLOG_MODE;
        const std::string ident = SYSLOG_IDENT;
        const int option = 0;
        const int facility = 0;
        if (!Logger::setup(mode, ident, option, facility)) {
            Logger::setup(stdoutMode);
            LOG_WARNING("unable to log to syslog");
        }
    } else {
        const Logger::PrintMode mode = Logger::FILE_MODE;
        if (!Logger::setup(mode, options.logFileName)) {
            Logger::setup(stdoutMode);
            LOG_WARNING("unable to log to file");
        }
    }
}
