// The per-interface state files other programs on the device read to learn whether the engine
// last saw an interface gain or lose internet.
#include <string>

#include "app/app.h"
#include "app/state_file.h"

void App::writeInterfaceState(const std::string& name, bool up) {
    if (name.empty())
        return;
    auto it = findWanByName(name);
    if (it == wans.end())
        return;
    const char* content = !it->config.enabled ? "Disabled" : (up ? "Up" : "Down");
    // The name is used as a file name only, never handed to the shell.
    writeStateFile(ISTATE_DIR + name, ISTATE_DIR, content);
}
