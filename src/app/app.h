// The failover engine: the WAN table, the indices of the current, previous, next and locked
// WAN, and the work step that turns link events, the cellular status and check verdicts into
// one switch of the uplink. It is fed typed events by the rtnetlink intake below it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "app/status_report.h"
#include "conf/conf.h"
#include "netlink/netlink_events.h"
#include "netlink/netlink_socket.h"
#include "support/paths.h"
#include "wan/wan.h"

constexpr const char* CELLULAR_WAN = "ppp0";
constexpr const char* ROAMING_WAN = "wlan0";
constexpr int32_t ROAMING_LOCK_S = 30;

class App : public netlink::EventSink {
public:
    // Where a state dump is made; each prints its own caller, number and reason.
    enum class DumpPoint {
        EndOfInit,
        EveryStep,
        Locked,
        Unlocked,
        AfterSearch,
        BeforeSwitch,
        AfterSwitch,
        ResultChanged,
        SearchStart
    };

    // What the engine has decided so far, read by tests and fuzz targets.
    struct Indices {
        int previousWan;
        int currentWan;
        int nextWan;
        int lastEnabledWan;
        int lockedWan;
        int32_t lockedUntil;
        bool searchNextInet;
        bool refreshInet;
    };

    explicit App(int dumpVerbosity);
    // Destroys the WANs in index order (each stops its check thread) and closes the socket.
    ~App() override;
    App(const App&) = delete;
    App& operator=(const App&) = delete;

    // Builds the WAN table from Conf::inst(), opens the netlink socket, asks for the link dump.
    bool init();
    // The table half of init, from a given configuration; false also when a WAN's check thread
    // could not be started.
    bool initWans(Conf& conf);
    // The netlink half of init: the socket and the link dump.
    bool openNetlink();
    // Closes the netlink socket.
    void deinit();

    // One step of the main loop: waits up to 1 s for one datagram and reads it, then decides.
    void work();
    // The decisions of a step, once the start-up dumps are complete: the roaming lock, the
    // pending switch, the cellular status and the active checks, in that order.
    void decide();
    // False once the engine has met a fatal netlink error; the main loop then ends.
    bool keepRunning() const { return running; }
    // True once the kernel has answered all three start-up dumps.
    bool started() const { return initStage == STAGE_COMPLETE; }

    // The events of the rtnetlink intake.
    void handleNewLink(const netlink::LinkEvent& event) override;
    void handleDelLink(const netlink::LinkGoneEvent& event) override;
    void handleAddress(const netlink::AddressEvent& event) override;
    void handleRoute(const netlink::RouteEvent& event) override;
    void handleNetlinkDone(uint32_t seq) override;
    void handleNetlinkError(uint32_t seq, int32_t code) override;

    // Selection and the reactions to a WAN gaining or losing internet; why, the loss in words
    // ("carrier lost"), is the cause the status file gives for a switch it brings.
    int searchNextWan(int from);
    void processInetUp(const std::string& name);
    void processInetDown(const std::string& name, const char* why);

    // Logs the whole failover state at TRACE.
    void dumpState(DumpPoint point);

    // Read-only views of the engine's state.
    Mode operatingMode() const { return mode; }
    Indices indices() const;
    const std::deque<Wan>& wanTable() const { return wans; }
    // How many times the status file's content was built: what a burst of events costs.
    uint64_t statusBuilds() const { return builds; }

private:
    // initStage: the start-up dump awaited (links, then addresses, then routes), then complete.
    static constexpr int STAGE_LINKS = 1;
    static constexpr int STAGE_ADDRESSES = 2;
    static constexpr int STAGE_ROUTES = 3;
    static constexpr int STAGE_COMPLETE = 4;

    // Pieces of the work step, in their order.
    void netlinkReadMessages();
    bool netlinkListItems(uint16_t type);
    // After a receive overrun: the start-up dumps again, once any dump under way has ended.
    void readStateAgain();
    void restartDumps();
    // While reading again: a WAN's link (address, gateway) was in the dump of that stage; at
    // its end, each WAN whose own was not is taken to have lost it.
    void noteSeen(const Wan& wan, int stage);
    void dropUnseen(int stage);
    void loseUnseen(Wan& wan, const char* why);
    // Once read again, the uplink is chosen from the top, as at start.
    void chooseAfterReading();
    void enforceRoamingLock();
    void applyRequests();
    void pollCellularStatus();
    void driveActiveChecks();

    std::deque<Wan>::iterator findWanByName(const std::string& name);
    // The enabled WAN an event of that kind about ifIndex concerns; nullptr (logged) for an
    // event about any other interface. A negative index (a route without an output interface)
    // is never taken for a WAN whose link has not been seen yet, although both carry -1.
    Wan* wanOfEvent(const char* kind, int32_t ifIndex);
    // Asks the work step for a new choice of uplink, on account of the named WAN.
    void requestSearch(const std::string& name, const char* why);
    // Index of the named WAN, or -1 for an empty or unknown name.
    int indexOfName(const std::string& name);
    // The WAN at index, or nullptr when index is outside the table.
    Wan* wanAt(int index);
    // Pins the Wi-Fi as the uplink while it re-associates.
    void lockRoamingWan(const char* name);

    // Applies currentWan: current-WAN file, default route, resolver link, hook.
    void switchInet();
    void writeCurrentWan(const std::string& name);
    void writeInterfaceState(const std::string& name, bool up);
    // Rebuilds the status file's content when something shown has changed, and replaces the
    // file when the content differs.
    void publishStatus();
    // Builds the status file's content for phase ("starting": no configuration yet, nothing
    // decided; "running") and replaces the file when the content differs.
    void writeStatus(const char* phase);

    netlink::Socket socket;
    bool running = true;
    int initStage = 0;
    // Reading the state again after an overrun, and an overrun that came during a dump.
    bool rereading = false;
    bool restartAsked = false;
    // Per WAN, the stages whose dump has shown its link, address or gateway (bit 1 << stage).
    std::vector<uint8_t> seenInDump;
    uint32_t nextSeq = 1;
    uint32_t dumpSeq = 0;
    Mode mode = Mode::Constant;
    int previousWan = -1;
    int currentWan = -1;
    int nextWan = -1;
    int lastEnabledWan = -1;
    int lockedWan = -1;
    int32_t lockedUntil = 0;
    // A deque, so that building the table never moves a Wan: each check thread keeps
    // pointing at the object that owns it.
    std::deque<Wan> wans;
    bool searchNextInet = false;
    bool refreshInet = false;
    int dumpVerbosity;
    StatusReport status;
    // The state publishStatus compares, kept to reuse its storage.
    std::vector<int64_t> shown;
    uint64_t builds = 0;
};
