#include "wan/checking_thread.h"

#include "support/ipv4_text.h"
#include "support/log.h"
#include "support/system.h"
#include "support/text.h"
#include "wan/wan.h"

namespace {

// An ICMP probe may send one request a second, as ping tools commonly do, and then wait up to
// 10 s for a late reply; the slack covers its start and a name lookup. A probe still running
// after that has hung and is killed.
constexpr unsigned int ICMP_LATE_REPLY_MS = 10000;
constexpr unsigned int ICMP_REQUEST_MS = 1000;
constexpr unsigned int PROBE_SLACK_MS = 10000;
// A TCP check makes one connection, however it is configured.
constexpr unsigned int TCP_PROBE_LIMIT_MS = 60000;

// What one pass works on, taken together under the Wan's lock.
struct Snapshot {
    CheckState state;
    WanConfig config;
    uint32_t address;
};

Snapshot takeSnapshot(Wan& wan) {
    VRX::LockGuard guard(wan.lock);
    return Snapshot{wan.checkState, wan.config, wan.address.load()};
}

void storeVerdict(Wan& wan, CheckState verdict) {
    VRX::LockGuard guard(wan.lock);
    wan.checkState = verdict;
}

// The probe command and its argument vector; ICMP is bound by source address, the TCP check
// by interface name.
void buildProbe(const WanConfig& config, const std::string& localAddress, const std::string& target,
                std::string& command, std::vector<std::string>& arguments) {
    if (config.checkType == CheckType::Tcp) {
        command = "inet-check";
        arguments = {"-m", "active", "-h", target, "-t", "tcp", "-p"};
        arguments.push_back(std::to_string(config.tcpPort));
        arguments.push_back(config.name);
        return;
    }
    command = "uplinker-ping";
    arguments = {"-I", localAddress, "-c", std::to_string(config.icmpCount), target};
}

// The probe target: the configured host, or the first address its name resolves to through
// the WAN's own name servers. An unresolved name is still probed; the tool may resolve it.
std::string resolveTarget(WanCheckingThread& self, const WanConfig& config,
                          const std::string& localAddress) {
    if (config.hostKind != HostKind::Fqdn)
        return config.hostname;
    const char* name = config.name.c_str();
    std::vector<std::string> servers;
    if (!self.readNameservers(servers, config.resolvFile)) {
        LOG_WAN(TRACE, name, "Unable to get list of nameservers");
        return config.hostname;
    }
    std::vector<std::string> addresses;
    if (!self.resolveHost(addresses, servers, localAddress, config, config.hostname) ||
        addresses.empty()) {
        LOG_WAN(TRACE, name, "Unable to resolve %s", config.hostname.c_str());
        return config.hostname;
    }
    LOG_WAN(TRACE, name, "The hostname %s successfully resolved", config.hostname.c_str());
    return addresses.front();
}

// The run-time bound of a probe follows the work asked of it: 255 requests a second apart
// must not be cut short.
unsigned int probeLimitMs(const WanConfig& config) {
    if (config.checkType == CheckType::Tcp)
        return TCP_PROBE_LIMIT_MS;
    return config.icmpCount * ICMP_REQUEST_MS + ICMP_LATE_REPLY_MS + PROBE_SLACK_MS;
}

// One requested check, from the snapshot to the stored verdict. No lock is held while the
// lookup or the probe runs, so the main thread never waits for them.
void runCheck(WanCheckingThread& self, const Snapshot& snapshot) {
    const WanConfig& config = snapshot.config;
    const char* name = config.name.c_str();
    if (snapshot.address == NO_ADDRESS) {
        LOG_WAN(TRACE, name, "Active check failed since wan up addess is not available");
        storeVerdict(*self.wan, CheckState::SuccessDown);
        return;
    }
    std::string localAddress = dottedQuad(snapshot.address);
    std::string target = resolveTarget(self, config, localAddress);
    std::string command;
    std::vector<std::string> arguments;
    buildProbe(config, localAddress, target, command, arguments);
    LOG_WAN(TRACE, name, "Run checking active -> %s %s", command.c_str(),
            VRX::Text::join(arguments, ' ').c_str());
    std::string output;
    int result = VRX::System::execute(command, arguments, output, probeLimitMs(config));
    // A stop during the probe means the Wan is being destroyed: nobody collects the verdict.
    if (self.isCanceled()) {
        LOG_WAN(TRACE, name, "Active checking canceled");
        return;
    }
    storeVerdict(*self.wan, result == 0 ? CheckState::SuccessUp : CheckState::SuccessDown);
}

} // namespace

WanCheckingThread::WanCheckingThread(Wan* owner) : VRX::Thread("WanChecking", true), wan(owner) {}

WanCheckingThread::~WanCheckingThread() = default;

void WanCheckingThread::checkingThread() {
    LOG_TRACE("WanCheckingThread::checkingThread");
    while (!isCanceled()) {
        // Almost every pass finds nothing to do; copying the configuration (several strings)
        // on each of them would be most of an idle thread's cost.
        if (wan->readCheckState() == CheckState::RunActive) {
            Snapshot snapshot = takeSnapshot(*wan);
            if (snapshot.state == CheckState::RunActive)
                runCheck(*this, snapshot);
        }
        // Nothing to do until the engine asks for a check or the Wan is destroyed; both wake
        // this thread, so an idle WAN costs no wake-ups at all.
        waitForWake();
    }
}
