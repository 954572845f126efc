// kernovad as a process on the test's private bus.
#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QElapsedTimer>
#include <QProcess>
#include <csignal>
#include <filesystem>

#include "base/paths.h"
#include "desktop/dbus_messaging.h"
#include "desktop/dbus_names.h"
#include "desktop_support.h"
#include "kernovad/debug_endpoint.h"
#include "server/message_names.h"

namespace kernova::daemon {
namespace {

using namespace kernova::testing;

QString service() {
    return QString::fromLatin1(desktop::kMessagesService);
}

TEST(Kernovad, ServesTheTableLogsNoTextAndStopsPromptlyOnSigterm) {
    KernovadProcess daemon;
    ASSERT_TRUE(daemon.started()) << daemon.process().readAllStandardError().toStdString();
    desktop::DBusMessageSender sender(otherConnection(QStringLiteral("app")));
    for (std::string_view name : kMessageTable)
        sender.sendMessageName(std::string(name));
    sender.sendMessageName("notServed", Value(Dictionary{}));
    sender.sendMessageName("alertTrans", Value(Dictionary{{"transResult", Value("hola")}}));
    QDBusConnection bus = desktop::sessionConnection();
    std::optional<QStringList> received;
    ASSERT_TRUE(waitFor([&] {
        received = receivedMessages(bus);
        return received && received->size() == 13;
    }));
    for (std::size_t i = 0; i < kMessageTable.size(); ++i)
        EXPECT_EQ(received->at(static_cast<qsizetype>(i))
                      .toStdString()
                      .rfind(std::string(kMessageTable[i]) + " (no dictionary): ", 0),
                  0u)
            << received->at(static_cast<qsizetype>(i)).toStdString();
    EXPECT_EQ(received->at(11).toStdString(),
              "notServed (0 keys): dropped: not a message of this server");
    EXPECT_EQ(received->back().toStdString(), "alertTrans (1 key): result of 4 bytes shown");

    QElapsedTimer stopping;
    stopping.start();
    EXPECT_EQ(daemon.terminate(), 0);
    // Promptly: well under the half second a session manager waits (with room
    // for a loaded machine).
    EXPECT_LT(stopping.elapsed(), 2000);
    std::string log = daemon.process().readAllStandardError().toStdString();
    EXPECT_NE(log.find("kernovad: info: server: alertTrans (1 key): result of 4 bytes shown"),
              std::string::npos)
        << log;
    EXPECT_EQ(log.find("hola"), std::string::npos) << "no message text in the log";
    EXPECT_FALSE(serviceRunning(bus, service()));
}

TEST(Kernovad, TheDebugInterfaceExistsOnlyWhenAskedFor) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QString::fromLatin1(kDebugEnvironment));
    {
        KernovadProcess daemon(env);
        ASSERT_TRUE(daemon.started());
        EXPECT_FALSE(receivedMessages(desktop::sessionConnection()).has_value());
        EXPECT_EQ(daemon.terminate(), 0);
    }
    KernovadProcess daemon;
    ASSERT_TRUE(daemon.started());
    desktop::DBusMessageSender sender(otherConnection(QStringLiteral("app")));
    sender.sendMessageName("notifySplode", Value(Dictionary{{"callFromResponder", Value(true)},
                                                            {"selection", Value("a picture")}}));
    ASSERT_TRUE(waitFor([&] {
        auto state = screenState(desktop::sessionConnection());
        return state && (*state)["shown"].get<bool>();
    }));
    EXPECT_TRUE(
        debugCall(desktop::sessionConnection(), "Screenshot").toByteArray().startsWith("\x89PNG"))
        << "the screenshot comes back as PNG bytes";
    EXPECT_EQ(daemon.terminate(), 0);
}

TEST(Kernovad, ASecondInstanceRefusesToStartAndTheFirstStopsOnSigint) {
    KernovadProcess first;
    ASSERT_TRUE(first.started());
    ProgramRun second = runProgram(kernovadPath(), {});
    EXPECT_EQ(second.status, 1);
    EXPECT_NE(second.err.find("kernovad is already running\n"), std::string::npos) << second.err;
    ASSERT_EQ(first.process().state(), QProcess::Running);
    ::kill(static_cast<pid_t>(first.process().processId()), SIGINT);
    ASSERT_TRUE(first.process().waitForFinished(10000));
    EXPECT_EQ(first.process().exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(first.process().exitCode(), 0);
}

TEST(Kernovad, WithoutAUsableDisplayOrWithUnknownArgumentsItSaysSoAndExits) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    env.remove(QStringLiteral("DISPLAY"));
    ProgramRun run = runProgram(kernovadPath(), {}, env);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("kernovad: no X display"), std::string::npos) << run.err;
    env.insert(QStringLiteral("DISPLAY"), QStringLiteral(":4242"));
    run = runProgram(kernovadPath(), {}, env);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("kernovad: cannot open the X display \":4242\""), std::string::npos)
        << run.err;
    run = runProgram(kernovadPath(), {"--autostart", "--frobnicate"});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("usage: kernovad [--autostart]"), std::string::npos) << run.err;
}

// `kernova` starts it by bus activation; so started it never opens the
// preferences, even without a settings file.
TEST(Kernovad, StartedByTheCommandThroughTheBusItNeverOpensThePreferences) {
    std::filesystem::remove(preferencesDirectory(processEnvironment()) / kSettingsFileName);
    EXPECT_EQ(runProgram(desktopCliPath(), {"send", "popButton"}).status, 0);
    QDBusConnection bus = desktop::sessionConnection();
    ASSERT_TRUE(waitFor([&] { return recentLaunches(bus).has_value(); }));
    EXPECT_EQ(recentLaunches(bus), std::optional(QStringList{}));
    std::optional<qint64> pid = serviceOwnerPid(bus, service());
    ASSERT_TRUE(pid.has_value());
    ::kill(static_cast<pid_t>(*pid), SIGTERM);
    EXPECT_TRUE(waitFor([&] { return !serviceRunning(bus, service()); }));
    setKernovaEnabled(true);
}

}  // namespace
}  // namespace kernova::daemon
