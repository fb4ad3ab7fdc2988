// Signal flags shared between the handlers and the main loop.
#pragma once

#include <csignal>

// Cleared by SIGTERM and SIGINT; the main loop ends when it sees 0.
extern volatile sig_atomic_t gRunning;
// Set by SIGHUP; the main loop logs the request and clears it.
extern volatile sig_atomic_t gReconfigure;

void onHangup(int signalNumber);
void onTerminate(int signalNumber);
// Ignores SIGPIPE, so that a reader of our standard output that goes away costs only the
// lines it would have read. Programs we start get the default disposition back.
void ignoreBrokenPipe();
// Installs both handlers for SIGHUP, SIGTERM and SIGINT; logs and returns false on failure.
bool installSignalHandlers();
