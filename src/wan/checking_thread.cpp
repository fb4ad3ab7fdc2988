#include "wan/checking_thread.h"

#include "support/ipv4_text.h"
#include "support/log.h"
#include "wan/probe_run.h"
#include "wan/target_probes.h"
#include "wan/wan.h"

namespace {

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

void storeVerdict(Wan& wan, CheckState verdict, uint32_t answered, uint32_t probed,
                  std::vector<ProbeReport> reports) {
    VRX::LockGuard guard(wan.lock);
    wan.checkState = verdict;
    wan.targetsAnswered = answered;
    wan.targetsProbed = probed;
    wan.probeReports = std::move(reports);
}

// Up when enough targets answered, down when too few did whatever the probes that could not
// start would have said, and no verdict at all otherwise: a probe that could not start is no
// answer either way.
CheckState verdictOf(const WanConfig& config, uint32_t answered, uint32_t probed) {
    const auto targets = static_cast<uint32_t>(config.moreHosts.size() + 1);
    if (probed < config.reliability)
        return CheckState::Failed;
    if (answered >= config.reliability)
        return CheckState::SuccessUp;
    return answered + (targets - probed) < config.reliability ? CheckState::SuccessDown
                                                              : CheckState::Failed;
}

// One requested check, from the snapshot to the stored verdict. No lock is held while the
// lookup or the probe runs, so the main thread never waits for them.
void runCheck(WanCheckingThread& self, const Snapshot& snapshot) {
    const WanConfig& config = snapshot.config;
    const char* name = config.name.c_str();
    if (snapshot.address == NO_ADDRESS) {
        LOG_WAN(TRACE, name, "Active check failed since wan up addess is not available");
        storeVerdict(*self.wan, CheckState::SuccessDown, 0, 0, {});
        return;
    }
    std::string localAddress = dottedQuad(snapshot.address);
    uint32_t answered = 0;
    uint32_t probed = 1;
    std::vector<ProbeReport> reports(1);
    if (config.moreHosts.empty()) {
        answered = probeTarget(self, config, localAddress, config.hostname, config.hostKind,
                               reports.front()) == 0
                       ? 1
                       : 0;
    } else {
        reports.clear();
        probeTargets(self, config, localAddress, answered, probed, reports);
    }
    // A stop during the probe means the Wan is being destroyed: nobody collects the verdict.
    if (self.isCanceled()) {
        LOG_WAN(TRACE, name, "Active checking canceled");
        return;
    }
    storeVerdict(*self.wan, verdictOf(config, answered, probed), answered, probed,
                 std::move(reports));
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
