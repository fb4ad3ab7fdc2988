#include "wan/target_probes.h"

#include <atomic>
#include <memory>
#include <vector>

#include "support/log.h"
#include "support/text.h"
#include "support/thread.h"
#include "wan/checking_thread.h"
#include "wan/probe_run.h"

namespace {

// One target's probe on its own thread. Each probe is a thread of its own, not a child of a
// shared wait, so that its stop ends its program the way a check thread's stop ends one.
class TargetProbe : public VRX::Thread {
public:
    TargetProbe(WanCheckingThread& owner, const WanConfig& config, const std::string& localAddress,
                std::string host)
        : VRX::Thread("WanProbe", true), owner_(owner), config_(config),
          localAddress_(localAddress), host_(std::move(host)) {}
    ~TargetProbe() override { stop(); }
    TargetProbe(const TargetProbe&) = delete;
    TargetProbe& operator=(const TargetProbe&) = delete;

    bool done() const { return done_.load(); }
    // Read once stop has joined the thread.
    bool answered() const { return result_ == 0; }
    const ProbeReport& report() const { return report_; }

protected:
    void run() override {
        result_ = probeTarget(owner_, config_, localAddress_, host_, hostKindOf(host_), report_);
        done_.store(true);
        // The check thread waits for its probes the way it waits for work.
        owner_.wake();
    }

private:
    WanCheckingThread& owner_;
    const WanConfig& config_;
    const std::string& localAddress_;
    std::string host_;
    int result_ = -1;
    ProbeReport report_;
    std::atomic<bool> done_{false};
};

} // namespace

void probeTargets(WanCheckingThread& self, const WanConfig& config, const std::string& localAddress,
                  uint32_t& answered, uint32_t& probed, std::vector<ProbeReport>& reports) {
    std::vector<std::string> hosts{config.hostname};
    hosts.insert(hosts.end(), config.moreHosts.begin(), config.moreHosts.end());
    std::vector<std::unique_ptr<TargetProbe>> probes;
    std::vector<std::string> unstarted;
    for (const std::string& host : hosts) {
        auto probe = std::make_unique<TargetProbe>(self, config, localAddress, host);
        probe->start();
        // A target whose thread could not start is left out, counted neither way.
        if (probe->isRunning())
            probes.push_back(std::move(probe));
        else
            unstarted.push_back(host);
    }
    if (!unstarted.empty())
        LOG_WAN(ERROR, config.name, "unable to start the probe thread for %s",
                VRX::Text::join(unstarted, ' ').c_str());
    const auto pending = [&probes] {
        for (const auto& probe : probes) {
            if (!probe->done())
                return true;
        }
        return false;
    };
    while (!self.isCanceled() && pending())
        self.waitForWake();
    answered = 0;
    probed = static_cast<uint32_t>(probes.size());
    for (const auto& probe : probes) {
        // Ends a probe still running (only after a stop) and joins every thread.
        probe->stop();
        answered += probe->answered() ? 1 : 0;
        reports.push_back(probe->report());
    }
}
