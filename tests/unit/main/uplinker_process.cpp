#include "main/uplinker_process.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/test_util.h"

extern char** environ;

namespace maintest {

// "YYYY-MM-DD HH:MM:SS.mmm [LABEL] message"
static constexpr size_t STAMP_LENGTH = 23;

std::vector<std::string> logLines(const std::string& text) {
    std::vector<std::string> lines;
    for (const std::string& line : testutil::splitLines(text)) {
        if (line.size() < STAMP_LENGTH + 2 || line[STAMP_LENGTH] != ' ' ||
            line[STAMP_LENGTH + 1] != '[')
            continue;
        const size_t close = line.find("] ", STAMP_LENGTH + 2);
        if (close == std::string::npos)
            continue;
        const std::string label = line.substr(STAMP_LENGTH + 2, close - STAMP_LENGTH - 2);
        lines.push_back(label + " " + line.substr(close + 2));
    }
    return lines;
}

int indexOf(const std::vector<std::string>& lines, const std::string& wanted) {
    for (size_t i = 0; i < lines.size(); ++i) {
        if (lines[i] == wanted)
            return static_cast<int>(i);
    }
    return -1;
}

// The child gets default dispositions and an empty mask whatever the test runner set up.
static void prepareAttributes(posix_spawnattr_t& attributes) {
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigaddset(&signals, SIGHUP);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

UplinkerProcess::UplinkerProcess(const std::vector<std::string>& args, const std::string& outputDir,
                                 const std::string& workDir)
    : outFile_(outputDir + "/stdout"), errFile_(outputDir + "/stderr") {
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(UPLINKER_BINARY));
    for (const std::string& arg : args)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outFile_.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errFile_.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (!workDir.empty())
        posix_spawn_file_actions_addchdir_np(&actions, workDir.c_str());
    posix_spawnattr_t attributes;
    prepareAttributes(attributes);
    if (posix_spawn(&pid_, UPLINKER_BINARY, &actions, &attributes, argv.data(), environ) != 0)
        pid_ = -1;
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
}

UplinkerProcess::~UplinkerProcess() {
    if (pid_ > 0 && !exited_) {
        kill(pid_, SIGKILL);
        waitExit(10000);
    }
}

bool UplinkerProcess::waitExit(int timeoutMs) {
    if (pid_ <= 0)
        return false;
    if (!exited_)
        exited_ = waitForPid(pid_, timeoutMs, status_);
    return exited_;
}

int UplinkerProcess::exitStatus() const {
    if (!exited_ || !WIFEXITED(status_))
        return -1;
    return WEXITSTATUS(status_);
}

void UplinkerProcess::sendSignal(int signalNumber) const {
    if (pid_ > 0 && !exited_)
        kill(pid_, signalNumber);
}

std::string UplinkerProcess::out() const {
    return testutil::readText(outFile_);
}

std::string UplinkerProcess::err() const {
    return testutil::readText(errFile_);
}

bool UplinkerProcess::waitForLog(const std::string& line, int timeoutMs) const {
    return testutil::waitFor([&] { return indexOf(log(), line) >= 0; }, timeoutMs);
}

bool waitForPid(pid_t pid, int timeoutMs, int& status) {
    return testutil::waitFor(
        [&] {
            const pid_t done = waitpid(pid, &status, WNOHANG);
            return done == pid || (done == -1 && errno == ECHILD);
        },
        timeoutMs);
}

DaemonGuard::~DaemonGuard() {
    if (pid <= 0)
        return;
    int status = 0;
    if (kill(pid, SIGKILL) == 0)
        waitForPid(pid, 10000, status);
}

} // namespace maintest
