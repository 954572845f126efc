#include "kernova/bus_client.h"

#include <QCoreApplication>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <ostream>

#include "desktop/dbus_messaging.h"
#include "desktop/dbus_system_notifications.h"
#include "server/settings.h"

namespace kernova::cli {
namespace {

// A bus named by the environment or at its usual place; never one that would
// have to be launched for this.
bool sessionHasBus() {
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    if (address != nullptr && *address != '\0') return true;
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    std::error_code ec;
    return runtime != nullptr && *runtime != '\0' &&
           std::filesystem::exists(std::filesystem::path(runtime) / "bus", ec);
}

}  // namespace

bool openMessageCenter(desktop::DBusMessageSender& sender, std::string_view who,
                       std::ostream& err) {
    if (!sender.connected()) {
        err << who << ": cannot connect to the session bus\n";
        return false;
    }
    if (!sender.startService()) {
        err << who
            << ": the message center is not running and cannot be started"
               " (is kernovad installed?)\n";
        return false;
    }
    return true;
}

int deliverMessage(const std::string& name, const Value& userInfo, std::ostream& err) {
    // QtDBus wants an application object; commands run without one.
    int argc = 1;
    char arg0[] = "kernova";
    char* argv[] = {arg0, nullptr};
    std::optional<QCoreApplication> app;
    if (QCoreApplication::instance() == nullptr) app.emplace(argc, argv);

    desktop::DBusMessageSender sender(desktop::sessionConnection());
    if (!openMessageCenter(sender, "kernova", err)) return 1;
    sender.sendMessageName(name, userInfo);
    if (!sender.flush()) {
        err << "kernova: the session bus went away while sending\n";
        return 1;
    }
    return 0;
}

void announceReloadOnSessionBus(std::ostream& err) {
    if (!sessionHasBus()) return;
    // QtDBus wants an application object; commands run without one.
    int argc = 1;
    char arg0[] = "kernova";
    char* argv[] = {arg0, nullptr};
    std::optional<QCoreApplication> app;
    if (QCoreApplication::instance() == nullptr) app.emplace(argc, argv);
    desktop::DBusSystemNotifications bus;
    // sync() is a round trip: the signal has left when it returns.
    bus.post(kReloadPreferencesNotification);
    if (!bus.sync())
        err << "kernova: the settings are written, but the session bus cannot be reached to"
               " tell kernovad (it reads them when it next starts)\n";
}

}  // namespace kernova::cli
