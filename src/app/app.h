// The failover engine: the WAN table, the indices of the current, previous, next and locked
// WAN, the rtnetlink intake that keeps the table current, and the work step that switches.
#pragma once

#include <cstddef>
#include <cstdint>
#include <linux/netlink.h>
#include <string>
#include <vector>

#include "conf/conf.h"
#include "wan/wan.h"

constexpr const char* CURRENT_WAN_FILE = "/var/run/uplinker/current_wan";
constexpr const char* CURRENT_WAN_DIR = "/var/run/uplinker";
constexpr const char* ISTATE_DIR = "/var/run/uplinker/istate/";
constexpr const char* CELL_STATUS_FILE = "/var/run/cell/status";
constexpr const char* HOOK_PATH = "/etc/uplinker/hooks/after-switch-inet";
constexpr const char* CELLULAR_WAN = "ppp0";
constexpr const char* ROAMING_WAN = "wlan0";
constexpr int32_t ROAMING_LOCK_S = 30;
constexpr size_t NETLINK_BUFFER_SIZE = 65536;

class App {
public:
    App(bool* running, int dumpVerbosity);
    // Destroys the WANs in index order (each stops its check thread); leaves netlinkFd alone.
    ~App();
    App(const App&) = delete;
    App& operator=(const App&) = delete;

    // Builds the WAN table from Conf::inst(), opens the netlink socket, asks for the link dump.
    bool init();
    // The table half of init, from a given configuration (tests pass their own).
    bool initWans(Conf& conf);
    // The netlink half of init: socket, bind to groups 0x51, SO_PASSCRED, link dump.
    bool openNetlink();
    // Closes the netlink socket.
    void deinit();

    // One step of the main loop: wait up to 1 s for netlink input, then lock, switch, cellular
    // status and active checks.
    void work();
    // Pieces of the work step, in their order.
    void enforceRoamingLock();
    void applyRequests();
    void pollCellularStatus();
    void driveActiveChecks();

    // Selection and the reactions to a WAN gaining or losing internet.
    int searchNextWan(int from);
    void processInetUp(const std::string& name);
    void processInetDown(const std::string& name);
    std::vector<Wan>::iterator findWanByName(const std::string& name);
    // Index of the first WAN whose ifIndex matches, or -1.
    int findWanByIndex(int32_t ifIndex) const;

    // Applies currentWan: current-WAN file, default route, resolver link, hook.
    void switchInet();
    void writeCurrentWan(const std::string& name);
    void writeInterfaceState(const std::string& name, bool up);

    // Logs the whole failover state at TRACE.
    void dumpState(const char* caller, int line, const char* reason);

    // Netlink intake.
    bool netlinkListItems(uint16_t type);
    // Reads one datagram (root senders only) and handles it.
    void netlinkReadMessages();
    // Walks the messages of one datagram; every length is checked before it is used.
    void netlinkHandleDatagram(const uint8_t* data, size_t length);
    void handleNetlinkDone(const nlmsghdr* message);
    void handleNetlinkError(const nlmsghdr* message);
    void handleNewLink(const nlmsghdr* message);
    void handleDelLink(const nlmsghdr* message);
    void handleAddress(const nlmsghdr* message, bool added);
    void handleRoute(const nlmsghdr* message, bool added);

    bool* running;
    int netlinkFd;
    int initStage;
    uint32_t nextSeq;
    uint32_t dumpSeq;
    Mode mode;
    int previousWan;
    int currentWan;
    int nextWan;
    int lastEnabledWan;
    int lockedWan;
    int32_t lockedUntil;
    std::vector<Wan> wans;
    bool searchNextInet;
    bool refreshInet;
    int dumpVerbosity;
};
