// Writing the engine's small state files under /var/run.
#pragma once

#include <string>

// Rewrites path with line and a newline, with mode 0644, truncated first. Never through a
// symbolic link, and only into a regular file of root's with one link. When the open fails,
// creates directory with "mkdir -p" and tries once more; after that nothing is written.
void writeStateFile(const std::string& path, const std::string& directory, const std::string& line);
