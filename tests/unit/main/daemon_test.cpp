// Instance lock, daemon start, pid file and signals of the built binary, served a configuration
// with no WANs so that init succeeds and the main loop runs.
#include <algorithm>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/http_stub.h"
#include "common/test_util.h"
#include "main/uplinker_process.h"

using maintest::DAEMON_PID_FILE;
using maintest::indexOf;
using maintest::logLines;
using maintest::UplinkerProcess;

namespace {

const char* const EMPTY_FAILOVER_CONFIG =
    R"({"uplinker":{"mode":"FAILOVER","wans":[]},"waninfo":{"wans":[]}})";
const char* const REFUSED = "ERROR Another instance of uplinker is already running!";

std::string readLink(const std::string& path) {
    char target[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), target, sizeof(target) - 1);
    return length < 0 ? "" : std::string(target, static_cast<size_t>(length));
}

bool hasSanitizerReport(const std::string& err) {
    return err.find("Sanitizer") != std::string::npos ||
           err.find("runtime error:") != std::string::npos;
}

// Pid of the process holding a write lock on the whole file, or -1.
pid_t lockHolder(const std::string& path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    struct flock probe;
    memset(&probe, 0, sizeof(probe));
    probe.l_type = F_RDLCK;
    probe.l_whence = SEEK_SET;
    const bool asked = fcntl(fd, F_GETLK, &probe) == 0;
    close(fd);
    return asked && probe.l_type == F_WRLCK ? probe.l_pid : -1;
}

class Daemon : public testing::Test {
protected:
    static void SetUpTestSuite() {
        // The daemon's parent exits; as subreaper we inherit the daemon and can reap it.
        prctl(PR_SET_CHILD_SUBREAPER, 1);
    }

    void SetUp() override {
        unlink(DAEMON_PID_FILE);
        ASSERT_TRUE(server_.listening()) << "127.0.0.1:80 must be free";
    }

    // Starts the daemon in daemon mode, logging to logFile; returns its pid once the pid file
    // names it (-1 on failure).
    pid_t startDaemon(const std::string& logFile) {
        UplinkerProcess parent({"-l", logFile, "-p", "20"}, dir_.path());
        if (!parent.waitExit(15000) || parent.exitStatus() != 0)
            return -1;
        std::string text;
        testutil::waitFor([&] { return !(text = testutil::readText(DAEMON_PID_FILE)).empty(); });
        guard_.pid = text.empty() ? -1 : static_cast<pid_t>(std::stol(text));
        parentPid_ = parent.pid();
        return guard_.pid;
    }

    bool daemonLogs(const std::string& logFile, const std::string& line) {
        return testutil::waitFor(
            [&] { return indexOf(logLines(testutil::readText(logFile)), line) >= 0; }, 15000);
    }

    testutil::HttpStub server_{EMPTY_FAILOVER_CONFIG, 80};
    testutil::TempDir dir_;
    maintest::DaemonGuard guard_;
    pid_t parentPid_ = -1;
};

} // namespace

TEST_F(Daemon, ForegroundLoopLogsReconfigureAndStopsOnSignal) {
    for (int stopSignal : {SIGTERM, SIGINT}) {
        SCOPED_TRACE(strsignal(stopSignal));
        testutil::TempDir out;
        UplinkerProcess process({"-i", "-e", "-p", "20"}, out.path());
        ASSERT_TRUE(process.waitForLog("DEBUG main loop")) << process.out();
        EXPECT_FALSE(server_.requests().empty());
        EXPECT_EQ("GET /api?fields=uplinker,waninfo HTTP/1.1", server_.requests().back());

        process.sendSignal(SIGHUP);
        ASSERT_TRUE(process.waitForLog("DEBUG start reconfigure")) << process.out();
        EXPECT_FALSE(process.waitExit(0));

        process.sendSignal(stopSignal);
        ASSERT_TRUE(process.waitExit(15000)) << process.out();
        EXPECT_EQ(0, process.exitStatus());
        const std::vector<std::string> log = process.log();
        const int deinit = indexOf(log, "DEBUG start deinit");
        EXPECT_EQ(1, std::count(log.begin(), log.end(), "DEBUG start reconfigure"));
        EXPECT_LT(indexOf(log, "DEBUG start reconfigure"), deinit);
        ASSERT_GE(deinit, 0) << process.out();
        EXPECT_EQ("DEBUG done", log.back());
        EXPECT_LT(indexOf(log, "DEBUG start demonize"), 0);
        EXPECT_LT(indexOf(log, "ERROR init failed!"), 0);
        EXPECT_FALSE(hasSanitizerReport(process.err())) << process.err();
        struct stat info;
        EXPECT_NE(0, stat(DAEMON_PID_FILE, &info)) << "no pid file in the foreground";
    }
}

