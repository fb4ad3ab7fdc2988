// The fixed paths the daemon reads and writes, in one place.
#pragma once

// Read once at start-up: the names of the policy-routing tables.
constexpr const char* ROUTE_TABLES_PATH = "/etc/iproute2/rt_tables";
// Run after every switch of the default route.
constexpr const char* HOOK_PATH = "/etc/uplinker/hooks/after-switch-inet";

// The detached daemon's pid, locked while it runs.
constexpr const char* PID_FILE = "/var/run/uplinker.pid";
// The current uplink's name, and one state file per interface; the directories are made on
// first use, as /var/run is emptied at every boot.
constexpr const char* CURRENT_WAN_FILE = "/var/run/uplinker/current_wan";
constexpr const char* CURRENT_WAN_DIR = "/var/run/uplinker";
// What the engine decided and why, for people and scripts; replaced whole on every change.
constexpr const char* STATUS_FILE = "/var/run/uplinker/status.json";
constexpr const char* ISTATE_DIR = "/var/run/uplinker/istate/";
// The cellular modem's state, written by its manager.
constexpr const char* CELL_STATUS_FILE = "/var/run/cell/status";
// Each interface's resolver file is RESOLV_FILE_PREFIX + name + RESOLV_FILE_SUFFIX; the link
// points at the current uplink's.
constexpr const char* RESOLV_FILE_PREFIX = "/var/run/resolv_";
constexpr const char* RESOLV_FILE_SUFFIX = ".conf";
constexpr const char* RESOLV_LINK = "/var/run/wan_resolv.conf";
