// IPv4 route notifications: the gateway of each WAN comes from its own policy-routing table.
#include "app/app.h"
#include "support/ipv4_text.h"
#include "support/log.h"

void App::handleRoute(const netlink::RouteEvent& event) {
    const char* kind = event.added ? "RTM_NEWROUTE" : "RTM_DELROUTE";
    Wan* found = wanOfEvent(kind, event.outputIndex);
    if (found == nullptr)
        return;
    Wan& wan = *found;
    const char* name = wan.ifname.c_str();
    LOG_WAN(TRACE, name, "%s index(%d) gw(%s) table(%d)", kind, event.outputIndex,
            dottedQuad(event.gateway).c_str(), event.table);
    // Only the WAN's own table describes its gateway; the main table is ours to write.
    if (event.table != wan.config.routeTable || event.gateway == NO_ADDRESS)
        return;
    if (event.added) {
        wan.gateway = event.gateway;
        noteSeen(wan, STAGE_ROUTES);
        LOG_WAN(TRACE, name, "Gateway set to %s", dottedQuad(event.gateway).c_str());
        if (wan.inet())
            processInetUp(wan.ifname);
    } else {
        wan.gateway = NO_ADDRESS;
        LOG_WAN(TRACE, name, "Gateway deleted");
        processInetDown(wan.ifname, "gateway removed");
    }
}
