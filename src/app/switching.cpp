// Applying the engine's choice to the system: current-WAN file, default route, resolver link
// and the after-switch hook, always in that order.
#include <string>

#include "app/app.h"
#include "app/state_file.h"
#include "support/ipv4_text.h"
#include "support/log.h"
#include "support/shell.h"
#include "support/stop_grace.h"

namespace {

// Replaces the main table's default route with one through the given WAN. The two commands are
// one act: once the deletion has started, the addition runs under its own bound even when a
// stop's grace period ends meanwhile, so that a stop never leaves the table without a default
// route.
void replaceDefaultRoute(const Wan& wan) {
    const std::string del = "ip route del default table main";
    LOG_TRACE("App::switchInet: %s", del.c_str());
    runShell(del, COMMAND_TIMEOUT_S);
    // Interface names come from the configuration service; shellWord keeps an odd one a
    // single inert word.
    const std::string add = "ip route add default via " + dottedQuad(wan.gateway) + " dev " +
                            shellWord(wan.ifname) + " table main";
    LOG_TRACE("App::switchInet: %s", add.c_str());
    runShell(add, COMMAND_TIMEOUT_S, StopGrace::Waived);
}

// " -d up" when the uplink moved to a more preferred WAN or appeared, " -d down" when it moved
// to a less preferred one or vanished, nothing for a refresh.
const char* hookDirection(int previousWan, int currentWan) {
    if (currentWan == -1)
        return previousWan != -1 ? " -d down" : "";
    if (previousWan == currentWan)
        return "";
    if (previousWan == -1 || previousWan > currentWan)
        return " -d up";
    return " -d down";
}

} // namespace

void App::writeCurrentWan(const std::string& name) {
    writeStateFile(CURRENT_WAN_FILE, CURRENT_WAN_DIR, name);
}

void App::switchInet() {
    if (stopGraceOver()) {
        // Its route commands would not start: the current-WAN file keeps naming the route that
        // stays.
        LOG_DEBUG("switch not begun, the stop request's grace period is over");
        return;
    }
    const bool haveWan = currentWan >= 0 && static_cast<size_t>(currentWan) < wans.size();
    if (!haveWan) {
        LOG_TRACE("App::switchInet: Current wan is -1");
        writeCurrentWan("");
    } else {
        const Wan& wan = wans[currentWan];
        LOG_TRACE("App::switchInet: Current wan is %s (%d)", wan.ifname.c_str(), currentWan);
        writeCurrentWan(wan.ifname);
        replaceDefaultRoute(wan);
        for (size_t index = 0; index < wans.size(); ++index)
            wans[index].linkResolvConf(static_cast<int>(index) == currentWan);
    }
    std::string hook = HOOK_PATH;
    if (haveWan)
        hook += " -i " + shellWord(wans[currentWan].ifname);
    hook += hookDirection(previousWan, haveWan ? currentWan : -1);
    LOG_TRACE("App::switchInet: %s", hook.c_str());
    runShell(hook, HOOK_TIMEOUT_S);
}
