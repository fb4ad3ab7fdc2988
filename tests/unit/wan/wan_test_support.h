// Helpers for the WAN tests: configurations, addresses and a locked view of the check state.
#pragma once

#include <arpa/inet.h>
#include <cstdint>
#include <fstream>
#include <string>
#include <sys/stat.h>

#include "common/test_util.h"
#include "conf/wan_config.h"
#include "wan/wan.h"

namespace wantest {

// An enabled, actively monitored WAN with its resolver file at the usual place.
inline WanConfig makeConfig(const std::string& name = "eth1") {
    WanConfig config;
    config.name = name;
    config.type = Ethernet;
    config.enabled = true;
    config.priority = 1;
    config.monitorMode = Active;
    config.checkInterval = 60;
    config.shortCheckInterval = 10;
    config.checkType = Icmp;
    config.hostname = "192.0.2.1";
    config.hostKind = Ipv4;
    config.icmpCount = 4;
    config.resolvFile = "/var/run/resolv_" + name + ".conf";
    return config;
}

// Dotted quad to the network-order value the kernel delivers.
inline uint32_t ipv4(const char* text) {
    in_addr raw{};
    inet_pton(AF_INET, text, &raw);
    return raw.s_addr;
}

inline CheckState stateOf(Wan& wan) {
    VRX::LockGuard guard(wan.lock);
    return wan.checkState;
}

inline void setState(Wan& wan, CheckState state) {
    VRX::LockGuard guard(wan.lock);
    wan.checkState = state;
}

// Installs a shell script as a program first on PATH, for tools whose answer depends on their
// arguments (the fixed recorders answer every call alike).
inline void addScript(const testutil::RecorderTools& tools, const std::string& name,
                      const std::string& body) {
    std::string path = tools.binDir() + "/" + name;
    {
        std::ofstream out(path, std::ios::trunc);
        out << "#!/bin/sh\n" << body;
    }
    chmod(path.c_str(), 0755);
}

} // namespace wantest
