// Pieces shared by the two ways the daemon starts children (programs and shell commands).
#pragma once

#include <cstdint>
#include <functional>
#include <spawn.h>
#include <sys/types.h>

namespace VRX {
namespace ChildProcess {

// Spawn attributes for a child in its own process group, with an empty signal mask and the
// default disposition of the signals the daemon handles or ignores.
class SpawnAttributes {
public:
    SpawnAttributes();
    ~SpawnAttributes();
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    const posix_spawnattr_t* get() const { return &attr_; }

private:
    posix_spawnattr_t attr_;
};

// File actions for a child; closeInherited is to be added last.
class SpawnFileActions {
public:
    SpawnFileActions() { posix_spawn_file_actions_init(&actions_); }
    ~SpawnFileActions() { posix_spawn_file_actions_destroy(&actions_); }
    SpawnFileActions(const SpawnFileActions&) = delete;
    SpawnFileActions& operator=(const SpawnFileActions&) = delete;
    posix_spawn_file_actions_t* get() { return &actions_; }
    // Closes every descriptor above standard error in the child.
    void closeInherited();

private:
    posix_spawn_file_actions_t actions_;
};

// waitpid, retried when a signal interrupts it; the pid, 0 (WNOHANG, still running) or -1.
pid_t waitChild(pid_t pid, int* status, int options);
// Waits for the child to exit until deadlineMs (monotonicMs); false when it is still running.
// A child reaped elsewhere counts as exited with status 127.
bool waitUntil(pid_t pid, int64_t deadlineMs, int& status);
// Waits for the child's exit in slices of at most 100 ms, asking deadlineMs() anew before
// each, so that a deadline that moves (a stop request, a stopped thread) is seen while the
// child runs. True when the child exited; false once the deadline has passed.
bool waitInSlices(pid_t pid, int& status, const std::function<int64_t()>& deadlineMs);
// Kills the child's whole process group and reaps the child.
void killGroupAndReap(pid_t pid);

} // namespace ChildProcess
} // namespace VRX
