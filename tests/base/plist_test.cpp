#include "base/plist.h"

#include <gtest/gtest.h>
#include <plist/plist.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "support_lib/temp_dir.h"

namespace kernova {
namespace {

using testing::TempDir;

Value sampleValue() {
    return Value(Dictionary{
        {"bool", Value(true)},
        {"int", Value(-42)},
        {"big", Value(std::int64_t{1} << 40)},
        {"real", Value(2.5)},
        {"text", Value("中文 and emoji 😀 <&>")},
        {"data", Value(Bytes{0, 1, 2, 255})},
        {"date", Value(Date{86400})},  // XML keeps whole seconds
        {"list", Value(Array{Value("a"), Value(Array{}), Value(Dictionary{})})},
    });
}

TEST(PropertyListFiles, XmlRoundTripKeepsEveryType) {
    TempDir dir;
    auto path = dir / "round.plist";
    ASSERT_TRUE(savePropertyList(path, sampleValue()));
    EXPECT_EQ(loadPropertyList(path), sampleValue());
    EXPECT_NE(dir.read("round.plist").find("<?xml"), std::string::npos);
}

TEST(PropertyListFiles, ReadsBinaryPropertyLists) {
    plist_t dict = plist_new_dict();
    plist_dict_set_item(dict, "enabled", plist_new_bool(1));
    plist_dict_set_item(dict, "style", plist_new_uint(2));
    char* bin = nullptr;
    std::uint32_t len = 0;
    plist_to_bin(dict, &bin, &len);
    std::string bytes(bin, len);
    plist_to_bin_free(bin);
    plist_free(dict);

    TempDir dir;
    Value v = loadPropertyList(dir.write("bin.plist", bytes));
    EXPECT_TRUE(v["enabled"].boolValue());
    EXPECT_EQ(v["style"].integerValue(), 2);
}

TEST(PropertyListFiles, BadFilesReadAsAbsentAndInvalidUtf8IsRepaired) {
    TempDir dir;
    const std::string xmlHead =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">";
    EXPECT_TRUE(loadPropertyList(dir / "missing.plist").isAbsent());
    EXPECT_TRUE(loadPropertyList(dir.write("empty.plist", "")).isAbsent());
    EXPECT_TRUE(loadPropertyList(dir.write("junk.plist", "not a plist at all")).isAbsent());
    EXPECT_TRUE(
        loadPropertyList(dir.write("cut.plist", xmlHead + "<dict><key>a</key>")).isAbsent());
    EXPECT_TRUE(loadPropertyList(dir.write("bplist.plist", "bplist00\x01\x02\x03")).isAbsent());
    std::filesystem::create_directory(dir / "folder.plist");
    EXPECT_TRUE(loadPropertyList(dir / "folder.plist").isAbsent());
    // A root that is not a dictionary is fine for a plain load but not for a dictionary load.
    auto arrayFile =
        dir.write("array.plist", xmlHead + "<array><string>x</string></array></plist>");
    EXPECT_TRUE(loadPropertyList(arrayFile).asArray());
    EXPECT_TRUE(loadDictionary(arrayFile).isAbsent());
    // Too large to read, or nested too deep to parse without crashing.
    std::filesystem::resize_file(dir.write("huge.plist", "<?xml"), kMaxPropertyListBytes + 1);
    EXPECT_TRUE(loadPropertyList(dir / "huge.plist").isAbsent());
    std::string deep = xmlHead;
    for (int i = 0; i < 100000; ++i)
        deep += "<array>";
    for (int i = 0; i < 100000; ++i)
        deep += "</array>";
    EXPECT_TRUE(loadPropertyList(dir.write("deep.plist", deep + "</plist>")).isAbsent());

    // Invalid UTF-8 is repaired, not refused.
    std::string xml =
        "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>k</key><string>a\xFF"
        "b</string></dict></plist>";
    Value v = loadPropertyList(dir.write("bad-utf8.plist", xml));
    EXPECT_EQ(v["k"].stringValue(),
              "a\xEF\xBF\xBD"
              "b");
}

TEST(AtomicSave, ReplacesWholeFileAndLeavesNoTemporary) {
    TempDir dir;
    ASSERT_TRUE(savePropertyList(dir / "a" / "b" / "new.plist", Value(Dictionary{})));
    EXPECT_TRUE(loadDictionary(dir / "a" / "b" / "new.plist").asDictionary()) << "folders made";
    std::filesystem::remove_all(dir / "a");
    auto path = dir / "prefs.plist";
    ASSERT_TRUE(savePropertyList(path, Value(Dictionary{{"v", Value(1)}})));
    ::chmod(path.c_str(), 0640);
    ASSERT_TRUE(savePropertyList(path, Value(Dictionary{{"v", Value(2)}})));
    EXPECT_EQ(loadPropertyList(path)["v"].integerValue(), 2);
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"prefs.plist"});
    struct stat st {};
    ASSERT_EQ(::stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
}

TEST(AtomicSave, FailureLeavesThePreviousFileUntouched) {
    TempDir dir;
    auto path = dir / "prefs.plist";
    ASSERT_TRUE(savePropertyList(path, Value(Dictionary{{"v", Value(1)}})));
    std::string before = dir.read("prefs.plist");

    SaveResult absent = savePropertyList(path, Value());
    EXPECT_FALSE(absent);
    EXPECT_FALSE(absent.error.empty());

    if (::geteuid() != 0) {  // root writes into read-only folders anyway
        ::chmod(dir.path().c_str(), 0500);
        SaveResult denied = savePropertyList(path, Value(Dictionary{{"v", Value(2)}}));
        ::chmod(dir.path().c_str(), 0700);
        EXPECT_FALSE(denied);
    }
    // The target is a folder: rename fails after the temporary file was written.
    std::filesystem::create_directory(dir / "taken.plist");
    std::filesystem::create_directory(dir / "taken.plist" / "child");
    SaveResult blocked = savePropertyList(dir / "taken.plist", Value(Dictionary{}));
    EXPECT_FALSE(blocked);
    EXPECT_NE(blocked.error.find("taken.plist"), std::string::npos);

    EXPECT_EQ(dir.read("prefs.plist"), before);
    EXPECT_EQ(dir.entries(), (std::vector<std::string>{"prefs.plist", "taken.plist"}));
}

}  // namespace
}  // namespace kernova
