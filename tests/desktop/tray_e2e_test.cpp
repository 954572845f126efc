// The tray menu and the first run with kernovad on Xvfb. The menu is read and
// clicked through the debug interface, and once through its exported D-Bus
// menu with a stand-in StatusNotifierItem watcher (no tray host is packaged);
// the preferences are started from a stand-in `kernova` first on PATH that
// notes its arguments.
#include <QDBusArgument>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVariant>
#include <filesystem>
#include <map>

#include "base/paths.h"
#include "base/plist.h"
#include "desktop/dbus_names.h"
#include "e2e_fixture.h"
#include "kernovad/debug_endpoint.h"
#include "support_lib/temp_dir.h"

namespace kernova::testing {
namespace {

QDBusMessage debugMethod(const char* method) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QString::fromLatin1(desktop::kMessagesService), QString::fromLatin1(daemon::kDebugPath),
        QString::fromLatin1(daemon::kDebugInterface), QString::fromLatin1(method));
    call.setAutoStartService(false);
    return call;
}

nlohmann::json trayItems() {
    QDBusReply<QString> reply = desktop::sessionConnection().call(debugMethod("TrayItems"));
    return nlohmann::json::parse(reply.isValid() ? reply.value().toStdString() : "null");
}

bool trayAction(const char* name) {
    QDBusMessage call = debugMethod("TrayAction");
    call << QString::fromLatin1(name);
    QDBusReply<bool> reply = desktop::sessionConnection().call(call);
    return reply.isValid() && reply.value();
}

std::optional<QStringList> launches() {
    return recentLaunches(desktop::sessionConnection());
}

std::filesystem::path settingsFile() {
    return preferencesDirectory(processEnvironment()) / kSettingsFileName;
}

class TrayEndToEnd : public PanelEndToEnd {
  protected:
    // Sends `kernova splode words` and returns kernovad's last outcome.
    std::string splode() {
        QDBusConnection bus = desktop::sessionConnection();
        std::optional<qulonglong> before = receivedCount(bus);
        if (!before || run(desktopCliPath(), {"splode", "two words"}).first != 0)
            return "(not sent)";
        if (!waitFor([&] { return receivedCount(bus) > before; })) return "(not received)";
        return receivedMessages(bus)->back().toStdString();
    }
};

TEST_F(TrayEndToEnd, TheMasterSwitchWritesTheFileAndTheNextRequestFollowsIt) {
    nlohmann::json menu = trayItems();
    ASSERT_TRUE(menu.is_object());
    EXPECT_FALSE(menu["shown"].get<bool>()) << "no tray host on the test display";
    EXPECT_TRUE(menu["items"][0]["checked"].get<bool>());
    savePropertyList(settingsFile(),
                     Value(Dictionary{{"enabled", Value(true)}, {"historyCount", Value(3)}}));

    ASSERT_TRUE(trayAction("enabled"));
    const Value file = loadDictionary(settingsFile());
    EXPECT_EQ(file["enabled"].boolValue(), false);
    EXPECT_EQ(file["historyCount"].integerValue(), 3) << "other keys are kept";
    EXPECT_FALSE(trayItems()["items"][0]["checked"].get<bool>());
    EXPECT_NE(splode().find("switched off"), std::string::npos);

    ASSERT_TRUE(trayAction("enabled"));
    EXPECT_EQ(loadDictionary(settingsFile())["enabled"].boolValue(), true);
    EXPECT_NE(splode().find("panel opened"), std::string::npos);

    ASSERT_TRUE(trayAction("quit"));
    EXPECT_TRUE(waitFor([&] { return daemon_->process().state() == QProcess::NotRunning; }));
    EXPECT_EQ(daemon_->process().exitCode(), 0);
}

