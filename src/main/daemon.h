// Turning the foreground process into a daemon that owns a locked pid file.
#pragma once

#include <cstddef>

#include "support/paths.h"

constexpr const char* NULL_DEVICE = "/dev/null";
constexpr size_t PID_TEXT_SIZE = 100;

// Opens the null device on any of descriptors 0 to 2 that is closed. Called before anything
// else is opened: a log file or a lock socket that landed there would be closed by the daemon
// start, or a child would write into it believing it its standard output.
void openStandardStreams();

enum class DaemonStart { Child, Parent, Failed };

// Forks; the parent gets Parent and should exit 0, the child detaches from the terminal,
// writes and locks the pid file and gets Child. Every failure is logged; Failed means exit 1.
DaemonStart startDaemon();
// Creates, locks and fills the pid file; the descriptor stays open so the lock lasts.
bool writePidFile(const char* path);
