// kernovad as a process on the test's private bus.
#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QProcess>
#include <csignal>

#include "desktop/dbus_messaging.h"
#include "desktop/dbus_names.h"
#include "desktop_support.h"
#include "kernovad/daemon.h"
#include "kernovad/message_names.h"

namespace kernova::daemon {
namespace {

using namespace kernova::testing;

QString service() {
    return QString::fromLatin1(desktop::kMessagesService);
}

TEST(Kernovad, ServesLogsAndStopsCleanlyOnSigterm) {
    KernovadProcess daemon;
    ASSERT_TRUE(daemon.started()) << daemon.process().readAllStandardError().toStdString();
    desktop::DBusMessageSender sender(otherConnection(QStringLiteral("app")));
    for (std::string_view name : kMessageNames)
        sender.sendMessageName(std::string(name));
    sender.sendMessageName("notServed", Value(Dictionary{}));
    sender.sendMessageName("alertTrans", Value(Dictionary{{"transResult", Value("hola")}}));
    QDBusConnection bus = desktop::sessionConnection();
    std::optional<QStringList> received;
    ASSERT_TRUE(waitFor([&] {
        received = receivedMessages(bus);
        return received && received->size() == 12;
    }));
    for (std::size_t i = 0; i < kMessageNames.size(); ++i)
        EXPECT_EQ(received->at(static_cast<qsizetype>(i)).toStdString(),
                  std::string(kMessageNames[i]) + " (no dictionary)");
    EXPECT_EQ(received->back().toStdString(), "alertTrans {transResult = \"hola\"; }");
    EXPECT_EQ(daemon.terminate(), 0);
    std::string log = daemon.process().readAllStandardError().toStdString();
    EXPECT_NE(log.find("kernovad: received alertTrans {transResult = \"hola\"; }"),
              std::string::npos)
        << log;
    EXPECT_FALSE(serviceRunning(bus, service()));
}

TEST(Kernovad, ASecondInstanceRefusesToStart) {
    KernovadProcess first;
    ASSERT_TRUE(first.started());
    QProcess second;
    second.start(kernovadPath(), {});
    ASSERT_TRUE(second.waitForFinished(10000));
    EXPECT_EQ(second.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(second.exitCode(), 1);
    std::string err = second.readAllStandardError().toStdString();
    EXPECT_NE(err.find("kernovad is already running\n"), std::string::npos) << err;
    EXPECT_EQ(first.process().state(), QProcess::Running);
    EXPECT_EQ(first.terminate(), 0);
}

TEST(Kernovad, StopsOnSigintToo) {
    KernovadProcess daemon;
    ASSERT_TRUE(daemon.started());
    ::kill(static_cast<pid_t>(daemon.process().processId()), SIGINT);
    ASSERT_TRUE(daemon.process().waitForFinished(10000));
    EXPECT_EQ(daemon.process().exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(daemon.process().exitCode(), 0);
}

TEST(Kernovad, TheFirstMessageStartsItByActivation) {
    QDBusConnection bus = desktop::sessionConnection();
    ASSERT_FALSE(serviceRunning(bus, service()));
    desktop::DBusMessageSender sender(otherConnection(QStringLiteral("activating app")));
    sender.sendMessageName("notifySplode", Value(Dictionary{{"callFromResponder", Value(true)},
                                                            {"selection", Value("first words")}}));
    sender.sendMessageName("popButton");
    std::optional<QStringList> received;
    ASSERT_TRUE(waitFor([&] {
        received = serviceRunning(bus, service()) ? receivedMessages(bus) : std::nullopt;
        return received && received->size() == 2;
    }));
    EXPECT_EQ(received->at(0).toStdString(),
              "notifySplode {callFromResponder = YES; selection = \"first words\"; }");
    EXPECT_EQ(received->at(1).toStdString(), "popButton (no dictionary)");
    std::optional<qint64> pid = serviceOwnerPid(bus, service());
    ASSERT_TRUE(pid.has_value());
    ::kill(static_cast<pid_t>(*pid), SIGTERM);
    EXPECT_TRUE(waitFor([&] { return !serviceRunning(bus, service()); }));
}

TEST(Kernovad, NotifySplodeOpensOneBoardOnTheSelection) {
    KernovadProcess daemon;
    ASSERT_TRUE(daemon.started());
    QDBusConnection bus = desktop::sessionConnection();
    desktop::DBusMessageSender sender(otherConnection(QStringLiteral("app")));
    // Nothing to show: no dictionary, an empty selection, a selection of the wrong type.
    sender.sendMessageName("notifySplode");
    sender.sendMessageName("notifySplode", Value(Dictionary{{"selection", Value("")}}));
    sender.sendMessageName("notifySplode", Value(Dictionary{{"selection", Value(Array{})}}));
    sender.sendMessageName("notifySplode", Value(Dictionary{{"callFromResponder", Value(true)},
                                                            {"selection", Value("你好 world")}}));
    sender.sendMessageName("notifySplode", Value(Dictionary{{"callFromResponder", Value(true)},
                                                            {"selection", Value("second")}}));
    std::optional<nlohmann::json> state;
    ASSERT_TRUE(waitFor([&] {
        auto received = receivedMessages(bus);
        if (!received || received->size() != 5) return false;
        state = boardState(bus);
        return state.has_value();
    }));
    EXPECT_TRUE((*state)["shown"].get<bool>());
    std::vector<std::string> texts;
    for (const auto& tag : (*state)["tags"]) {
        texts.push_back(tag["text"].get<std::string>());
        EXPECT_GT(tag["width"].get<double>(), 0.0);
        EXPECT_EQ(tag["selected"].get<int>(), 0);
    }
    // The first request with text wins; the second finds a board on screen.
    EXPECT_EQ(texts, (std::vector<std::string>{"你好", " ", "world"}));
    EXPECT_TRUE((*state)["selection"].empty());
    EXPECT_EQ(daemon.terminate(), 0);
    std::string log = daemon.process().readAllStandardError().toStdString();
    EXPECT_NE(log.find("kernovad: board opened"), std::string::npos) << log;
    EXPECT_NE(log.find("kernovad: a board is already shown; request ignored"), std::string::npos);
    EXPECT_NE(log.find("kernovad: no text to show; request ignored"), std::string::npos);
}

TEST(Kernovad, WithoutADisplayItSaysSo) {
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("DISPLAY"));
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    process.setProcessEnvironment(env);
    process.start(kernovadPath(), {});
    ASSERT_TRUE(process.waitForFinished(10000));
    EXPECT_EQ(process.exitCode(), 1);
    EXPECT_NE(process.readAllStandardError().toStdString().find("kernovad: no X display"),
              std::string::npos);
}

}  // namespace
}  // namespace kernova::daemon
