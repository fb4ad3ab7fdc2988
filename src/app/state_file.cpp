#include "app/state_file.h"

#include "support/shell.h"

bool openStateFile(std::ofstream& out, const std::string& path, const std::string& directory) {
    out.open(path, std::ios::out | std::ios::trunc);
    if (out.is_open())
        return true;
    // /var/run is a tmpfs: the directory is gone after every boot, so it is created lazily.
    runShell("mkdir -p " + directory, COMMAND_TIMEOUT_S);
    out.clear();
    out.open(path, std::ios::out | std::ios::trunc);
    return out.is_open();
}
