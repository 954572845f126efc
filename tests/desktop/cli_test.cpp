// `kernova send` and `kernova splode`: argument parsing, and end to end against
// a running kernovad, checked through its debug query.
#include <gtest/gtest.h>

#include <QClipboard>
#include <QGuiApplication>
#include <QProcessEnvironment>
#include <sstream>
#include <tuple>

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
    QGuiApplication::clipboard()->setText(QStringLiteral("copied text"));
    // Each command and kernovad's outcome for it; the text never leaves kernovad.
    const std::tuple<std::vector<std::string>, std::string, std::string> cases[] = {
        {{"send", "copyText", "text=zebra", "n=i:3"}, "", "copyText (2 keys): ignored"},
        {{"send", "--empty", "showRunning"}, "", "showRunning (0 keys): running indicator shown"},
        {{"send", "popButton"}, "", "popButton (no dictionary): no button"},
        {{"splode", "hello world"},
         "",
         "notifySplode (2 keys): panel opened: 3 tags from 11 bytes"},
        {{"splode", "-"},
         "from stdin\n",
         "notifySplode (2 keys): dropped: a panel has just popped up"},
        {{"splode", "--clipboard"},
         "",
         "notifySplode (2 keys): dropped: a panel has just popped up"}};
    QDBusConnection bus = desktop::sessionConnection();
    for (const auto& [args, input, outcome] : cases) {
        const std::optional<qulonglong> before = receivedCount(bus);
        const std::vector<std::string> rest(args.begin() + 1, args.end());
        const CommandRun r = args[0] == "send" ? runSendWith(rest) : runSplodeWith(rest, input);
        EXPECT_EQ(r.status, 0) << args[1] << ": " << r.err;
        ASSERT_TRUE(before && waitFor([&] { return receivedCount(bus) > before; })) << outcome;
        const std::string last =
            receivedMessages(bus).value_or(QStringList{"(none)"}).back().toStdString();
        EXPECT_EQ(last.rfind(outcome, 0), 0u) << last;
    }
    EXPECT_EQ(screenState(bus).value_or(nlohmann::json())["tags"][2]["text"], "world");
    EXPECT_EQ(daemon.terminate(), 0);
    const std::string log = daemon.process().readAllStandardError().toStdString();
    for (const char* text : {"zebra", "hello", "stdin", "copied"})
        EXPECT_EQ(log.find(text), std::string::npos) << "no text leaves kernovad: " << text;
}

TEST(KernovaCommands, SetTellsTheProcessesOnTheBusUnlessItRefuses) {
    desktop::DBusSystemNotifications notifications;
    ASSERT_TRUE(notifications.sync());
    int owner = 0;
    int reloads = 0;
    notifications.observe(kReloadPreferencesNotification, &owner, [&] { ++reloads; });
    EXPECT_EQ(runProgram(desktopCliPath(), {"set", "enabled", "YES"}).status, 0);
    EXPECT_TRUE(waitFor([&] { return reloads == 1; }));
    EXPECT_EQ(runProgram(desktopCliPath(), {"set", "enabled", "maybe"}).status, 2);
    EXPECT_EQ(runProgram(desktopCliPath(), {"get", "enabled"}).out, "YES\n");
    EXPECT_EQ(reloads, 1);
    notifications.removeObservers(&owner);
}

TEST(KernovaCommands, WithoutADisplayOrAServiceOrABusTheyFailClearly) {
    CommandRun offscreen = runSplodeWith({"--primary"});
    EXPECT_EQ(offscreen.status, 1);
    EXPECT_NE(offscreen.err.find("no PRIMARY selection"), std::string::npos) << offscreen.err;

    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        env.remove(name);
    ProgramRun noDisplay = runProgram(desktopCliPath(), {"splode", "--clipboard"}, env);
    EXPECT_EQ(noDisplay.status, 1);
    EXPECT_EQ(noDisplay.err, "kernova splode: no display (DISPLAY is not set)\n");
    // A bus of its own with the system's stock configuration: nothing to activate.
    ProgramRun inactive = runProgram(QStringLiteral("dbus-run-session"),
                                     {"--", desktopCliPath(), "send", "popButton"});
    EXPECT_EQ(inactive.status, 1);
    EXPECT_NE(inactive.err.find("kernova: the message center is not running and cannot be started"),
              std::string::npos);
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
               QStringLiteral("unix:path=/nonexistent"));
    ProgramRun busless = runProgram(desktopCliPath(), {"send", "popButton"}, env);
    EXPECT_EQ(busless.status, 1);
    EXPECT_EQ(busless.err, "kernova: cannot connect to the session bus\n");
}

}  // namespace
}  // namespace kernova::cli
