// The application list on the desktop: `kernova apps` on a private XDG data
// folder, editing the enabled-applications file, and kernovad's answer to
// "fun.quorle.kernova.getapps" on the session bus.
#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusMetaType>
#include <QMap>
#include <QObject>
#include <QProcessEnvironment>

#include "base/plist.h"
#include "capture/app_list.h"
#include "desktop/dbus_app_list.h"
#include "desktop/dbus_names.h"
#include "desktop/dbus_system_notifications.h"
#include "desktop_support.h"
#include "server/settings.h"
#include "support_lib/temp_dir.h"

namespace kernova::testing {

// Keeps the last application list posted on the bus.
class AppListListener : public QObject {
    Q_OBJECT
  public:
    QMap<QString, QString> last;
    int received = 0;
  public slots:
    void notified(const QString& name, const QMap<QString, QString>& info) {
        if (name != QLatin1String(capture::kSetAppsNotification)) return;
        last = info;
        ++received;
    }
};

namespace {

class AppsTest : public ::testing::Test {
  protected:
    AppsTest() {
        data.write("applications/org.example.Editor.desktop",
                   "[Desktop Entry]\nType=Application\nName=Editor\nExec=editor\n");
        data.write("applications/nameless.desktop", "[Desktop Entry]\nType=Application\nName=\n");
        data.write("applications/kernovad.desktop",
                   "[Desktop Entry]\nType=Application\nName=Kernova\nExec=kernovad\n");
        env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_DATA_HOME"), QString::fromStdString(data.path().string()));
        env.insert(QStringLiteral("XDG_DATA_DIRS"),
                   QString::fromStdString((data / "none").string()));
    }
    std::pair<int, std::string> apps(const QStringList& args) {
        ProgramRun run = runProgram(desktopCliPath(), QStringList{"apps"} + args, env);
        return {run.status, run.out};
    }
    Value enabledFile() {
        return loadPropertyList(preferencesDirectory(processEnvironment()) /
                                "fun.quorle.kernova.enabledapps.plist");
    }

    TempDir data;
    QProcessEnvironment env;
};

TEST_F(AppsTest, ListsTheEntriesAndEnablesAndDisablesThem) {
    desktop::DBusSystemNotifications notifications;
    ASSERT_TRUE(notifications.sync());
    int owner = 0, reloads = 0;
    notifications.observe(kReloadPreferencesNotification, &owner, [&] { ++reloads; });

    EXPECT_EQ(apps({}), std::make_pair(0, std::string("  nameless.desktop\tError\n"
                                                      "  org.example.Editor.desktop\tEditor\n")));
    EXPECT_EQ(apps({"--enable", "org.example.Editor"}).first, 0);
    EXPECT_TRUE(waitFor([&] { return reloads == 1; }));
    EXPECT_EQ(enabledFile()["Enabled"], Value(Array{Value("org.example.Editor.desktop")}));
    EXPECT_EQ(apps({"--json"}).second,
              "[\n  {\"id\": \"nameless.desktop\", \"name\": \"Error\", \"enabled\": false},\n"
              "  {\"id\": \"org.example.Editor.desktop\", \"name\": \"Editor\", "
              "\"enabled\": true}\n]\n");

    // An unknown id changes nothing and tells nobody.
    EXPECT_EQ(apps({"--enable", "nameless", "org.example.Missing"}).first, 2);
    EXPECT_EQ(enabledFile()["Enabled"], Value(Array{Value("org.example.Editor.desktop")}));
    EXPECT_EQ(apps({"--disable", "org.example.Editor.desktop"}).first, 0);
    EXPECT_EQ(enabledFile()["Enabled"], Value(Array{}));
    EXPECT_TRUE(waitFor([&] { return reloads == 2; }));
    EXPECT_EQ(apps({"--enable"}).first, 2);
    notifications.removeObservers(&owner);
}

TEST_F(AppsTest, KernovadAnswersTheRequestForTheList) {
    KernovadProcess daemon(env);
    ASSERT_TRUE(daemon.started());
    qDBusRegisterMetaType<QMap<QString, QString>>();
    AppListListener listener;
    QDBusConnection bus = desktop::sessionConnection();
    ASSERT_TRUE(bus.connect(QString(), QString::fromLatin1(desktop::kNotificationsPath),
                            QString::fromLatin1(desktop::kNotificationsInterface),
                            QString::fromLatin1(desktop::kNotifyWithUserInfoSignal), &listener,
                            SLOT(notified(QString, QMap<QString, QString>))));
    desktop::DBusSystemNotifications notifications;
    ASSERT_TRUE(notifications.sync());
    notifications.post(capture::kGetAppsNotification);
    ASSERT_TRUE(waitFor([&] { return listener.received == 1; }));
    EXPECT_EQ(listener.last, (QMap<QString, QString>{{"nameless.desktop", "Error"},
                                                     {"org.example.Editor.desktop", "Editor"}}));
    EXPECT_EQ(daemon.terminate(), 0);
}

}  // namespace
}  // namespace kernova::testing

#include "apps_test.moc"
