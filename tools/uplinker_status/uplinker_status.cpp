// uplinker-status: what the daemon decided and why, read from its status file: a table for a
// person, the file as it is for a script, or series for a monitoring system. It needs no privileges
// and never takes the daemon's instance lock.
#include <cstdio>
#include <ctime>
#include <fstream>
#include <sstream>
#include <sys/un.h>

#include "common/tool_main.h"
#include "main/instance_lock.h"
#include "status_metrics.h"
#include "status_table.h"
#include "support/paths.h"
#include "support/process_stat.h"

namespace {

const char* const kProgram = "uplinker-status";
const char* const kUsage =
    "usage: uplinker-status [--json | --prometheus]\n"
    "  Shows the uplink the daemon chose, since when and why, and the state of each WAN, from\n"
    "  /var/run/uplinker/status.json; --json prints that file as it is, --prometheus its\n"
    "  series in Prometheus's text format.\n"
    "  Exits 0 while the daemon runs, 3 when it does not, 4 when its status cannot be read;\n"
    "  --prometheus exits 0 for a daemon that does not run, which it shows as such.\n";

enum class Form { Table, Json, Prometheus };

// The exit statuses of an init script's "status" action.
enum { ExitNotRunning = 3, ExitUnreadable = 4 };

// The daemon's instance lock is a name in the abstract socket namespace of its network
// namespace. The kernel lists the bound names there in /proc/net/unix, a zero byte shown as
// '@'; reading the list leaves the lock alone, where binding the name to test it would take it.
// The daemon binds the whole address: a zero byte, the name, zero padding to the end. Anyone
// may bind a name that merely starts like it, and a socket file may be named like it too, so
// the lock only tells that something holds such a name; the file's writer tells who.
bool lockHeld() {
    std::ifstream list("/proc/net/unix");
    std::string name = std::string("@") + INSTANCE_LOCK_NAME;
    name.resize(sizeof(sockaddr_un::sun_path), '@');
    std::string line;
    while (std::getline(list, line)) {
        const size_t blank = line.rfind(' ');
        if (blank != std::string::npos && line.compare(blank + 1, std::string::npos, name) == 0)
            return true;
    }
    return false;
}

// The process that wrote the file still runs: its pid names a process that started when the
// file says. A dead daemon's pid is gone, or taken by a process that started later.
bool writerAlive(const Json::Value& status) {
    uint64_t startTime = 0;
    return processStartTime(static_cast<pid_t>(status["pid"].asInt()), startTime) &&
           startTime == status["start_time"].asUInt64();
}

bool readStatus(std::string& text, Json::Value& status) {
    std::ifstream file(STATUS_FILE, std::ios::binary);
    std::ostringstream contents;
    if (!file.is_open() || !(contents << file.rdbuf()))
        return false;
    text = contents.str();
    Json::CharReaderBuilder builder;
    std::string errors;
    std::istringstream input(text);
    return Json::parseFromStream(builder, input, &status, &errors) && tools::wellFormed(status);
}

// The status in the form asked for; empty when a field has the wrong type.
std::string shownStatus(Form form, const std::string& text, const Json::Value& status) {
    std::string shown;
    try {
        if (form == Form::Json)
            shown = text;
        else if (form == Form::Table)
            shown = tools::statusTable(status, static_cast<int64_t>(time(nullptr)));
        else if (!tools::statusMetrics(status, shown))
            shown.clear();
    } catch (const Json::Exception&) {
        shown.clear();
    }
    return shown;
}

int run(Form form) {
    std::string text;
    Json::Value status;
    const bool readable = readStatus(text, status);
    if (!lockHeld() || (readable && !writerAlive(status))) {
        // A timer that writes the series to a file keeps it current through a stop.
        if (form == Form::Prometheus) {
            (void)std::fputs(tools::stoppedMetrics().c_str(), stdout);
            return tools::ExitOk;
        }
        if (form == Form::Table)
            (void)std::fputs("uplinker: not running\n", stdout);
        return ExitNotRunning;
    }
    const std::string shown = readable ? shownStatus(form, text, status) : "";
    if (!readable || shown.empty()) {
        tools::complain(kProgram, std::string("cannot read ") + STATUS_FILE);
        return ExitUnreadable;
    }
    (void)std::fputs(shown.c_str(), stdout);
    return tools::ExitOk;
}

} // namespace

int main(int argc, char** argv) {
    static const std::vector<tools::OptionSpec> specs = {
        {"", "json", false}, {"", "prometheus", false}, {"h", "help", false}};
    tools::ScannedArgs scanned;
    std::string error;
    tools::ParseStatus parsed = tools::ParseStatus::Ok;
    if (!tools::scanArgs(tools::argList(argc, argv), specs, scanned, error)) {
        parsed = tools::ParseStatus::Error;
    } else if (scanned.options.count("help") != 0) {
        parsed = tools::ParseStatus::Help;
    } else if (!scanned.positionals.empty()) {
        parsed = tools::ParseStatus::Error;
        error = "no arguments besides --json or --prometheus are taken";
    } else if (scanned.options.size() > 1) {
        parsed = tools::ParseStatus::Error;
        error = "--json and --prometheus exclude each other";
    }
    const int exitStatus = tools::finishParse(parsed, kProgram, kUsage, error);
    if (exitStatus >= 0)
        return exitStatus;
    return run(scanned.options.count("json") != 0         ? Form::Json
               : scanned.options.count("prometheus") != 0 ? Form::Prometheus
                                                          : Form::Table);
}
