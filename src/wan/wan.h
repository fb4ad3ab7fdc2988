// The runtime object of one WAN interface: its configuration, the kernel-side state, the
// engine's flags and the active-check state shared with its own check thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "conf/wan_config.h"
#include "support/ipv4_text.h"
#include "support/lock.h"
#include "support/paths.h"
#include "wan/check_state.h"
#include "wan/checking_thread.h"
#include "wan/link_quality.h"
#include "wan/probe_report.h"

class Wan {
public:
    // Copies the configuration and starts the check thread.
    explicit Wan(const WanConfig& config);
    // The check thread points at this object: a Wan is never copied or moved.
    Wan(const Wan&) = delete;
    Wan& operator=(const Wan&) = delete;
    // Stops the check thread (waiting for a running probe) before anything is freed, unless
    // teardown already did.
    ~Wan();
    // The first half of destruction, for an owner that destroys its WANs in a fixed order: logs
    // it as the destructor does and stops the check thread.
    void teardown();

    // Asks for a check: Idle -> RunActive, stamping lastCheckTime, and wakes the check thread;
    // refused in any other state.
    void checkActivate();
    // Releases a collected verdict: SuccessUp/SuccessDown/Failed -> Idle; refused otherwise.
    void checkDone();
    // The check state, read under the lock: the check thread writes it.
    CheckState readCheckState() const;
    // targetsAnswered and targetsProbed of the last verdict, read together under the lock.
    void readTargetCounts(uint32_t& answered, uint32_t& probed) const;

    // Takes a collected verdict (true: up) into activeResult. A verdict against it only counts
    // toward a change, made once config.downCount (or upCount) of them came in a row; a verdict
    // that agrees drops the count. With counts of 1 every verdict is taken at once, and so is
    // the first verdict after start, as there is no known result to damp yet. checked: the WAN
    // is still checked (see pendingCount); a verdict that comes in after its checks stopped
    // starts no count.
    void weighVerdict(bool verdictUp, bool checked);
    // Ends a pending count (logged), for a caller that has just decided activeResult itself
    // or whose WAN is no longer checked.
    void clearPending();

    // A collected check's verdict (reached: enough targets answered) once its probes' loss and
    // latency have been judged: down also when the link's quality is bad. Without thresholds
    // the verdict is reached itself.
    bool judgeQuality(bool reached);
    // What a switch away from this WAN after its verdict turned down names as the cause.
    const char* downCause() const;
    // Starts the quality judgement over, for a WAN whose situation changed; true when
    // something was forgotten.
    bool forgetQuality() { return quality.clear(); }

    // Usable as the uplink: enabled, up, misc, address and gateway, and a positive verdict
    // unless it is passive or the last enabled WAN.
    bool inet() const;
    // Link, modem readiness, address and gateway: everything but the configuration and the
    // active verdict.
    bool linkReady() const { return up && misc && ipValid() && gwValid(); }
    bool ipValid() const { return address.load(std::memory_order_relaxed) != NO_ADDRESS; }
    bool gwValid() const { return gateway != NO_ADDRESS; }

    // When current, points /var/run/wan_resolv.conf at this WAN's resolver file.
    void linkResolvConf(bool current);

    WanConfig config;
    int32_t ifIndex;
    const std::string& ifname;
    bool up;
    bool misc;
    // Read by the check thread while the netlink handler writes it: one atomic 32-bit value.
    std::atomic<uint32_t> address;
    uint32_t gateway;
    bool lastEnabled;
    bool activeResult;
    CheckState checkState;
    mutable VRX::Lock lock;
    WanCheckingThread thread;
    int32_t lastCheckTime;
    // Of the last verdict the check thread stored: how many probe targets answered, and how
    // many were probed (0 when none could be: no address, or no probe could start). Written
    // with checkState and, like it, read and written only under lock.
    uint32_t targetsAnswered = 0;
    uint32_t targetsProbed = 0;
    // What each probe of the last check measured, stored and read like the counts above.
    std::vector<ProbeReport> probeReports;
    // Damping, main thread only: how many verdicts in a row have disagreed with activeResult
    // (0: no change pending) and the way they push it (true: towards up). A count begins with
    // the first verdict against a known activeResult (weighVerdict). It ends with a verdict that
    // agrees, with the change it counted toward, with the roaming lock's early unlock, and in
    // every work step that finds the WAN no longer checked (driveActiveChecks): its link,
    // address, gateway or modem gone, or the WAN ranked below the uplink. (A disabled WAN is
    // never checked, and the inventory is read once, so it never counts.) An outage leaves
    // activeResult known, so the next change needs its full count of fresh verdicts.
    uint32_t pendingCount = 0;
    bool pendingUp = false;
    // Loss and latency, main thread only; checkEpoch is the quality's epoch when the running
    // check began, so that a check begun before a change of situation brings nothing into it.
    LinkQuality quality;
    unsigned checkEpoch = 0;
    // False until the first verdict has decided activeResult.
    bool resultKnown = false;

private:
    // Starts the thread; a WAN without one would wait for a verdict forever, so that is an error.
    void startThread();

    bool tornDown = false;
};
