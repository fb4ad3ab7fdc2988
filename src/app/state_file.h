// Writing the engine's small state files under /var/run.
#pragma once

#include <string>

// Rewrites path with line and a newline, with mode 0644, truncated first, in place when it is a
// regular file of root's with one link. Anything else there (a symbolic or hard link, another
// user's file, a FIFO, an empty directory) is removed and the file made anew, logged at WARNING;
// a link's target is never written. What cannot be removed (a directory with something in it)
// is logged once, not at every write. When the open fails for any other reason than a
// directory, creates directory with "mkdir -p" and tries once more.
void writeStateFile(const std::string& path, const std::string& directory, const std::string& line);

// Removes path when it is a directory and empty; true when it was one and is gone. Other
// things at path are left to unlink.
bool removeEmptyDirectory(const std::string& path);
// True the first time path is found blocked since it was last written: its WARNING is due.
bool firstTimeBlocked(const std::string& path);
// path was written: a later block is news again.
void noLongerBlocked(const std::string& path);
