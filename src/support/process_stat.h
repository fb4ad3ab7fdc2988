// Which process a pid names: the pid alone may have been reused since it was written down, its
// start time tells the processes apart.
#pragma once

#include <cstdint>
#include <sys/types.h>

// Field 22 of /proc/<pid>/stat: when the process started, in clock ticks since boot. False when
// no such process is there or its line cannot be read.
bool processStartTime(pid_t pid, uint64_t& ticks);
