// The selection policy: which WAN should carry the default route, and the reactions to a WAN
// gaining or losing internet. The reactions only record requests; the work step acts on them.
#include <algorithm>

#include "app/app.h"
#include "support/log.h"

namespace {

const char* const USABLE_AGAIN = "usable again";

} // namespace

int App::indexOfName(const std::string& name) {
    if (name.empty())
        return -1;
    auto it = findWanByName(name);
    if (it == wans.end())
        return -1;
    return static_cast<int>(it - wans.begin());
}

int App::searchNextWan(int from) {
    LOG_TRACE("App::searchNextWan for %d", from);
    if (dumpVerbosity != 0)
        dumpState(DumpPoint::SearchStart);
    // Positions are unsigned 32-bit: -1 wraps to the top of the table, any other negative start
    // lies beyond its end.
    const uint32_t start = static_cast<uint32_t>(from) + 1u;
    for (size_t index = start; index < wans.size(); ++index) {
        if (!wans[index].config.enabled)
            continue;
        if (mode != Mode::Constant && mode != Mode::Failover) {
            LOG_WARNING("Unsupported mode");
            continue;
        }
        if (wans[index].inet()) {
            LOG_TRACE("App::searchNextWan: next wan found %u", static_cast<unsigned>(index));
            return static_cast<int>(index);
        }
        // In Constant mode only the first enabled WAN after the start may be chosen.
        if (mode == Mode::Constant)
            return -1;
    }
    return -1;
}

void App::processInetDown(const std::string& name, const char* why) {
    LOG_WAN(TRACE, name, "App::processInetDown");
    writeInterfaceState(name, false);
    // Requests measured before a link, modem, address or gateway was lost say nothing about
    // the link that comes back.
    const auto wan = findWanByName(name);
    if (wan != wans.end() && !wan->linkReady())
        wan->forgetQuality();
    const int index = indexOfName(name);
    if (!started()) {
        // Read again after an overrun, the choice waits for the whole picture: a loss of the
        // uplink meanwhile is the cause of the switch it brings.
        if (rereading && index != -1 && index == currentWan)
            status.requestedBy(name, why);
        return;
    }
    const bool isCurrent = index != -1 && index == currentWan;
    if (mode == Mode::Constant) {
        if (isCurrent) {
            previousWan = currentWan;
            currentWan = -1;
            refreshInet = true;
            status.requestedBy(name, why);
        }
    } else if (mode == Mode::Failover) {
        if (isCurrent)
            requestSearch(name, why);
        else
            refreshInet = true;
    } else {
        LOG_WARNING("Unsupported mode");
    }
}

void App::processInetUp(const std::string& name) {
    LOG_WAN(TRACE, name, "App::processInetUp");
    writeInterfaceState(name, true);
    if (!started())
        return;
    const int index = indexOfName(name);
    if (mode == Mode::Constant) {
        if (index == -1)
            return;
        if (currentWan == -1)
            requestSearch(name, USABLE_AGAIN);
        else if (index == currentWan)
            refreshInet = true;
    } else if (mode == Mode::Failover) {
        if (index != -1 && currentWan == -1) {
            requestSearch(name, USABLE_AGAIN);
        } else if (index != -1 && currentWan > index) {
            // A more preferred WAN is back: switch to it without searching.
            nextWan = index;
            requestSearch(name, USABLE_AGAIN);
        } else {
            // An unknown name, or a WAN ranked at or below the uplink: apply the choice again.
            refreshInet = true;
        }
    } else {
        LOG_WARNING("Unsupported mode");
    }
}

void App::requestSearch(const std::string& name, const char* why) {
    searchNextInet = true;
    status.requestedBy(name, why);
}

std::deque<Wan>::iterator App::findWanByName(const std::string& name) {
    return std::find_if(wans.begin(), wans.end(),
                        [&name](const Wan& wan) { return wan.ifname == name; });
}

Wan* App::wanOfEvent(const char* kind, int32_t ifIndex) {
    for (Wan& wan : wans) {
        if (ifIndex >= 0 && wan.ifIndex == ifIndex) {
            if (!wan.config.enabled)
                break;
            return &wan;
        }
    }
    LOG_TRACE("%s: index(%d) skipping as not wan interface", kind, ifIndex);
    return nullptr;
}
