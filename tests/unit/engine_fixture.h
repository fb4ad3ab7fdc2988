// An engine over a test WAN table with its start-up dumps complete; runs inside the test
// sandbox, so the state files it writes under /var/run are private.
#pragma once

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "app/app.h"
#include "support/logger.h"

class EngineTest : public ::testing::Test {
protected:
    // WANs named eth0, eth1 ... in priority order; enabled[i] false disables WAN i.
    App& build(Mode mode, const std::vector<bool>& enabled) {
        VRX::Logger::setPrintLevel(VRX::Logger::PrintLevel::FATAL_LEVEL, true);
        Conf conf;
        conf.valid = true;
        conf.mode = mode;
        for (size_t i = 0; i < enabled.size(); ++i) {
            WanConfig c;
            c.name = "eth" + std::to_string(i);
            c.enabled = enabled[i];
            c.priority = static_cast<uint32_t>(i + 1);
            c.routeTable = static_cast<int>(100 + i);
            conf.wanConfigs.push_back(c);
        }
        running = true;
        app = std::make_unique<App>(&running, 0);
        EXPECT_TRUE(app->initWans(conf));
        app->initStage = 4;
        // A second enabled WAN would otherwise be forced back to Constant by the table size.
        app->mode = mode;
        return *app;
    }

    // Bit i of mask makes WAN i usable: link, readiness, address and gateway.
    void setUsable(unsigned mask) {
        for (size_t i = 0; i < app->wans.size(); ++i) {
            app->wans[i].up = (mask >> i) & 1u;
            app->wans[i].misc = true;
            app->wans[i].address = app->wans[i].gateway = 0x0200000a;
        }
    }

    bool running = true;
    std::unique_ptr<App> app;
};
