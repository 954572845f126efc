// The tray menu and the first run with kernovad on Xvfb. The menu is read and
// clicked through the debug interface, and once through its exported D-Bus
// menu with a stand-in StatusNotifierItem watcher (no tray host is packaged);
// the preferences are started from a stand-in `kernova` first on PATH that
// notes its arguments.
#include <QDBusArgument>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusVariant>
#include <filesystem>
#include <map>

#include "base/paths.h"
#include "base/plist.h"
#include "desktop/dbus_names.h"
#include "e2e_fixture.h"
#include "support_lib/temp_dir.h"

namespace kernova::testing {
namespace {

nlohmann::json trayItems() {
    const QVariant items = debugCall(desktop::sessionConnection(), "TrayItems");
    return nlohmann::json::parse(items.isValid() ? items.toString().toStdString() : "null");
}

bool trayAction(const char* name) {
    return debugCall(desktop::sessionConnection(), "TrayAction", {QString::fromLatin1(name)})
        .toBool();
}

std::filesystem::path settingsFile() {
    return preferencesDirectory(processEnvironment()) / kSettingsFileName;
}

using TrayEndToEnd = PanelEndToEnd;

// What the switch writes and how the next request follows it is the simulated
// device's; here: no tray without a host, and Quit ends kernovad.
TEST_F(TrayEndToEnd, WithoutATrayHostNoTrayShowsAndQuitEndsKernovad) {
    nlohmann::json menu = trayItems();
    ASSERT_TRUE(menu.is_object());
    EXPECT_FALSE(menu["shown"].get<bool>()) << "no tray host on the test display";
    EXPECT_TRUE(menu["items"][0]["checked"].get<bool>());
    ASSERT_TRUE(trayAction("quit"));
    EXPECT_TRUE(waitFor([&] { return daemon_->process().state() == QProcess::NotRunning; }));
    EXPECT_EQ(daemon_->process().exitCode(), 0);
}

// A stand-in `kernova` first on PATH notes the arguments it is started with.
TEST_F(TrayEndToEnd, AnAutostartWithoutSettingsOpensThePreferencesAndOnlyThen) {
    TempDir dir;
    dir.write("bin/kernova", "#!/bin/sh\necho \"$@\" > \"$0.args\"\n");
    std::filesystem::permissions(dir / "bin/kernova", std::filesystem::perms::owner_all);
    env_.insert(QStringLiteral("PATH"),
                QString::fromStdString((dir / "bin").string()) + ":" + env_.value("PATH"));
    std::filesystem::remove(settingsFile());
    ASSERT_TRUE(restartDaemon({"--autostart"}));
    const QStringList expected{"kernova prefs --first-run kernova-prefs:/General"};
    EXPECT_EQ(recentLaunches(desktop::sessionConnection()), std::optional(expected));
    // The file may exist a moment before its line is in it.
    ASSERT_TRUE(waitFor([&] { return !dir.read("bin/kernova.args").empty(); }));
    EXPECT_EQ(dir.read("bin/kernova.args"), "prefs --first-run kernova-prefs:/General\n");
    EXPECT_FALSE(std::filesystem::exists(settingsFile())) << "nothing is written until a save";

    // Autostarted with a settings file, or started otherwise, nothing opens:
    // the simulated device's and the kernovad tests.
    setKernovaEnabled(true);
}

// A stand-in for the desktop's StatusNotifierItem watcher with a host
// registered: it notes the items that register.
class Watcher : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)

  public:
    bool hostRegistered() const { return true; }
    int protocolVersion() const { return 0; }
    QStringList items() const { return items_; }

  public slots:
    void RegisterStatusNotifierItem(const QString& service) { items_ << service; }
    void RegisterStatusNotifierHost(const QString&) {}

  private:
    QStringList items_;
};

// The menu's entries by label, read from the item's exported menu.
void readLayout(const QDBusArgument& node, std::map<QString, int>& ids) {
    int id = 0;
    QVariantMap properties;
    node.beginStructure();
    node >> id >> properties;
    if (properties.contains(QStringLiteral("label")))
        ids[properties.value(QStringLiteral("label")).toString()] = id;
    node.beginArray();
    while (!node.atEnd()) {
        QDBusVariant child;
        node >> child;
        readLayout(child.variant().value<QDBusArgument>(), ids);
    }
    node.endArray();
    node.endStructure();
}

TEST_F(TrayEndToEnd, WithATrayHostTheMenuIsExportedAndItsSwitchWorks) {
    QDBusConnection bus = desktop::sessionConnection();
    Watcher watcher;
    ASSERT_TRUE(bus.registerObject(QStringLiteral("/StatusNotifierWatcher"), &watcher,
                                   QDBusConnection::ExportAllContents));
    ASSERT_TRUE(bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher")));
    ASSERT_TRUE(restartDaemon());
    EXPECT_TRUE(trayItems()["shown"].get<bool>());
    ASSERT_TRUE(waitFor([&] { return !watcher.items().isEmpty(); }));

    QDBusMessage layout = QDBusMessage::createMethodCall(
        watcher.items().front(), QStringLiteral("/MenuBar"),
        QStringLiteral("com.canonical.dbusmenu"), QStringLiteral("GetLayout"));
    layout << 0 << -1 << QStringList();
    QDBusMessage reply = bus.call(layout);
    ASSERT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
    std::map<QString, int> ids;
    readLayout(reply.arguments().at(1).value<QDBusArgument>(), ids);
    ASSERT_TRUE(ids.contains(QStringLiteral("Enabled"))) << ids.size();
    EXPECT_TRUE(ids.contains(QStringLiteral("Split clipboard")));

    QDBusMessage event = QDBusMessage::createMethodCall(
        watcher.items().front(), QStringLiteral("/MenuBar"),
        QStringLiteral("com.canonical.dbusmenu"), QStringLiteral("Event"));
    event << ids[QStringLiteral("Enabled")] << QStringLiteral("clicked")
          << QVariant::fromValue(QDBusVariant(0)) << 0u;
    bus.call(event);
    EXPECT_TRUE(waitFor([] { return !loadDictionary(settingsFile())["enabled"].boolValue(); }));
    EXPECT_FALSE(trayItems()["items"][0]["checked"].get<bool>());
    EXPECT_EQ(daemon_->terminate(), 0);
    bus.unregisterService(QStringLiteral("org.kde.StatusNotifierWatcher"));
    setKernovaEnabled(true);
}

}  // namespace
}  // namespace kernova::testing

#include "tray_e2e_test.moc"
