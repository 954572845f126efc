// `kernova send` and `kernova splode`: argument parsing, and end to end against
// a running kernovad, checked through its debug query.
#include <gtest/gtest.h>

#include <QClipboard>
#include <QGuiApplication>
#include <QProcess>
#include <QProcessEnvironment>
#include <sstream>

#include "desktop/dbus_messaging.h"
#include "desktop/dbus_system_notifications.h"
#include "desktop_support.h"
#include "kernova/send_command.h"
#include "kernova/splode_command.h"
#include "server/settings.h"

namespace kernova::cli {
namespace {

using namespace kernova::testing;

struct CommandRun {
    int status;
    std::string out;
    std::string err;
};

CommandRun runSendWith(std::vector<std::string> args) {
    std::istringstream in;
    std::ostringstream out, err;
    int status = runSend(args, in, out, err);
    return {status, out.str(), err.str()};
}

CommandRun runSplodeWith(std::vector<std::string> args, const std::string& input = {}) {
    std::istringstream in(input);
    std::ostringstream out, err;
    int status = runSplode(args, in, out, err);
    return {status, out.str(), err.str()};
}

bool kernovadReceived(std::size_t count) {
    return waitFor([&] {
        std::optional<QStringList> got = receivedMessages(desktop::sessionConnection());
        return got && static_cast<std::size_t>(got->size()) >= count;
    });
}

TEST(SendArguments, TypedAndUntypedValuesAndDictionaryPresence) {
    SendParse p = parseSendArguments(std::vector<std::string>{"openUrl", "a=s:i:3", "b=b:YES",
                                                              "c=i:-42", "d=d:1.5", "e=plain text",
                                                              "f=x:y", "g=", "h=s:"});
    ASSERT_TRUE(p.options) << p.error;
    EXPECT_EQ(p.options->name, "openUrl");
    EXPECT_EQ(p.options->userInfo, Value(Dictionary{{"a", Value("i:3")},
                                                    {"b", Value(true)},
                                                    {"c", Value(-42)},
                                                    {"d", Value(1.5)},
                                                    {"e", Value("plain text")},
                                                    {"f", Value("x:y")},
                                                    {"g", Value("")},
                                                    {"h", Value("")}}));
    EXPECT_TRUE(
        parseSendArguments(std::vector<std::string>{"popButton"}).options->userInfo.isAbsent());
    EXPECT_EQ(
        parseSendArguments(std::vector<std::string>{"--empty", "showRunning"}).options->userInfo,
        Value(Dictionary{}));
    EXPECT_EQ(parseSendArguments(std::vector<std::string>{"--", "-odd"}).options->name, "-odd");
}

TEST(SendArguments, MalformedInputIsAClearUsageError) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{}, "missing message name"},
        {{"--bogus", "x"}, "unknown option --bogus"},
        {{"x", "novalue"}, "expected KEY=VALUE"},
        {{"x", "=v"}, "the key is empty"},
        {{"x", "k=b:maybe"}, "expected true or false"},
        {{"x", "k=i:3.5"}, "expected a 64-bit integer"},
        {{"x", "k=i:99999999999999999999"}, "expected a 64-bit integer"},
        {{"x", "k=d:abc"}, "expected a finite real"},
        {{"x", "k=d:inf"}, "expected a finite real"},
        {{"x", "k=1", "k=2"}, "given twice"},
        {{"--empty", "x", "k=1"}, "--empty cannot be combined"},
    };
    for (const auto& [args, message] : cases) {
        CommandRun r = runSendWith(args);
        EXPECT_EQ(r.status, 2) << message;
        EXPECT_NE(r.err.find(message), std::string::npos) << r.err;
        EXPECT_NE(r.err.find("usage: kernova send"), std::string::npos);
    }
    EXPECT_EQ(runSendWith({"--help"}).status, 0);
}

TEST(SplodeArguments, Sources) {
    using Source = SplodeOptions::Source;
    auto source = [](std::vector<std::string> args) {
        return parseSplodeArguments(args).options->source;
    };
    EXPECT_EQ(source({"some text"}), Source::argument);
    EXPECT_EQ(source({"-"}), Source::standardInput);
    EXPECT_EQ(source({"--primary"}), Source::primary);
    EXPECT_EQ(source({"--clipboard"}), Source::clipboard);
    EXPECT_EQ(parseSplodeArguments(std::vector<std::string>{"--", "--primary"}).options->text,
              "--primary");
    EXPECT_EQ(parseSplodeArguments(std::vector<std::string>{"a\xff"}).options->text,
              "a\xef\xbf\xbd");
    for (std::vector<std::string> bad : {std::vector<std::string>{}, {"a", "b"}, {"--bogus"}}) {
        CommandRun r = runSplodeWith(bad);
        EXPECT_EQ(r.status, 2);
        EXPECT_NE(r.err.find("usage: kernova splode"), std::string::npos);
    }
}

