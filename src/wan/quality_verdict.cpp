// A check's verdict with the link's quality in it: a link that answers, but badly, is down.
#include "support/log.h"
#include "wan/wan.h"

namespace {

std::vector<ProbeReport> readReports(const Wan& wan) {
    VRX::LockGuard guard(wan.lock);
    return wan.probeReports;
}

} // namespace

bool Wan::judgeQuality(bool reached) {
    if (!config.quality.any())
        return reached;
    const LinkQuality::Judgement before = quality.judgement();
    // A check begun before the WAN's situation changed measured a link that is gone.
    if (checkEpoch == quality.epoch())
        quality.take(readReports(*this), config.quality);
    if (quality.judgement() != before && quality.bad())
        LOG_WAN(TRACE, ifname, "Link quality bad: %s", quality.crossing().c_str());
    else if (quality.judgement() != before)
        LOG_WAN(TRACE, ifname, "Link quality good");
    quality.noteVerdict(reached);
    return reached && !quality.bad();
}

const char* Wan::downCause() const {
    return quality.byThreshold() ? quality.crossing().c_str() : "probe failed";
}
