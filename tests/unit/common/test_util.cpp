#include "common/test_util.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

#include "support/logger.h"

namespace testutil {

TempDir::TempDir() {
    char pattern[] = "/tmp/uplinker-test.XXXXXX";
    const char* made = mkdtemp(pattern);
    path_ = made ? made : "/tmp";
}

TempDir::~TempDir() {
    if (path_.rfind("/tmp/uplinker-test.", 0) == 0) {
        std::string command = "rm -rf '" + path_ + "'";
        if (system(command.c_str()) != 0) {
            // Nothing to do: a leftover scratch directory is harmless.
        }
    }
}

std::string TempDir::write(const std::string& relative, const std::string& content, int mode) {
    std::string full = path_ + "/" + relative;
    std::string dir = full.substr(0, full.rfind('/'));
    std::string command = "mkdir -p '" + dir + "'";
    if (system(command.c_str()) != 0)
        return full;
    {
        std::ofstream out(full, std::ios::trunc | std::ios::binary);
        out << content;
    }
    chmod(full.c_str(), static_cast<mode_t>(mode));
    return full;
}

LogCapture::LogCapture(int level) : file_(dir_.path() + "/log") {
    VRX::Logger::setup(VRX::Logger::FILE_MODE, file_);
    VRX::Logger::setPrintLevel(level, true);
}

LogCapture::~LogCapture() {
    VRX::Logger::setup(VRX::Logger::STDOUT_MODE);
    VRX::Logger::setPrintLevel(VRX::Logger::PrintLevel::INFO_LEVEL, true);
}

std::vector<std::string> LogCapture::labelled() const {
    std::vector<std::string> result;
    std::string text = readText(file_);
    if (offset_ > text.size())
        offset_ = 0;
    for (const std::string& line : splitLines(text.substr(offset_))) {
        // "<date> <time> [LABEL] message"
        size_t open = line.find('[');
        size_t close = line.find("] ", open == std::string::npos ? 0 : open);
        if (open == std::string::npos || close == std::string::npos) {
            result.push_back(line);
            continue;
        }
        result.push_back(line.substr(open + 1, close - open - 1) + " " + line.substr(close + 2));
    }
    return result;
}

std::vector<std::string> LogCapture::messages() const {
    std::vector<std::string> result;
    for (const std::string& line : labelled()) {
        size_t blank = line.find(' ');
        result.push_back(blank == std::string::npos ? std::string() : line.substr(blank + 1));
    }
    return result;
}

bool LogCapture::has(const std::string& text) const {
    return count(text) > 0;
}

int LogCapture::count(const std::string& text) const {
    int n = 0;
    for (const std::string& message : messages())
        n += message == text ? 1 : 0;
    return n;
}

void LogCapture::clear() {
    offset_ = readText(file_).size();
}

RecorderTools::RecorderTools() : bin_(dir_.path() + "/bin") {
    const char* path = getenv("PATH");
    oldPath_ = path ? path : "/usr/sbin:/usr/bin:/sbin:/bin";
    mkdir(bin_.c_str(), 0755);
    setenv("PATH", (bin_ + ":" + oldPath_).c_str(), 1);
}

RecorderTools::~RecorderTools() {
    setenv("PATH", oldPath_.c_str(), 1);
}

void RecorderTools::add(const std::string& name, int status, const std::string& output,
                        double sleepSeconds) {
    std::string outFile = dir_.write("out/" + name, output);
    std::ostringstream script;
    script << "#!/bin/sh\n"
           << "echo \"$*\" >> '" << dir_.path() << "/calls." << name << "'\n"
           << "cat '" << outFile << "'\n";
    if (sleepSeconds > 0)
        script << "sleep " << sleepSeconds << "\n";
    script << "exit " << status << "\n";
    dir_.write("bin/" + name, script.str(), 0755);
}

std::vector<std::string> RecorderTools::calls(const std::string& name) const {
    return splitLines(readText(dir_.path() + "/calls." + name));
}

void RecorderTools::clear() {
    std::string command = "rm -f '" + dir_.path() + "'/calls.*";
    if (system(command.c_str()) != 0) {
        // Nothing recorded yet.
    }
}

std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line))
        lines.push_back(line);
    return lines;
}

void sleepMs(int ms) {
    usleep(static_cast<useconds_t>(ms) * 1000);
}

} // namespace testutil