TEST(KernovaCommands, SendAndSplodeReachKernovad) {
    KernovadProcess daemon;
    ASSERT_TRUE(daemon.started());
    EXPECT_EQ(runSendWith({"copyText", "text=words", "n=i:3"}).status, 0);
    EXPECT_EQ(runSendWith({"--empty", "showRunning"}).status, 0);
    EXPECT_EQ(runSendWith({"popButton"}).status, 0);
    EXPECT_EQ(runSplodeWith({"hello world"}).status, 0);
    ASSERT_TRUE(kernovadReceived(4));
    std::optional<nlohmann::json> state = screenState(desktop::sessionConnection());
    ASSERT_TRUE(state.has_value());
    ASSERT_EQ((*state)["tags"].size(), 3u);
    EXPECT_EQ((*state)["tags"][2]["text"], "world");
    EXPECT_EQ(runSplodeWith({"-"}, "from stdin\n").status, 0);
    QGuiApplication::clipboard()->setText(QStringLiteral("copied text"));
    EXPECT_EQ(runSplodeWith({"--clipboard"}).status, 0);
    ASSERT_TRUE(kernovadReceived(6));
    std::string printed = receivedMessages(desktop::sessionConnection())
                              .value_or(QStringList{})
                              .join('\n')
                              .toStdString();
    for (const char* expected :
         {"copyText (2 keys): ignored", "showRunning (0 keys): running indicator shown",
          "popButton (no dictionary): no button",
          "notifySplode (2 keys): panel opened: 3 tags from 11 bytes",
          "notifySplode (2 keys): dropped: a panel has just popped up"})
        EXPECT_NE(printed.find(expected), std::string::npos) << expected << "\nin " << printed;
    EXPECT_EQ(printed.find("copied"), std::string::npos) << "no text leaves kernovad";
    EXPECT_EQ(daemon.terminate(), 0);
}

TEST(KernovaCommands, SetTellsTheProcessesOnTheBus) {
    desktop::DBusSystemNotifications notifications;
    ASSERT_TRUE(notifications.sync());
    int owner = 0;
    int reloads = 0;
    notifications.observe(kReloadPreferencesNotification, &owner, [&] { ++reloads; });
    QProcess cli;
    cli.start(desktopCliPath(), {"set", "enabled", "YES"});
    ASSERT_TRUE(cli.waitForFinished(10000));
    EXPECT_EQ(cli.exitCode(), 0) << cli.readAllStandardError().toStdString();
    EXPECT_TRUE(waitFor([&] { return reloads == 1; }));

    // A refused value changes nothing and tells nobody.
    cli.start(desktopCliPath(), {"set", "enabled", "maybe"});
    ASSERT_TRUE(cli.waitForFinished(10000));
    EXPECT_EQ(cli.exitCode(), 2);
    cli.start(desktopCliPath(), {"get", "enabled"});
    ASSERT_TRUE(cli.waitForFinished(10000));
    EXPECT_EQ(cli.readAllStandardOutput().toStdString(), "YES\n");
    EXPECT_EQ(reloads, 1);
    notifications.removeObservers(&owner);
}

TEST(KernovaCommands, SelectionsNeedADisplay) {
    CommandRun offscreen = runSplodeWith({"--primary"});
    EXPECT_EQ(offscreen.status, 1);
    EXPECT_NE(offscreen.err.find("no PRIMARY selection"), std::string::npos) << offscreen.err;

    QProcess cli;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        env.remove(name);
    cli.setProcessEnvironment(env);
    cli.start(desktopCliPath(), {"splode", "--clipboard"});
    ASSERT_TRUE(cli.waitForFinished(10000));
    EXPECT_EQ(cli.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(cli.exitCode(), 1);
    EXPECT_EQ(cli.readAllStandardError().toStdString(),
              "kernova splode: no display (DISPLAY is not set)\n");
}

TEST(KernovaCommands, WithoutAServiceOrABusSendFailsClearly) {
    QProcess cli;
    // A bus of its own with the system's stock configuration: nothing to activate.
    cli.start(QStringLiteral("dbus-run-session"), {"--", desktopCliPath(), "send", "popButton"});
    ASSERT_TRUE(cli.waitForFinished(10000));
    EXPECT_EQ(cli.exitCode(), 1);
    EXPECT_NE(cli.readAllStandardError().toStdString().find(
                  "kernova: the message center is not running and cannot be started"),
              std::string::npos);

    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
               QStringLiteral("unix:path=/nonexistent"));
    cli.setProcessEnvironment(env);
    cli.start(desktopCliPath(), {"send", "popButton"});
    ASSERT_TRUE(cli.waitForFinished(10000));
    EXPECT_EQ(cli.exitCode(), 1);
    EXPECT_EQ(cli.readAllStandardError().toStdString(),
              "kernova: cannot connect to the session bus\n");
}

}  // namespace
}  // namespace kernova::cli