TEST_F(Daemon, DaemonOwnsLockedPidFileAndRefusesASecondInstance) {
    const std::string logFile = dir_.path() + "/daemon.log";
    const pid_t pid = startDaemon(logFile);
    ASSERT_GT(pid, 0) << testutil::readText(logFile);
    EXPECT_NE(parentPid_, pid);
    EXPECT_EQ(std::to_string(pid) + "\n", testutil::readText(DAEMON_PID_FILE));
    struct stat before;
    ASSERT_EQ(0, stat(DAEMON_PID_FILE, &before));
    EXPECT_EQ(0600u, before.st_mode & 0777u);
    EXPECT_EQ(pid, lockHolder(DAEMON_PID_FILE));

    ASSERT_TRUE(daemonLogs(logFile, "DEBUG main loop"));
    const std::vector<std::string> log = logLines(testutil::readText(logFile));
    EXPECT_LT(indexOf(log, "DEBUG start demonize"), indexOf(log, "DEBUG done parent"));
    EXPECT_EQ(pid, getsid(pid));
    const std::string proc = "/proc/" + std::to_string(pid);
    EXPECT_EQ("/", readLink(proc + "/cwd"));
    for (int fd = 0; fd <= 2; ++fd)
        EXPECT_EQ("/dev/null", readLink(proc + "/fd/" + std::to_string(fd))) << fd;

    testutil::TempDir out;
    const auto started = std::chrono::steady_clock::now();
    UplinkerProcess second({"-e"}, out.path());
    ASSERT_TRUE(second.waitExit(30000));
    const auto waited = std::chrono::steady_clock::now() - started;
    EXPECT_EQ(1, second.exitStatus());
    EXPECT_EQ(REFUSED, second.log().empty() ? "" : second.log().back()) << second.out();
    // It keeps trying for about five seconds before it gives up.
    EXPECT_GE(waited, std::chrono::milliseconds(4500));

    struct stat after;
    ASSERT_EQ(0, stat(DAEMON_PID_FILE, &after));
    EXPECT_EQ(before.st_mtim.tv_sec, after.st_mtim.tv_sec);
    EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
    EXPECT_EQ(std::to_string(pid) + "\n", testutil::readText(DAEMON_PID_FILE));
    EXPECT_EQ(pid, lockHolder(DAEMON_PID_FILE)) << "the first instance keeps running";

    kill(pid, SIGTERM);
    int status = 0;
    ASSERT_TRUE(maintest::waitForPid(pid, 15000, status));
    guard_.pid = -1;
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
    const std::vector<std::string> end = logLines(testutil::readText(logFile));
    EXPECT_GE(indexOf(end, "DEBUG start deinit"), 0);
    EXPECT_EQ("DEBUG done", end.back());
}

TEST_F(Daemon, LockPassesOnOnceTheHolderEnds) {
    testutil::TempDir firstOut;
    UplinkerProcess first({"-i", "-e", "-p", "20"}, firstOut.path());
    ASSERT_TRUE(first.waitForLog("DEBUG main loop")) << first.out();

    testutil::TempDir secondOut;
    UplinkerProcess second({"-i", "-e", "-p", "20"}, secondOut.path());
    ASSERT_TRUE(second.waitForLog("INFO uplinker starting up with log level DEBUG"));
    first.sendSignal(SIGTERM);
    ASSERT_TRUE(first.waitExit(15000));
    // The waiting instance binds on a later attempt instead of giving up.
    ASSERT_TRUE(second.waitForLog("DEBUG main loop")) << second.out();
    EXPECT_LT(indexOf(second.log(), REFUSED), 0);
    second.sendSignal(SIGTERM);
    ASSERT_TRUE(second.waitExit(15000));
    EXPECT_EQ(0, second.exitStatus());
    EXPECT_FALSE(hasSanitizerReport(first.err())) << first.err();
    EXPECT_FALSE(hasSanitizerReport(second.err())) << second.err();
}

TEST_F(Daemon, EachDumpOptionAddsVerbosity) {
    const std::string initDump =
        "TRACE Current wan interfaces state [init:172]: At the end of App::init()";
    const std::string stepDump = "TRACE Current wan interfaces state [work:211]:";
    struct Case {
        std::vector<std::string> dumpArgs;
        int initDumps;
        bool stepDumps;
    };
    const std::vector<Case> cases = {
        {{}, 0, false}, {{"-d"}, 1, false}, {{"-d", "-d"}, 1, true}, {{"-d", "-d", "-d"}, 1, true}};
    for (const Case& c : cases) {
        std::vector<std::string> args = {"-i", "-e", "-p", "0"};
        args.insert(args.end(), c.dumpArgs.begin(), c.dumpArgs.end());
        SCOPED_TRACE(testing::PrintToString(args));
        testutil::TempDir out;
        UplinkerProcess process(args, out.path());
        ASSERT_TRUE(process.waitForLog("DEBUG main loop")) << process.out();
        // A work step runs between two reconfigure lines, so its dumps are in by the second.
        for (int hangups = 1; hangups <= 2; ++hangups) {
            process.sendSignal(SIGHUP);
            ASSERT_TRUE(testutil::waitFor([&] {
                const std::vector<std::string> log = process.log();
                return std::count(log.begin(), log.end(), "DEBUG start reconfigure") == hangups;
            })) << process.out();
        }
        process.sendSignal(SIGTERM);
        ASSERT_TRUE(process.waitExit(15000));
        const std::vector<std::string> log = process.log();
        EXPECT_EQ(c.initDumps, std::count(log.begin(), log.end(), initDump));
        const bool stepDumps = std::any_of(log.begin(), log.end(), [&](const std::string& line) {
            return line.rfind(stepDump, 0) == 0;
        });
        EXPECT_EQ(c.stepDumps, stepDumps) << process.out();
    }
}
