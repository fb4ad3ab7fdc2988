// Shell commands with a time bound, and quoting of untrusted words for them.
#pragma once

#include <string>

// Bounds for the shell commands the daemon runs.
constexpr unsigned int HOOK_TIMEOUT_S = 30;
constexpr unsigned int COMMAND_TIMEOUT_S = 10;

// Whether a stop's grace period (support/stop_grace.h) bounds a command. Waived for the second
// half of a change that must not be left half done: that runs under its own bound alone.
enum class StopGrace { Applies, Waived };

// Runs "sh -c command" like system() (status returned, callers ignore it), but in its own
// process group, which is killed when the command runs past timeoutSeconds; that is logged at
// WARNING naming the command. Returns -1 when the shell could not be started or was killed.
int runShell(const std::string& command, unsigned int timeoutSeconds,
             StopGrace grace = StopGrace::Applies);

// True when the word is made only of letters, digits and ._-@+: and so needs no quoting.
bool isShellSafe(const std::string& word);
// The word in single quotes, with embedded single quotes escaped: one shell word, no expansion.
std::string shellQuote(const std::string& word);
// The word itself when it is shell-safe, else shellQuote(word).
std::string shellWord(const std::string& word);
