// Helpers shared by the unit tests: captured log lines, scratch directories, recorder tools.
#pragma once

#include <string>
#include <vector>

namespace testutil {

// A scratch directory under /tmp, removed with its contents on destruction.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return path_; }
    // Writes a file below the directory (creating parent directories) and returns its path.
    std::string write(const std::string& relative, const std::string& content, int mode = 0644);

private:
    std::string path_;
};

// Sends the logger to a scratch file at the given level for the life of the object, and gives
// back the messages written since (the text after "[LABEL] ", one entry per line).
class LogCapture {
public:
    explicit LogCapture(int level = 0);
    ~LogCapture();
    // Every message so far, without time stamp and label.
    std::vector<std::string> messages() const;
    // Every line so far, with "LABEL message" (time stamp dropped).
    std::vector<std::string> labelled() const;
    // True when some message equals text exactly.
    bool has(const std::string& text) const;
    // Number of messages equal to text.
    int count(const std::string& text) const;
    // Forgets what was captured so far.
    void clear();

private:
    TempDir dir_;
    std::string file_;
    mutable size_t offset_ = 0;
};

// Small programs placed first on PATH that record their argument vector and exit with a
// chosen status, optionally printing a fixed output or sleeping first. PATH is restored on
// destruction.
class RecorderTools {
public:
    RecorderTools();
    ~RecorderTools();
    // Installs a recorder named name: appends one line, the arguments joined by blanks, to the
    // log of that name, prints output, sleeps sleepSeconds, exits with status.
    void add(const std::string& name, int status = 0, const std::string& output = "",
             double sleepSeconds = 0);
    // Each call of the named tool: its arguments joined by single blanks.
    std::vector<std::string> calls(const std::string& name) const;
    // Forgets recorded calls of every tool.
    void clear();
    const std::string& binDir() const { return bin_; }

private:
    TempDir dir_;
    std::string bin_;
    std::string oldPath_;
};

// Polls cond every 10 ms until it is true or timeoutMs has passed; returns its last value.
template <typename F> bool waitFor(F cond, int timeoutMs = 5000);

// Reads a whole file; empty when missing.
std::string readText(const std::string& path);
// Splits text into lines (a final newline does not start a new line).
std::vector<std::string> splitLines(const std::string& text);
// Sleeps for ms milliseconds.
void sleepMs(int ms);

template <typename F> bool waitFor(F cond, int timeoutMs) {
    for (int waited = 0;; waited += 10) {
        if (cond())
            return true;
        if (waited >= timeoutMs)
            return cond();
        sleepMs(10);
    }
}

} // namespace testutil
