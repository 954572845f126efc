// `kernova set` and `kernova get`: the settings file through the key table.
#include "kernova/settings_command.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "base/paths.h"

namespace kernova::cli {
namespace {

struct Outcome {
    int status = -1;
    std::string out, err;
};

// Runs `kernova set` (announcing into *announced) or, without a counter, `kernova get`.
Outcome run(bool isSet, std::vector<std::string> args, int* announced = nullptr) {
    std::istringstream in;
    std::ostringstream out, err;
    ReloadAnnouncer announce;
    if (announced) announce = [announced](std::ostream&) { ++*announced; };
    Outcome r;
    r.status = isSet ? runSet(args, in, out, err, announce) : runGet(args, in, out, err);
    r.out = out.str();
    r.err = err.str();
    return r;
}
Outcome set(std::vector<std::string> args, int* announced = nullptr) {
    return run(true, std::move(args), announced);
}
Outcome get(std::vector<std::string> args) {
    return run(false, std::move(args));
}

class SettingsCommandTest : public ::testing::Test {
  protected:
    void SetUp() override { std::filesystem::remove(file); }
    std::string fileText() const {
        std::ifstream in(file, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    std::filesystem::path file =
        Paths{preferencesDirectory(processEnvironment()), {}}.settingsFile();
};

TEST_F(SettingsCommandTest, SetWritesTypedValuesThatGetReadsBack) {
    EXPECT_EQ(get({"enabled"}).out, "NO\n");
    int announced = 0;
    for (std::vector<std::string> args : {std::vector<std::string>{"enabled", "YES"},
                                          {"fontSize", "17"},
                                          {"popButton", "bottom"},
                                          {"verticalPosition", "-50"},
                                          {"--", "customMenuName", "-split-"}}) {
        Outcome r = set(args, &announced);
        EXPECT_EQ(r.status, 0) << args[0] << ": " << r.err;
        EXPECT_EQ(r.out, "");
    }
    EXPECT_EQ(announced, 5);
    EXPECT_EQ(get({"enabled"}).out, "YES\n");
    EXPECT_EQ(get({"fontSize"}).out, "17\n");
    EXPECT_EQ(get({"popButton"}).out, "1\n");
    EXPECT_EQ(get({"verticalPosition"}).out, "-50\n");
    EXPECT_EQ(get({"customMenuName"}).out, "-split-\n");
    EXPECT_NE(fileText().find("<key>enabled</key>\n\t<true/>"), std::string::npos);

    // Every user setting, one per line; texts quoted; internal keys left out.
    Outcome all = get({"--all"});
    EXPECT_EQ(all.status, 0);
    EXPECT_NE(all.out.find("enabled YES\n"), std::string::npos);
    EXPECT_NE(all.out.find("historyCount 20\n"), std::string::npos);
    EXPECT_NE(all.out.find("longPress \"translateText:\"\n"), std::string::npos);
    EXPECT_EQ(all.out.find("notifyFlag"), std::string::npos);
    EXPECT_EQ(get({"notifyFlag"}).out, "NO\n");  // still readable by name
}

TEST_F(SettingsCommandTest, RefusedValuesLeaveTheFileAsItWas) {
    ASSERT_EQ(set({"fontSize", "20"}).status, 0);
    const std::string before = fileText();
    int announced = 0;
    for (std::vector<std::string> args : {std::vector<std::string>{"fontSize", "-30"},
                                          {"enabled", "maybe"},
                                          {"notifyFlag", "YES"},
                                          {"bogus", "1"},
                                          {"enabled"},
                                          {}}) {
        Outcome r = set(args, &announced);
        EXPECT_EQ(r.status, 2) << (args.empty() ? "" : args[0]);
        EXPECT_NE(r.err.find("kernova set: "), std::string::npos);
    }
    EXPECT_EQ(set({"fontSize", "-30"}).err,
              "kernova set: \"fontSize\" takes a whole number from 6 to 96, or 0 for the "
              "default, not \"-30\"\n");
    EXPECT_EQ(fileText(), before);
    EXPECT_EQ(announced, 0);
    EXPECT_EQ(get({"bogus"}).status, 2);
    EXPECT_EQ(get({"enabled", "--all"}).status, 2);

    // A file that cannot be read is not overwritten; get says it reads as defaults.
    std::ofstream(file) << "<plist><dict>";
    Outcome r = set({"enabled", "YES"}, &announced);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("not a readable settings file"), std::string::npos);
    EXPECT_EQ(fileText(), "<plist><dict>");
    Outcome g = get({"fontSize"});
    EXPECT_EQ(g.out, "12\n");
    EXPECT_NE(g.err.find("not a readable settings file"), std::string::npos);
}

TEST_F(SettingsCommandTest, LostOutputIsAnError) {
    std::istringstream in;
    std::ostream lost(nullptr);  // every write fails
    std::ostringstream err;
    EXPECT_EQ(runGet(std::vector<std::string>{"--all"}, in, lost, err), 1);
    EXPECT_EQ(err.str(), "kernova get: cannot write the output\n");
}

}  // namespace
}  // namespace kernova::cli
