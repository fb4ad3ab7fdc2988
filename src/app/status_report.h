// The status file: what the engine decided and why, for people and scripts. The engine feeds it
// what the WAN table cannot tell afterwards (the last switch and its cause, the time of each
// verdict) and, every work step, the state it shows as numbers; the file is rebuilt only when
// either changed, and replaced only when its text differs from the last one written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

class Wan;

class StatusReport {
public:
    // A WAN's last collected verdict; an empty result means none yet. The target counts are
    // kept only for a WAN with several targets.
    struct Verdict {
        const char* result = "";
        int64_t time = 0;
        bool counted = false;
        uint32_t answered = 0;
        uint32_t probed = 0;
    };
    // The last move of the uplink; names are empty for none. A clock without a battery may
    // well read 1970 at boot, so no time value stands for "none yet".
    struct Switch {
        std::string from;
        std::string to;
        std::string cause;
        int64_t time = 0;
        bool made = false;
    };
    // A WAN's verdicts since the start, by result.
    struct VerdictCounts {
        uint64_t up = 0;
        uint64_t down = 0;
        uint64_t failed = 0;
    };

    // Notes who writes the file: a reader checks both against /proc, so that a file a dead
    // daemon left is never taken for a live one's.
    StatusReport();
    pid_t writerPid() const { return pid; }
    uint64_t writerStartTime() const { return startTime; }

    // True when a note was taken since the last publish or shown, the engine's state as the
    // file shows it, differs from the last one given; keeps shown (swapping buffers with it).
    bool due(std::vector<int64_t>& shown);
    // The event that asked for the next choice of uplink: "name: what happened".
    void requestedBy(const std::string& name, const char* what);
    // The uplink moved, or was first applied, under the cause last requested; it is counted
    // under that cause's reason.
    void noteSwitch(const Wan* from, const Wan* to);
    const Switch& lastSwitch() const { return last; }
    // The moves since the start by reason, only the reasons met so far.
    const std::map<std::string, uint64_t>& switchCounts() const { return switches; }
    void noteVerdict(size_t index, const char* result, const Wan& wan);
    Verdict verdict(size_t index) const;
    VerdictCounts verdictCounts(size_t index) const;
    // Replaces the file with text unless that is what it holds already.
    void publish(const std::string& text);
    // At stop the file goes: a status file without a daemon would claim decisions nobody makes.
    static void remove();

    // Wall-clock seconds of a monotonic second, converted with the clocks' offset as it is now.
    static int64_t wallSeconds(int32_t monotonic);

private:
    pid_t pid;
    uint64_t startTime = 0;
    bool dirty = false;
    std::vector<int64_t> lastShown;
    std::string cause = "start";
    std::string reason = "start";
    Switch last;
    std::map<std::string, uint64_t> switches;
    std::vector<Verdict> verdicts;
    std::vector<VerdictCounts> tallies;
    std::string written;
};
