// The active-check thread of one WAN: runs the probe the engine asks for and stores the verdict.
#pragma once

#include <string>
#include <vector>

#include "conf/wan_config.h"
#include "support/thread.h"

class Wan;

class WanCheckingThread : public VRX::Thread {
public:
    explicit WanCheckingThread(Wan* wan);
    ~WanCheckingThread() override;

    // The run method: sleeps until woken, probing whenever the state is RunActive, until
    // cancelled.
    void checkingThread();

    // Appends the name servers of a resolver file; true when a "nameserver" line was found.
    bool readNameservers(std::vector<std::string>& servers, const std::string& resolvFile);
    // Asks the servers in turn with "vrx-dig" from localAddress; true when one answered with
    // at least one address, which are then in addresses.
    bool resolveHost(std::vector<std::string>& addresses, const std::vector<std::string>& servers,
                     const std::string& localAddress, const WanConfig& config,
                     const std::string& hostname);

    Wan* wan;

protected:
    void run() override { checkingThread(); }
};
