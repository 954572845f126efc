// The message dispatcher every transport uses, and the process log.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "base/log.h"
#include "base/message_dispatcher.h"

namespace kernova {
namespace {

TEST(MessageDispatcher, AMessageSentFromAHandlerRunsAfterIt) {
    MessageDispatcher dispatcher;
    std::vector<std::string> trace;
    dispatcher.registerForMessageName("outer", [&](const Message&) {
        trace.push_back("outer begins");
        dispatcher.dispatch(Message{"inner", {}});
        dispatcher.dispatch(Message{"unknown", {}});
        EXPECT_EQ(dispatcher.pending(), 2u);
        trace.push_back("outer ends");
    });
    dispatcher.registerForMessageName("inner", [&](const Message&) { trace.push_back("inner"); });
    dispatcher.setDropObserver([&](const Message& m, const std::string& reason) {
        trace.push_back(m.name + " " + reason);
    });
    dispatcher.dispatch(Message{"outer", {}});
    EXPECT_EQ(trace, (std::vector<std::string>{"outer begins", "outer ends", "inner",
                                               "unknown dropped: not a message of this server"}));
    EXPECT_EQ(dispatcher.pending(), 0u);
}

TEST(MessageDispatcher, AReplacedHandlerKeepsItsPlaceAndDictionariesKeepTheirShape) {
    MessageDispatcher dispatcher;
    std::vector<Value> seen;
    dispatcher.registerForMessageName("a", [](const Message&) { FAIL() << "replaced"; });
    dispatcher.registerForMessageName("b", {});
    dispatcher.registerForMessageName("a", [&](const Message& m) { seen.push_back(m.userInfo); });
    EXPECT_EQ(dispatcher.registeredNames(), (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(dispatcher.hasHandler("a"));
    EXPECT_FALSE(dispatcher.hasHandler("b")) << "an empty handler handles nothing";

    dispatcher.dispatch(Message{"a", {}});
    dispatcher.dispatch(Message{"a", Value(Dictionary{})});
    dispatcher.dispatch(Message{"a", Value(7)});
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_TRUE(seen[0].isAbsent());
    ASSERT_NE(seen[1].asDictionary(), nullptr);
    EXPECT_TRUE(seen[1].asDictionary()->empty());
    EXPECT_TRUE(seen[2].isAbsent());
}

TEST(MessageDispatcher, TextOverTheCommandsCapIsRefusedUpFront) {
    MessageDispatcher dispatcher;
    int handled = 0;
    std::vector<std::string> reasons;
    dispatcher.registerForMessageName("notifySplode", [&](const Message&) { ++handled; });
    dispatcher.setDropObserver(
        [&](const Message&, const std::string& reason) { reasons.push_back(reason); });
    std::string half(kMaxMessageTextBytes / 2, 'a');
    Value atTheCap(Dictionary{{"", Value(Array{Value(half), Value(Bytes(half.size()))})}});
    EXPECT_EQ(messageTextBytes(atTheCap), kMaxMessageTextBytes);
    dispatcher.dispatch(Message{"notifySplode", atTheCap});
    Value over(Dictionary{{"selection", Value(std::string(kMaxMessageTextBytes, 'b'))}});
    dispatcher.dispatch(Message{"notifySplode", over});
    EXPECT_EQ(handled, 1);
    ASSERT_EQ(reasons.size(), 1u);
    EXPECT_EQ(reasons[0].rfind("refused: 67108873 bytes of text", 0), 0u) << reasons[0];
}

TEST(Logger, LevelFromTheEnvironmentFiltersLines) {
    std::vector<std::string> lines;
    Logger log("kernovad");
    log.setSink([&](LogLevel, std::string_view line) { lines.emplace_back(line); });
    log.info("server", "hidden at the default level");
    log.warn("server", "shown");
    EXPECT_EQ(lines, std::vector<std::string>{"kernovad: warn: server: shown"});

    auto env = [](std::optional<std::string> value) {
        return [value](const char* name) -> std::optional<std::string> {
            return std::string(name) == "KERNOVA_LOG" ? value : std::nullopt;
        };
    };
    log.configure(env("debug"));
    EXPECT_EQ(log.level(), LogLevel::debug);
    log.configure(env(std::nullopt));
    EXPECT_EQ(log.level(), LogLevel::debug) << "unset leaves the level alone";
    lines.clear();
    log.configure(env("loud"));
    EXPECT_EQ(log.level(), LogLevel::warn);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("KERNOVA_LOG"), std::string::npos);
    log.configure(env("error"));
    log.warn("x", "dropped");
    EXPECT_EQ(lines.size(), 1u);
    EXPECT_EQ(parseLogLevel("info"), LogLevel::info);
    EXPECT_EQ(parseLogLevel("INFO"), std::nullopt);
}

}  // namespace
}  // namespace kernova
