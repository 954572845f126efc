// The server process on the simulated device with Kernova switched on, and a
// setting written and announced as the preferences do.
#pragma once

#include <gtest/gtest.h>

#include "base/plist.h"
#include "server/server.h"
#include "server/settings.h"
#include "sim/device.h"
#include "sim/driver.h"
#include "sim/sim_server_host.h"

namespace kernova::capture {

class CaptureTest : public ::testing::Test {
  protected:
    CaptureTest() { set("enabled", Value(true)); }
    // Writes one setting; with `announce`, posts the reload notification too.
    void set(const char* key, Value value, bool announce = false) {
        updateSettings(context, [&](Dictionary& d) { d[key] = value; });
        if (announce) reload();
    }
    void reload() {
        context.systemNotifications().post(kReloadPreferencesNotification);
        device.runUntilIdle();
    }

    sim::Device device;
    sim::Driver driver{device};
    sim::SimServerHost host{device};
    Context& context = device.server().context();
    Server server{context, device.messageCenter(), host};
};

}  // namespace kernova::capture