// kernovad with `arguments`, a private settings folder and a stand-in
// `kernova` that writes its arguments to `noted`.
class TrayAndFirstRun : public ::testing::Test {
  protected:
    void SetUp() override {
        if (display().isEmpty() || !haveTool("gdbus")) {
            if (qEnvironmentVariableIsSet("CI")) FAIL() << "Xvfb and gdbus are needed";
            GTEST_SKIP() << "needs Xvfb and gdbus";
        }
        dir.write("bin/kernova", "#!/bin/sh\necho \"$@\" > \"$0.args\"\n");
        std::filesystem::permissions(dir / "bin/kernova", std::filesystem::perms::owner_all);
        std::filesystem::remove(settingsFile());
    }
    std::unique_ptr<KernovadProcess> start(const QStringList& arguments) {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("DISPLAY"), display());
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        env.insert(QStringLiteral("PATH"),
                   QString::fromStdString((dir / "bin").string()) + ":" + env.value("PATH"));
        return std::make_unique<KernovadProcess>(env, arguments);
    }
    // The stand-in has written its arguments (the file may exist a moment
    // before its line is in it).
    bool noted() { return !dir.read("bin/kernova.args").empty(); }

    TempDir dir;
};

TEST_F(TrayAndFirstRun, AnAutostartWithoutSettingsOpensThePreferencesAndOnlyThen) {
    auto daemon = start({"--autostart"});
    ASSERT_TRUE(daemon->started()) << daemon->process().readAllStandardError().toStdString();
    const QStringList expected{"kernova prefs --first-run kernova-prefs:/General"};
    EXPECT_EQ(launches(), std::optional(expected));
    ASSERT_TRUE(waitFor([&] { return noted(); }));
    EXPECT_EQ(dir.read("bin/kernova.args"), "prefs --first-run kernova-prefs:/General\n");
    EXPECT_FALSE(std::filesystem::exists(settingsFile())) << "nothing is written until a save";
    EXPECT_EQ(daemon->terminate(), 0);

    // Started by hand, or autostarted with a settings file: nothing opens.
    std::filesystem::remove(dir / "bin/kernova.args");
    daemon = start({});
    ASSERT_TRUE(daemon->started());
    EXPECT_EQ(launches(), std::optional(QStringList{}));
    EXPECT_EQ(daemon->terminate(), 0);
    setKernovaEnabled(false);
    daemon = start({"--autostart"});
    ASSERT_TRUE(daemon->started());
    EXPECT_EQ(launches(), std::optional(QStringList{}));
    EXPECT_EQ(daemon->terminate(), 0);
    EXPECT_FALSE(noted());
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

TEST_F(TrayAndFirstRun, WithATrayHostTheMenuIsExportedAndItsSwitchWorks) {
    setKernovaEnabled(true);
    QDBusConnection bus = desktop::sessionConnection();
    Watcher watcher;
    ASSERT_TRUE(bus.registerObject(QStringLiteral("/StatusNotifierWatcher"), &watcher,
                                   QDBusConnection::ExportAllContents));
    ASSERT_TRUE(bus.registerService(QStringLiteral("org.kde.StatusNotifierWatcher")));
    auto daemon = start({});
    ASSERT_TRUE(daemon->started());
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

    QDBusMessage click = QDBusMessage::createMethodCall(
        watcher.items().front(), QStringLiteral("/MenuBar"),
        QStringLiteral("com.canonical.dbusmenu"), QStringLiteral("Event"));
    click << ids[QStringLiteral("Enabled")] << QStringLiteral("clicked")
          << QVariant::fromValue(QDBusVariant(0)) << 0u;
    bus.call(click);
    EXPECT_TRUE(waitFor([] { return !loadDictionary(settingsFile())["enabled"].boolValue(); }));
    EXPECT_EQ(daemon->terminate(), 0);
    bus.unregisterService(QStringLiteral("org.kde.StatusNotifierWatcher"));
    setKernovaEnabled(true);
}

}  // namespace
}  // namespace kernova::testing

#include "tray_e2e_test.moc"
