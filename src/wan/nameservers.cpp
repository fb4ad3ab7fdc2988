#include "wan/checking_thread.h"

#include "support/system.h"
#include "wan/line_scan.h"

// The keyword may stand anywhere in a line, so a commented-out server counts too; resolver
// files are written by other programs that do not leave such lines behind.
bool WanCheckingThread::readNameservers(std::vector<std::string>& servers,
                                        const std::string& resolvFile) {
    std::string content;
    if (VRX::System::readFile(resolvFile, content) != 0)
        return false;
    bool seen = false;
    for (const std::string& line : wanscan::lines(content)) {
        std::string server;
        if (!wanscan::valueAfter(line, "nameserver", server))
            continue;
        seen = true;
        servers.push_back(server);
    }
    return seen;
}
