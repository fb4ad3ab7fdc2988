#include "wan/probe_run.h"

#include "support/log.h"
#include "support/system.h"
#include "support/text.h"
#include "wan/checking_thread.h"

namespace {

// An ICMP probe may send one request a second, as ping tools commonly do, and then wait up to
// 10 s for a late reply; the slack covers its start and a name lookup. A probe still running
// after that has hung and is killed.
constexpr unsigned int ICMP_LATE_REPLY_MS = 10000;
constexpr unsigned int ICMP_REQUEST_MS = 1000;
constexpr unsigned int PROBE_SLACK_MS = 10000;
// A TCP check makes one connection, however it is configured.
constexpr unsigned int TCP_PROBE_LIMIT_MS = 60000;

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
    // Judging loss and latency needs every request's reply, not only the first one.
    if (config.quality.any())
        arguments.insert(arguments.begin(), "-a");
}

// The probe target: the configured host, or the first address its name resolves to through
// the WAN's own name servers. An unresolved name is still probed; the tool may resolve it.
std::string resolveTarget(WanCheckingThread& self, const WanConfig& config,
                          const std::string& localAddress, const std::string& host, HostKind kind) {
    if (kind != HostKind::Fqdn)
        return host;
    const char* name = config.name.c_str();
    std::vector<std::string> servers;
    if (!self.readNameservers(servers, config.resolvFile)) {
        LOG_WAN(TRACE, name, "Unable to get list of nameservers");
        return host;
    }
    std::vector<std::string> addresses;
    if (!self.resolveHost(addresses, servers, localAddress, config, host) || addresses.empty()) {
        LOG_WAN(TRACE, name, "Unable to resolve %s", host.c_str());
        return host;
    }
    LOG_WAN(TRACE, name, "The hostname %s successfully resolved", host.c_str());
    return addresses.front();
}

// The run-time bound of a probe follows the work asked of it: 255 requests a second apart
// must not be cut short.
unsigned int probeLimitMs(const WanConfig& config) {
    if (config.checkType == CheckType::Tcp)
        return TCP_PROBE_LIMIT_MS;
    return config.icmpCount * ICMP_REQUEST_MS + ICMP_LATE_REPLY_MS + PROBE_SLACK_MS;
}

} // namespace

int probeTarget(WanCheckingThread& self, const WanConfig& config, const std::string& localAddress,
                const std::string& host, HostKind kind, ProbeReport& report) {
    std::string target = resolveTarget(self, config, localAddress, host, kind);
    std::string command;
    std::vector<std::string> arguments;
    buildProbe(config, localAddress, target, command, arguments);
    LOG_WAN(TRACE, config.name, "Run checking active -> %s %s", command.c_str(),
            VRX::Text::join(arguments, ' ').c_str());
    std::string output;
    const int result = VRX::System::execute(command, arguments, output, probeLimitMs(config));
    if (!parseProbeReport(output, report))
        report = ProbeReport{1, result == 0 ? 1U : 0U, 0, false};
    return result;
}
