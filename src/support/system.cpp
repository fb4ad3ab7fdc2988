#include "support/system.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/child_process.h"
#include "support/clock.h"
#include "support/thread.h"
#include "support/unique_fd.h"

namespace VRX {

namespace {

// What a shell reports for a program it cannot start; callers only test for non-zero.
constexpr int NOT_STARTED = 127;
// A program ended by a signal reports as a shell would: 128 plus the signal's number.
constexpr int KILLED_BY_SIGNAL = 128;
constexpr int TIMED_OUT = -1;
constexpr size_t READ_CHUNK = 16384;
// How often a running program's wait looks at the calling thread's stop request.
constexpr int64_t CANCEL_POLL_MS = 100;

std::vector<char*> argumentVector(std::vector<std::string>& words) {
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words)
        argv.push_back(&word[0]);
    argv.push_back(nullptr);
    return argv;
}

// Starts the program with stdin on /dev/null and stdout and stderr on the pipe's write end.
bool spawnProgram(const std::string& command, std::vector<char*>& argv, int writeFd, pid_t& pid) {
    ChildProcess::SpawnFileActions actions;
    posix_spawn_file_actions_addopen(actions.get(), STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(actions.get(), writeFd, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(actions.get(), writeFd, STDERR_FILENO);
    actions.closeInherited();
    ChildProcess::SpawnAttributes attributes;
    return posix_spawnp(&pid, command.c_str(), actions.get(), attributes.get(), argv.data(),
                        environ) == 0;
}

// Reads the child's output until end of file; false when the deadline passes first. Output
// beyond MAX_OUTPUT is read and dropped so that the child never blocks on a full pipe.
bool collectOutput(int fd, int64_t deadline, std::string& output) {
    char buffer[READ_CHUNK];
    for (;;) {
        int64_t left = deadline - monotonicMs();
        if (left <= 0 || Thread::isCurrentCanceled())
            return false;
        pollfd ready{fd, POLLIN, 0};
        int events = poll(&ready, 1, static_cast<int>(std::min<int64_t>(left, CANCEL_POLL_MS)));
        if (events < 0 && errno != EINTR)
            return false;
        if (events <= 0)
            continue;
        ssize_t got = read(fd, buffer, sizeof(buffer));
        if (got < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (got <= 0)
            return true;
        size_t room = System::MAX_OUTPUT - std::min(output.size(), System::MAX_OUTPUT);
        output.append(buffer, std::min(room, static_cast<size_t>(got)));
    }
}

// False at the deadline or once the calling thread is asked to stop, so that stopping a check
// thread does not wait out a hung probe.
bool waitForExit(pid_t pid, int64_t deadline, int& status) {
    return ChildProcess::waitInSlices(
        pid, status, [deadline] { return Thread::isCurrentCanceled() ? int64_t{0} : deadline; });
}

int resultOf(int status) {
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    return WIFSIGNALED(status) ? KILLED_BY_SIGNAL + WTERMSIG(status) : NOT_STARTED;
}

} // namespace

int System::execute(const std::string& command, const std::vector<std::string>& arguments,
                    std::string& output) {
    return execute(command, arguments, output, DEFAULT_TIMEOUT_MS);
}

int System::execute(const std::string& command, const std::vector<std::string>& arguments,
                    std::string& output, unsigned int timeoutMs) {
    output.clear();
    std::vector<std::string> words{command};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv = argumentVector(words);

    // O_CLOEXEC keeps this pipe out of programs that other threads start at the same time;
    // otherwise their children would hold our write end open and delay our end of file.
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0)
        return NOT_STARTED;
    const UniqueFd readEnd(fds[0]);
    UniqueFd writeEnd(fds[1]);
    pid_t pid = 0;
    const bool started = spawnProgram(command, argv, writeEnd.get(), pid);
    // Our copy of the write end goes at once, so that the child's exit ends the output.
    writeEnd.reset();
    if (!started)
        return NOT_STARTED;
    const int64_t deadline = monotonicMs() + timeoutMs;
    int status = 0;
    const bool finished =
        collectOutput(readEnd.get(), deadline, output) && waitForExit(pid, deadline, status);
    if (!finished)
        ChildProcess::killGroupAndReap(pid);
    return finished ? resultOf(status) : TIMED_OUT;
}

} // namespace VRX
