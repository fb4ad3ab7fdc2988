// Writing the engine's small state files under /var/run.
#pragma once

#include <string>

// Rewrites path with line and a newline, with mode 0644, truncated first, in place when it is a
// regular file of root's with one link. Anything else there (a symbolic or hard link, another
// user's file, a FIFO) is removed and the file made anew, logged at WARNING; a link's target is
// never written. When the open fails, creates directory with "mkdir -p" and tries once more.
void writeStateFile(const std::string& path, const std::string& directory, const std::string& line);
