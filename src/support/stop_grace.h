// The grace period a stop request leaves the shell commands still to run.
#pragma once

#include <csignal>
#include <cstdint>

// From now on, once *running is seen at 0 (a stop was asked), the commands still to run get a
// common grace period of about 2 s from that moment: the one running and those started after it
// end normally within it, and are killed at its end, so that a hung hook cannot hold a
// stopping daemon up to its time bound. Nothing is started after it, but for a command it is
// waived for (StopGrace in shell.h), which runs under its own bound alone.
void stopShellCommandsWith(const volatile sig_atomic_t* running);
// The end of that grace period (monotonicMs), fixed when the stop is first seen; INT64_MAX
// before.
int64_t stopDeadline();
// True once that grace period is over.
bool stopGraceOver();
