// The state dump: a readable snapshot of the failover state at the engine's decision points.
#include "app/app.h"
#include "app/bool_text.h"
#include "support/clock.h"
#include "support/log.h"

namespace {

void dumpWan(Wan& wan, size_t index, bool current) {
    const bool active = wan.config.monitorMode == Active;
    const char* stateName = active ? checkStateName(wan.readCheckState()) : "";
    LOG_TRACE("  %s%2d %-6s: %s Inet=%-5s Up=%-5s, IpValid=%-5s, GwValid=%-5s, Misc=%-5s, "
              "ActiveResult=%-5s[%s]",
              current ? "*" : " ", static_cast<int>(index), wan.ifname.c_str(),
              wan.config.enabled ? "enabled" : "       ", boolText(wan.inet()), boolText(wan.up),
              boolText(wan.ipValid()), boolText(wan.gwValid()), boolText(wan.misc),
              boolText(!active || wan.activeResult), stateName);
}

} // namespace

void App::dumpState(const char* caller, int line, const char* reason) {
    LOG_TRACE("Current wan interfaces state [%s:%d]: %s", caller ? caller : "", line,
              reason ? reason : "");
    for (size_t index = 0; index < wans.size(); ++index)
        dumpWan(wans[index], index, static_cast<int>(index) == currentWan);
    LOG_TRACE("      wans  : currentWan=%-2d previousWan=%-2d searchNextInet=%-2d nextWan=%-2d, "
              "lastEnabledWan=%2d",
              currentWan, previousWan, searchNextInet ? 1 : 0, nextWan, lastEnabledWan);
    if (lockedWan != -1)
        LOG_TRACE("  ! LOCKED  : lockedWan=%-2d, %ld seconds remaining", lockedWan,
                  static_cast<long>(lockedUntil) - static_cast<long>(monotonicSeconds()));
}
