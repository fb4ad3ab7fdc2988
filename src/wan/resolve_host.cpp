#include "wan/checking_thread.h"

#include <arpa/inet.h>

#include "support/log.h"
#include "support/lookup_text.h"
#include "support/system.h"
#include "support/text.h"
#include "wan/line_scan.h"

namespace {

// Appends every address that one lookup printed; true when there was at least one. Only a
// dotted quad counts: the text becomes the probe's target, and a tool that prints anything else
// after the label has not found an address.
bool collectAddresses(const std::string& output, std::vector<std::string>& addresses) {
    bool seen = false;
    for (const std::string& line : wanscan::lines(output)) {
        std::string address;
        in_addr parsed{};
        if (!wanscan::valueAfter(line, FOUND_IPV4, address) ||
            inet_pton(AF_INET, address.c_str(), &parsed) != 1)
            continue;
        seen = true;
        addresses.push_back(address);
    }
    return seen;
}

} // namespace

// Servers are asked one after another from the WAN's own address, so that the query leaves
// through this interface like the probe that follows.
bool WanCheckingThread::resolveHost(std::vector<std::string>& addresses,
                                    const std::vector<std::string>& servers,
                                    const std::string& localAddress, const WanConfig& config,
                                    const std::string& hostname) {
    for (const std::string& server : servers) {
        std::vector<std::string> arguments = {"--bind-address", localAddress, "--dns-address",
                                              server, hostname};
        LOG_WAN(DEBUG, config.name, "DNS resolve cmd: vrx-dig %s",
                VRX::Text::join(arguments, ' ').c_str());
        std::string output;
        int result = VRX::System::execute("vrx-dig", arguments, output);
        LOG_WAN(DEBUG, config.name, "DNS resolve returned %d", result);
        if (result != 0 || !collectAddresses(output, addresses))
            continue;
        LOG_WAN(DEBUG, config.name, "Resolved IPs: %s", VRX::Text::join(addresses, ',').c_str());
        return true;
    }
    return false;
}
