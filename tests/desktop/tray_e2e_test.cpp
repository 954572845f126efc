// The tray menu and the first run with kernovad on Xvfb. No tray host runs
// there, so the menu is read and clicked through the debug interface; the
// preferences are started from a stand-in `kernova` first on PATH that notes
// its arguments.
#include <QDBusMessage>
#include <QDBusReply>
#include <filesystem>

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
    std::vector<std::string> names;
    for (const auto& item : menu["items"])
        names.push_back(item["name"]);
    EXPECT_EQ(names, (std::vector<std::string>{"enabled", "splitClipboard", "ocrScreen", "history",
                                               "preferences", "quit"}));
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

    EXPECT_FALSE(trayAction("openPrefs"));
    ASSERT_TRUE(trayAction("quit"));
    EXPECT_TRUE(waitFor([&] { return daemon_->process().state() == QProcess::NotRunning; }));
    EXPECT_EQ(daemon_->process().exitCode(), 0);
}

// kernovad with `arguments`, a private settings folder and a stand-in
// `kernova` that writes its arguments to `noted`.
class FirstRun : public ::testing::Test {
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
    bool noted() { return std::filesystem::exists(dir / "bin/kernova.args"); }

    TempDir dir;
};

TEST_F(FirstRun, AnAutostartWithoutSettingsOpensThePreferencesAndOnlyThen) {
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

}  // namespace
}  // namespace kernova::testing
