// IPv4 address notifications of the WAN interfaces.
#include <linux/rtnetlink.h>

#include "app/app.h"
#include "support/ipv4_text.h"
#include "support/log.h"

namespace {

// Addresses such as 169.254.0.0/16 cannot carry the uplink's traffic.
constexpr uint8_t SCOPE_LINK = RT_SCOPE_LINK;

} // namespace

void App::handleAddress(const netlink::AddressEvent& event) {
    const char* kind = event.added ? "RTM_NEWADDR" : "RTM_DELADDR";
    Wan* found = wanOfEvent(kind, event.ifIndex);
    if (found == nullptr)
        return;
    Wan& wan = *found;
    const char* name = wan.ifname.c_str();
    if (event.scope == SCOPE_LINK) {
        LOG_WAN(TRACE, name, "%s Skipping link-local address", kind);
        return;
    }
    LOG_WAN(TRACE, name, "%s index(%d)", kind, event.ifIndex);
    // Each address is acted on in turn: with several, the last one announced stays.
    for (const uint32_t address : event.locals) {
        if (event.added) {
            wan.address.store(address);
            noteSeen(wan, STAGE_ADDRESSES);
            LOG_WAN(TRACE, name, "Address changed to %s", dottedQuad(address).c_str());
            if (wan.inet())
                processInetUp(wan.ifname);
        } else {
            wan.address.store(NO_ADDRESS);
            LOG_WAN(TRACE, name, "Address deleted");
            processInetDown(wan.ifname, "address removed");
        }
    }
}
