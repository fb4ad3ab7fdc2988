// Following the modem's data connection: the cellular WAN is usable only while the modem
// manager reports it connected.
#include <fstream>
#include <string>

#include "app/app.h"
#include "app/bool_text.h"
#include "support/log.h"

namespace {

// The first line of the status file; false when the file is missing or empty.
bool readStatusLine(std::string& line) {
    std::ifstream file(CELL_STATUS_FILE);
    if (!file.is_open())
        return false;
    return static_cast<bool>(std::getline(file, line));
}

} // namespace

void App::pollCellularStatus() {
    std::string line;
    if (!readStatusLine(line))
        return;
    const bool connected = line == "CONNECTED";
    auto it = findWanByName(CELLULAR_WAN);
    if (it == wans.end() || it->misc == connected)
        return;
    LOG_WAN(TRACE, CELLULAR_WAN, "Cellular connectivity status changed to %s", boolText(connected));
    it->misc = connected;
    if (!connected)
        processInetDown(CELLULAR_WAN, "modem disconnected");
    else if (it->inet())
        processInetUp(CELLULAR_WAN);
}
