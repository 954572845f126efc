#include "kernova/split_command.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "kernova/cli.h"
#include "segment/splode_box.h"
#include "support_lib/temp_dir.h"

namespace kernova::cli {
namespace {

using Args = std::vector<std::string>;

SplitParse parse(const Args& args) {
    return parseSplitArguments(args);
}

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

Outcome runInProcess(const Args& args, const std::string& input) {
    std::istringstream in(input);
    std::ostringstream out, err;
    Outcome r;
    r.status = runSplit(args, in, out, err);
    r.out = out.str();
    r.err = err.str();
    return r;
}

TEST(SplitArguments, BadArgumentsAreErrorsAndDashesEndOptions) {
    for (const Args& args : std::vector<Args>{{"--all", "--option", "1"},
                                              {"--all", "--all"},
                                              {"--option"},
                                              {"--option", "-1"},
                                              {"--option", "x4"},
                                              {"--option", "99999999999999999999999"},
                                              {"--verbose"},
                                              {"one", "two"}}) {
        auto result = parse(args);
        EXPECT_FALSE(result.options) << args.front();
        EXPECT_FALSE(result.error.empty());
    }
    // The modes run in SplitRun; after "--" an option is the text.
    EXPECT_EQ(parse({"--", "--all"}).options->text, "--all");
}

TEST(SplitFormat, PlainLinesAndJsonArrayOfLiterals) {
    EXPECT_EQ(jsonStringLiteral("a \"q\" \\"), R"("a \"q\" \\")");
    EXPECT_EQ(jsonStringLiteral("\n\t\x01\x7f"), "\"\\n\\t\\u0001\x7f\"");
    EXPECT_EQ(jsonStringLiteral("中 \U0001F600"), "\"中 \U0001F600\"");
    // The streamed literal is the same as the one-piece literal.
    for (std::string text : {"", "plain", "a \"q\" \\", "\b\f\n\r\t\x01\x1f", "中\x7f"}) {
        std::ostringstream streamed;
        writeJsonStringLiteral(streamed, text);
        EXPECT_EQ(streamed.str(), jsonStringLiteral(text)) << text;
    }
    std::vector<GSplodeItem> items{{"hi", false}, {" ", true}, {"\n", true}};
    EXPECT_EQ(formatSegments(items, false), "\"hi\"\n\" \" symbol\n\"\\n\" symbol\n");
    EXPECT_EQ(formatSegments({}, false), "");
    std::vector<GSplodeItem> words{{"中文", false}, {",", true}};
    EXPECT_EQ(formatSegments(words, true),
              "[{\"text\":\"中文\",\"symbol\":false},{\"text\":\",\",\"symbol\":true}]\n");
    EXPECT_EQ(formatSegments({}, true), "[]\n");
}

TEST(SplitInput, ReadLimitedRefusesOversizedInput) {
    std::istringstream exact(std::string(100, 'x'));
    EXPECT_EQ(readLimited(exact, 100)->size(), 100u);
    std::istringstream over(std::string(101, 'x'));
    EXPECT_FALSE(readLimited(over, 100));
    std::istringstream none("");
    EXPECT_EQ(readLimited(none, 0), "");
}

TEST(SplitRun, ReadsStdinOrTextAndPicksTheSplit) {
    EXPECT_EQ(runInProcess({}, "a, b").out, "\"a\"\n\",\" symbol\n\" \" symbol\n\"b\"\n");
    EXPECT_EQ(runInProcess({"x y"}, "ignored").out, "\"x\"\n\" \" symbol\n\"y\"\n");
    EXPECT_EQ(runInProcess({"--all", "-"}, "a b").out, "\"a\"\n\" \"\n\"b\"\n");
    EXPECT_EQ(runInProcess({"--option", "1", "a b a"}, "").out, "\"a\"\n\"b\"\n");
    EXPECT_EQ(runInProcess({"--json"}, "").out, "[]\n");
    Outcome invalid = runInProcess({}, "a\xFF");
    EXPECT_EQ(invalid.status, 0);
    EXPECT_EQ(invalid.out, "\"a\"\n\"\uFFFD\" symbol\n");
}

// Runs the built command with `input` on stdin; its output goes to `output`
// (a shell redirection) when one is given.
Outcome runCommand(const std::string& arguments, const std::string& input,
                   const std::string& output = {}) {
    kernova::testing::TempDir dir;
    auto in = dir.write("in", input);
    std::string command = std::string("'") + KERNOVA_BINARY + "' " + arguments + " < '" +
                          in.string() + "' " +
                          (output.empty() ? "> '" + (dir / "out").string() + "'" : output) +
                          " 2> '" + (dir / "err").string() + "'";
    int raw = std::system(command.c_str());
    Outcome r;
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    r.out = dir.read("out");
    r.err = dir.read("err");
    return r;
}

// The output formats are checked in process; the built command's exit statuses here.
TEST(SplitCommand, EndToEnd) {
    Outcome plain = runCommand("split", "\u201CHi\u201D \U0001F1EF\U0001F1F5");
    EXPECT_EQ(plain.status, 0);
    EXPECT_EQ(plain.out,
              "\"\u201C\" symbol\n\"Hi\"\n\"\u201D\" symbol\n\" \" symbol\n"
              "\"\U0001F1EF\U0001F1F5\" symbol\n");
    Outcome bad = runCommand("split --option", "");
    EXPECT_EQ(bad.status, 2);
    EXPECT_TRUE(bad.out.empty());
    EXPECT_NE(bad.err.find(kSplitUsage), std::string::npos);
    EXPECT_NE(runCommand("split --help", "").out.find(kSplitUsage), std::string::npos);
    EXPECT_EQ(runCommand("", "").status, 2);
    EXPECT_EQ(runCommand("frobnicate", "").status, 2);
    EXPECT_EQ(runCommand("--help", "").status, 0);
}

// Output that cannot be written is a failure, not a success with nothing printed.
TEST(SplitCommand, LostOutputIsAnError) {
    for (const char* where : {">/dev/full", ">&-"}) {
        Outcome r = runCommand("split 'a b'", "", where);
        EXPECT_EQ(r.status, 1) << where;
        EXPECT_NE(r.err.find("kernova split: cannot write the output"), std::string::npos) << where;
    }
}

TEST(SplitCommand, RefusesStdinOver64MiB) {
    Outcome r = runCommand("split", std::string(kMaxInputBytes + 1, 'a'));
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(r.out.empty());
    EXPECT_NE(r.err.find("64 MiB"), std::string::npos);
}

}  // namespace
}  // namespace kernova::cli
