// The reasons a move of the uplink is counted under: its cause without the WAN's name, from a
// fixed set, so that a monitoring system keeps a bounded number of series whatever happens.
#pragma once

#include <string>

// Every reason, "other" last; the status tool shows a count for each of them.
inline constexpr const char* SWITCH_REASONS[] = {"start",
                                                 "carrier lost",
                                                 "link deleted",
                                                 "address removed",
                                                 "gateway removed",
                                                 "probe failed",
                                                 "modem disconnected",
                                                 "usable again",
                                                 "roaming lock ran out",
                                                 "roaming lock ended",
                                                 "loss",
                                                 "latency",
                                                 "other"};

// The reason for a cause's what ("carrier lost"): the what itself when it is a reason, "loss"
// or "latency" for a measured threshold's ("loss 45 % ≥ 40 %"), "other" for anything else.
const char* switchReason(const std::string& what);
