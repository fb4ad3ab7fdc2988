#include "fuzz_util.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include "support/logger.h"

namespace fuzzutil {

void quietLogger() {
    VRX::Logger::setPrintLevel(VRX::Logger::PrintLevel::TRACE_LEVEL, false);
    if (!VRX::Logger::setup(VRX::Logger::FILE_MODE, "/dev/null"))
        fail("the logger cannot write to /dev/null");
}

namespace {

std::string scratchDirectory;
std::string scratchPath;

void removeScratch() {
    unlink(scratchPath.c_str());
    rmdir(scratchDirectory.c_str());
}

} // namespace

const std::string& scratchFile() {
    if (scratchPath.empty()) {
        // Rewriting a file in place on ext4 flushes it on close; tests/fuzz/run points TMPDIR
        // at a tmpfs so that a target reading files keeps its pace.
        const char* base = std::getenv("TMPDIR");
        std::string pattern =
            std::string(base != nullptr ? base : "/tmp") + "/uplinker-fuzz.XXXXXX";
        if (mkdtemp(&pattern[0]) == nullptr)
            fail("mkdtemp");
        scratchDirectory = pattern;
        scratchPath = scratchDirectory + "/input";
        std::atexit(removeScratch);
    }
    return scratchPath;
}

bool writeFile(const std::string& path, const uint8_t* data, size_t size) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    size_t done = 0;
    while (done < size) {
        const ssize_t wrote = write(fd, data + done, size - done);
        if (wrote <= 0)
            break;
        done += static_cast<size_t>(wrote);
    }
    close(fd);
    return done == size;
}

void fail(const char* what) {
    std::fprintf(stderr, "fuzz property broken: %s\n", what);
    std::abort();
}

} // namespace fuzzutil
