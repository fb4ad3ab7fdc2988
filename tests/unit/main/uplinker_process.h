// Runs the built uplinker binary as a child of the test, with its output in files, and makes
// sure it never outlives the test.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace maintest {

constexpr const char* UPLINKER_BINARY = UPLINKER_BUILD_DIR "/uplinker";
constexpr const char* DAEMON_PID_FILE = "/var/run/uplinker.pid";

// "LABEL message" for every log line of text; other lines (the usage text) are left out.
std::vector<std::string> logLines(const std::string& text);
// Position of the first entry equal to wanted, or -1.
int indexOf(const std::vector<std::string>& lines, const std::string& wanted);

class UplinkerProcess {
public:
    // Starts the binary with args; stdout and stderr go to files in outputDir. With a workDir the
    // child starts there.
    UplinkerProcess(const std::vector<std::string>& args, const std::string& outputDir,
                    const std::string& workDir = "");
    // Fail-safe: a child still running is killed and reaped.
    ~UplinkerProcess();
    UplinkerProcess(const UplinkerProcess&) = delete;
    UplinkerProcess& operator=(const UplinkerProcess&) = delete;

    pid_t pid() const { return pid_; }
    bool started() const { return pid_ > 0; }
    // Waits up to timeoutMs for the child to exit; true when it has.
    bool waitExit(int timeoutMs);
    bool exited() const { return exited_; }
    // The exit status, or -1 when the child has not exited normally.
    int exitStatus() const;
    void sendSignal(int signalNumber) const;
    std::string out() const;
    std::string err() const;
    // Log lines written to standard output so far.
    std::vector<std::string> log() const { return logLines(out()); }
    // Waits until standard output holds the log line "LABEL message".
    bool waitForLog(const std::string& line, int timeoutMs = 15000) const;

private:
    std::string outFile_;
    std::string errFile_;
    pid_t pid_ = -1;
    bool exited_ = false;
    int status_ = 0;
};

// Polls waitpid for any process of ours (the daemon, once reparented to us); true when it ended
// within timeoutMs, with its wait status in status.
bool waitForPid(pid_t pid, int timeoutMs, int& status);
// Fail-safe for a daemon that is no direct child: kills and reaps it if still there.
class DaemonGuard {
public:
    ~DaemonGuard();
    pid_t pid = -1;
};

} // namespace maintest
