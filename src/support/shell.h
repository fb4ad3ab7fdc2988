// Shell commands with a time bound, and quoting of untrusted words for them.
#pragma once

#include <csignal>
#include <string>

// Bounds for the shell commands the daemon runs.
constexpr unsigned int HOOK_TIMEOUT_S = 30;
constexpr unsigned int COMMAND_TIMEOUT_S = 10;

// Whether a stop's grace period (below) bounds a command. Waived for the second half of a change
// that must not be left half done: that runs under its own bound alone, grace period or not.
enum class StopGrace { Applies, Waived };

// runShell's result for a command that a stop's grace period, already over, kept from starting.
constexpr int SHELL_NOT_STARTED = -2;

// Runs "sh -c command" like system() (status returned, callers ignore it), but in its own
// process group, which is killed when the command runs past timeoutSeconds; that is logged at
// WARNING naming the command. Returns -1 when the shell could not be started or was killed.
int runShell(const std::string& command, unsigned int timeoutSeconds,
             StopGrace grace = StopGrace::Applies);

// From now on, once *running is seen at 0 (a stop was asked), the commands still to run get a
// common grace period of about 2 s from that moment: the one running and those started after it
// end normally within it, and are killed at its end, so that a hung hook cannot hold a
// stopping daemon up to its time bound. Nothing is started after it.
void stopShellCommandsWith(const volatile sig_atomic_t* running);
// True once that grace period is over.
bool stopGraceOver();

// True when the word is made only of letters, digits and ._-@+: and so needs no quoting.
bool isShellSafe(const std::string& word);
// The word in single quotes, with embedded single quotes escaped: one shell word, no expansion.
std::string shellQuote(const std::string& word);
// The word itself when it is shell-safe, else shellQuote(word).
std::string shellWord(const std::string& word);
