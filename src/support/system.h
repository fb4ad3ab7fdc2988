// Running programs without a shell, and reading whole files.
#pragma once

#include <string>
#include <vector>

namespace VRX {

class System {
public:
    // Bound on one program run when the caller gives none; a program still running then is
    // killed.
    static constexpr unsigned int DEFAULT_TIMEOUT_MS = 60000;
    // At most this much of a program's output is kept; the rest is read and dropped.
    static constexpr size_t MAX_OUTPUT = size_t{1024} * 1024;
    // At most this much of a file is read by readFile; a larger file is an error.
    static constexpr size_t MAX_FILE = size_t{16} * 1024 * 1024;

    // Runs the program found on PATH with the arguments (no shell), standard output and error
    // captured into output; 0 only for exit status 0, non-zero when it failed, could not be
    // started, or ran past the time bound. Safe from several threads at once. Called from the
    // body of a VRX::Thread, the program is killed (non-zero result) once that thread's stop
    // has been asked.
    static int execute(const std::string& command, const std::vector<std::string>& arguments,
                       std::string& output);
    static int execute(const std::string& command, const std::vector<std::string>& arguments,
                       std::string& output, unsigned int timeoutMs);
    // Reads the whole file into content; 0 on success.
    static int readFile(const std::string& path, std::string& content);
};

} // namespace VRX
