// The state dump: a readable snapshot of the failover state at the engine's decision points.
#include "app/app.h"
#include "app/bool_text.h"
#include "support/clock.h"
#include "support/log.h"

namespace {

void dumpWan(Wan& wan, size_t index, bool current) {
    const bool active = wan.config.monitorMode == MonitorMode::Active;
    const char* stateName = active ? checkStateName(wan.readCheckState()) : "";
    LOG_TRACE("  %s%2d %-6s: %s Inet=%-5s Up=%-5s, IpValid=%-5s, GwValid=%-5s, Misc=%-5s, "
              "ActiveResult=%-5s[%s]",
              current ? "*" : " ", static_cast<int>(index), wan.ifname.c_str(),
              wan.config.enabled ? "enabled" : "       ", boolText(wan.inet()), boolText(wan.up),
              boolText(wan.ipValid()), boolText(wan.gwValid()), boolText(wan.misc),
              boolText(!active || wan.activeResult), stateName);
}

} // namespace

namespace {

// The caller, number and reason each dump point prints, in the order of App::DumpPoint. The
// numbers are labels that readers of the log search for; they are not line numbers.
struct DumpLabel {
    const char* caller;
    int number;
    const char* reason;
};
const DumpLabel DUMP_LABELS[] = {
    {"init", 172, "At the end of App::init()"},
    {"work", 211, ""},
    {"work", 229, "In locked state, all state variables are fixed"},
    {"work", 261, "State variables right after unlocking"},
    {"work", 272, "After searchNextWan()"},
    {"work", 282, "Before switchInet()"},
    {"work", 286, "After switchInet()"},
    {"work", 373, "After active check result change"},
    {"searchNextWan", 392, "At the beginning of searchNextWan()"},
};

} // namespace

void App::dumpState(DumpPoint point) {
    const DumpLabel& label = DUMP_LABELS[static_cast<size_t>(point)];
    LOG_TRACE("Current wan interfaces state [%s:%d]: %s", label.caller, label.number, label.reason);
    for (size_t index = 0; index < wans.size(); ++index)
        dumpWan(wans[index], index, static_cast<int>(index) == currentWan);
    LOG_TRACE("      wans  : currentWan=%-2d previousWan=%-2d searchNextInet=%-2d nextWan=%-2d, "
              "lastEnabledWan=%2d",
              currentWan, previousWan, searchNextInet ? 1 : 0, nextWan, lastEnabledWan);
    if (lockedWan != -1)
        LOG_TRACE("  ! LOCKED  : lockedWan=%-2d, %ld seconds remaining", lockedWan,
                  static_cast<long>(lockedUntil) - static_cast<long>(monotonicSeconds()));
}
