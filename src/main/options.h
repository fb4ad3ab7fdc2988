// Command-line options and the choice of the log target.
#pragma once

#include <string>

struct Options {
    bool daemonize = true;
    bool logToStdout = false;
    bool logToFile = false;
    bool logToSyslog = true;
    std::string logFileName;
    int dumpVerbosity = 0;
};

constexpr const char* DEFAULT_LOG_FILE = "uplinker.log";
constexpr const char* SYSLOG_IDENT = "UPLINKER";
constexpr int MAX_PRINT_LEVEL = 100;

// Prints the usage text on standard output, one line at a time.
void printUsage();
// Reads every option; -p changes the logger's level as soon as it is read.
Options parseOptions(int argc, char** argv);
// Points the logger at stdout, the system log or a file, falling back to stdout with a warning.
void setupLogTarget(const Options& options);
