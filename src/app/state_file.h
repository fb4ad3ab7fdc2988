// Opening the engine's small state files under /var/run.
#pragma once

#include <fstream>
#include <string>

// Opens path for writing with truncation; when that fails, creates directory with "mkdir -p"
// and tries once more. False when the file still cannot be opened.
bool openStateFile(std::ofstream& out, const std::string& path, const std::string& directory);
