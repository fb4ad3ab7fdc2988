#include "tool_runner.h"

#include "common/deadline.h"

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace toolstest {
namespace {

pid_t spawnWithPipes(const std::string& path, const std::vector<std::string>& args, int outFd,
                     int errFd) {
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(path.c_str()));
    for (const std::string& arg : args)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, outFd, 1);
    posix_spawn_file_actions_adddup2(&actions, errFd, 2);
    pid_t pid = -1;
    if (posix_spawn(&pid, path.c_str(), &actions, nullptr, argv.data(), environ) != 0)
        pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

// Reads both pipes until both reach end of file or the deadline passes.
bool collect(int outFd, int errFd, RunResult& result, const tools::Deadline& end) {
    pollfd entries[2] = {{outFd, POLLIN, 0}, {errFd, POLLIN, 0}};
    std::string* sinks[2] = {&result.out, &result.err};
    int open = 2;
    while (open > 0 && !end.expired()) {
        if (poll(entries, 2, end.remainingMs()) <= 0)
            continue;
        for (int i = 0; i < 2; ++i) {
            if (entries[i].fd < 0 || entries[i].revents == 0)
                continue;
            char buffer[4096];
            ssize_t got = read(entries[i].fd, buffer, sizeof buffer);
            if (got > 0) {
                sinks[i]->append(buffer, static_cast<size_t>(got));
            } else {
                entries[i].fd = -1;
                --open;
            }
        }
    }
    return open == 0;
}

} // namespace

RunResult runTool(const std::string& tool, const std::vector<std::string>& args, int boundMs) {
    RunResult result;
    int outPipe[2], errPipe[2];
    if (pipe2(outPipe, O_CLOEXEC) != 0 || pipe2(errPipe, O_CLOEXEC) != 0)
        return result;
    tools::Deadline end(boundMs);
    pid_t pid =
        spawnWithPipes(std::string(TOOLS_BIN_DIR) + "/" + tool, args, outPipe[1], errPipe[1]);
    close(outPipe[1]);
    close(errPipe[1]);
    bool finished = pid > 0 && collect(outPipe[0], errPipe[0], result, end);
    close(outPipe[0]);
    close(errPipe[0]);
    if (pid <= 0)
        return result;
    if (!finished) {
        kill(pid, SIGKILL);
        result.killed = true;
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status))
        result.exitCode = WEXITSTATUS(status);
    else if (WIFSIGNALED(status))
        result.signal = WTERMSIG(status);
    return result;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream stream(text);
    std::string line;
    while (std::getline(stream, line))
        result.push_back(line);
    return result;
}

} // namespace toolstest
