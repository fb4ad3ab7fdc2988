// The logger: level filter, level names, line format and targets.
#include <gtest/gtest.h>

#include <regex>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "common/test_util.h"
#include "support/log.h"
#include "support/logger.h"

namespace {

using Level = VRX::Logger::PrintLevel;
using Lines = std::vector<std::string>;

TEST(LoggerTest, MessageBelowLevelIsNotFormatted) {
    testutil::LogCapture capture(Level::WARNING_LEVEL);
    int formatted = 0;
    auto argument = [&formatted] { return ++formatted; };
    LOG_TRACE("trace %d", argument());
    LOG_DEBUG("debug %d", argument());
    LOG_INFO("info %d", argument());
    EXPECT_EQ(formatted, 0);
    LOG_WARNING("warning %d", argument());
    LOG_FATAL("fatal %d", argument());
    EXPECT_EQ(capture.labelled(), (Lines{"WARNING warning 1", "FATAL fatal 2"}));
}

TEST(LoggerTest, LevelNameAndThresholdFollowTheLevelSetLast) {
    const std::pair<int, const char*> cases[] = {{0, "TRACE"},    {1, "DEBUG"},  {20, "DEBUG"},
                                                 {21, "INFO"},    {40, "INFO"},  {41, "WARNING"},
                                                 {60, "WARNING"}, {61, "ERROR"}, {80, "ERROR"},
                                                 {81, "FATAL"},   {100, "FATAL"}};
    testutil::LogCapture capture;
    for (const auto& c : cases) {
        VRX::Logger::setPrintLevel(c.first, true);
        EXPECT_EQ(VRX::Logger::getPrintLevelString(), c.second) << c.first;
        EXPECT_TRUE(VRX::Logger::isPrintable(c.first)) << c.first;
        EXPECT_TRUE(VRX::Logger::isPrintable(100)) << c.first;
        EXPECT_FALSE(VRX::Logger::isPrintable(c.first - 1)) << c.first;
    }
}

TEST(LoggerTest, FileIsAppendedToWithStampLabelAndMessage) {
    testutil::TempDir dir;
    const std::string file = dir.write("append.log", "earlier line\n");
    {
        testutil::LogCapture restore;
        ASSERT_TRUE(VRX::Logger::setup(VRX::Logger::FILE_MODE, file));
        VRX::Logger::setPrintLevel(Level::TRACE_LEVEL, true);
        LOG_WARNING("%s| value %-5s|%2d|%x", "eth0", "ab", 7, 255u);
        LOG_ERROR("Error: %s\n", "trailing newline dropped");
    }
    const std::string text = testutil::readText(file);
    const Lines lines = testutil::splitLines(text);
    ASSERT_EQ(lines.size(), 3u) << text;
    EXPECT_EQ(lines[0], "earlier line");
    EXPECT_TRUE(
        std::regex_search(lines[1], std::regex(R"(^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )")))
        << lines[1];
    EXPECT_EQ(lines[1].substr(24), "[WARNING] eth0| value ab   | 7|ff");
    EXPECT_EQ(lines[2].substr(24), "[ERROR] Error: trailing newline dropped");
    EXPECT_EQ(text.back(), '\n');
}

TEST(LoggerTest, UnusableTargetKeepsThePreviousOne) {
    testutil::LogCapture capture;
    EXPECT_FALSE(VRX::Logger::setup(VRX::Logger::FILE_MODE, "/nonexistent-dir/uplinker.log"));
    struct stat info {};
    if (stat("/dev/log", &info) != 0) {
        EXPECT_FALSE(VRX::Logger::setup(VRX::Logger::SYSLOG_MODE, "UPLINKER", 0, 0));
    }
    LOG_INFO("still captured");
    EXPECT_TRUE(capture.has("still captured"));
}

constexpr int CHILD_SKIP = 77;

// In a private mount namespace with its own /dev, listens on /dev/log, logs one message per
// level and checks each datagram's priority and text; the exit status tells the parent.
int syslogChild() {
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) ||
        mount("private-dev", "/dev", "tmpfs", 0, nullptr) != 0)
        return CHILD_SKIP;
    int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), "/dev/log");
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0)
        return CHILD_SKIP;
    timeval patience{5, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    if (!VRX::Logger::setup(VRX::Logger::SYSLOG_MODE, "UPLINKER", 0, 0))
        return 1;
    VRX::Logger::setPrintLevel(Level::TRACE_LEVEL, true);
    // LOG_DAEMON (3 << 3) with debug 7, info 6, warning 4, error 3, critical 2.
    const std::pair<int, const char*> expected[] = {
        {Level::TRACE_LEVEL, "<31>"},   {Level::DEBUG_LEVEL, "<31>"}, {Level::INFO_LEVEL, "<30>"},
        {Level::WARNING_LEVEL, "<28>"}, {Level::ERROR_LEVEL, "<27>"}, {Level::FATAL_LEVEL, "<26>"}};
    for (const auto& e : expected) {
        VRX::Logger::printfGeneric(e.first, "L", "message at %d\n", e.first);
        char buffer[512];
        const ssize_t got = recv(fd, buffer, sizeof(buffer) - 1, 0);
        if (got <= 0)
            return 2;
        const std::string datagram(buffer, static_cast<size_t>(got));
        const std::string ending =
            "UPLINKER[" + std::to_string(getpid()) + "]: message at " + std::to_string(e.first);
        if (datagram.rfind(e.second, 0) != 0 || datagram.size() < ending.size() ||
            datagram.compare(datagram.size() - ending.size(), ending.size(), ending) != 0)
            return 3;
    }
    return 0;
}

TEST(LoggerTest, SystemLogGetsMessagesWithTheirPriority) {
    fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        _exit(syslogChild());
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == CHILD_SKIP)
        GTEST_SKIP() << "no private mount namespace here";
    EXPECT_EQ(WEXITSTATUS(status), 0) << "1: setup refused, 2: no datagram, 3: wrong datagram";
}

TEST(LoggerTest, LinesFromSeveralThreadsNeverMix) {
    testutil::LogCapture capture;
    const std::string padding(300, 'x');
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t, &padding] {
            for (int i = 0; i < 200; ++i)
                LOG_INFO("thread %d line %d %s", t, i, padding.c_str());
        });
    for (std::thread& thread : threads)
        thread.join();
    const Lines messages = capture.messages();
    ASSERT_EQ(messages.size(), 800u);
    const std::regex whole("^thread [0-3] line [0-9]+ x{300}$");
    for (const std::string& message : messages)
        ASSERT_TRUE(std::regex_match(message, whole)) << message;
}

} // namespace
