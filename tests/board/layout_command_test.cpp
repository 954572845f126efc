// `kernova layout`: arguments, the frames it prints and its two formats.
#include "kernova/layout_command.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "base/virtual_run_loop.h"
#include "server/settings.h"

namespace kernova::cli {
namespace {

struct CommandRun {
    int code = 0;
    std::string out, err;
};

CommandRun run(std::vector<std::string> args, const std::string& input = {}) {
    std::istringstream in(input);
    std::ostringstream out, err;
    CommandRun r;
    r.code = runLayout(args, in, out, err);
    r.out = out.str();
    r.err = err.str();
    return r;
}

// The settings file of this test binary's private preferences folder.
void writeFontSize(std::int64_t size) {
    VirtualClock clock;
    VirtualRunLoop loop(clock);
    InProcessSystemNotifications notifications;
    Context context(loop, notifications, Paths{preferencesDirectory(processEnvironment()), {}});
    std::filesystem::create_directories(context.paths().preferences);
    (void)updateSettings(context, [&](Dictionary& d) { d["fontSize"] = Value(size); });
}

TEST(LayoutCommand, PrintsEveryFrameAndTheContentSize) {
    // "ab" is 2 x 7.2 + 18 = 32.4 wide; the space between the words is a tag too.
    CommandRun r = run({"--fixed-metrics", "ab cd"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out,
              "\"ab\" 10 15 32.4 30\n"
              "\" \" 46.4 15 25.2 30\n"
              "\"cd\" 75.6 15 32.4 30\n"
              "contentSize 0 60\n");
}

TEST(LayoutCommand, JsonAndNarrowBoardsWrap) {
    CommandRun r = run({"--json", "--width", "100", "-"}, "ab cd");
    ASSERT_EQ(r.code, 0) << r.err;
    auto doc = nlohmann::json::parse(r.out);
    ASSERT_EQ(doc["tags"].size(), 3u);
    EXPECT_EQ(doc["tags"][0]["text"], "ab");
    EXPECT_EQ(doc["tags"][2]["x"], 10.0);
    EXPECT_EQ(doc["tags"][2]["y"], 55.0);
    EXPECT_EQ(doc["contentSize"]["width"], 0.0);
    EXPECT_EQ(doc["contentSize"]["height"], 100.0);
}

TEST(LayoutCommand, FontSizeComesFromTheSettingsFile) {
    writeFontSize(17);
    CommandRun r = run({"--json", "word"});
    writeFontSize(0);
    auto doc = nlohmann::json::parse(r.out);
    EXPECT_EQ(doc["tags"][0]["height"], 35.0);
    EXPECT_EQ(doc["contentSize"]["height"], 65.0);
}

TEST(LayoutCommand, EmptyInputHasNoTagsAndBadArgumentsExitTwo) {
    CommandRun empty = run({"--json"}, "");
    EXPECT_EQ(empty.code, 0);
    EXPECT_EQ(nlohmann::json::parse(empty.out)["tags"].size(), 0u);
    for (std::vector<std::string> bad : {std::vector<std::string>{"--width"},
                                         {"--width", "-3"},
                                         {"--width", "nan"},
                                         {"--width", "1e-320"},
                                         {"--width", "0.5"},
                                         {"--width", "12px"},
                                         {"--bogus"},
                                         {"a", "b"}}) {
        CommandRun r = run(bad);
        EXPECT_EQ(r.code, 2) << bad[0];
        EXPECT_NE(r.err.find(kLayoutUsage), std::string::npos);
        EXPECT_TRUE(r.out.empty());
    }
    EXPECT_EQ(run({"--help"}).code, 0);
    // Invalid UTF-8 is laid out as U+FFFD, not refused.
    EXPECT_EQ(run({std::string("a\xff")}).code, 0);
}

}  // namespace
}  // namespace kernova::cli
