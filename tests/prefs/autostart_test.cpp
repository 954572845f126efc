// "Start at login" on plain files: each starting state switched on and off,
// with the files it leaves; and the switch on the General page.
#include "kernova/prefs/autostart.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>
#include <filesystem>
#include <optional>

#include "base/desktop_entries.h"
#include "kernova/prefs/preferences_window.h"
#include "support_lib/temp_dir.h"

namespace kernova::prefs {
namespace {

using kernova::testing::TempDir;

constexpr const char* kSystem =
    "[Desktop Entry]\nType=Application\nName=Kernova\nHidden=false\nExec=kernovad --autostart\n";
constexpr const char* kSystemOff =
    "[Desktop Entry]\nHidden=true\nType=Application\nName=Kernova\nExec=kernovad --autostart\n";
constexpr const char* kSystemOn =
    "[Desktop Entry]\nType=Application\nName=Kernova\nExec=kernovad --autostart\n";
constexpr const char* kEdited =
    "# mine\n[Desktop Entry]\nType=Application\nName=Kernova\nExec=/home/me/kd --autostart\n"
    "[Other]\nHidden=keep\n";
constexpr const char* kEditedOff =
    "# mine\n[Desktop Entry]\nHidden=true\nType=Application\nName=Kernova\n"
    "Exec=/home/me/kd --autostart\n[Other]\nHidden=keep\n";
constexpr const char* kGnomeOff =
    "[Desktop Entry]\nType=Application\nName=Kernova\nX-GNOME-Autostart-enabled=false\n"
    "Exec=kernovad --autostart\n";
constexpr const char* kFull = "(full entry)";  // autostartEntry(kernovad)

struct Case {
    const char* name;
    std::optional<std::string> user, system;
    bool on;
    std::optional<std::string> userAfter;  // absent: no user copy
    bool starts;
    bool ok = true;
    bool blocked = false;  // the user's autostart folder cannot be made
};

class AutostartStates : public ::testing::TestWithParam<Case> {};

TEST_P(AutostartStates, SwitchingLeavesTheseFiles) {
    const Case& c = GetParam();
    TempDir dir;
    const AutostartFolders folders{dir / "home/autostart", {dir / "none", dir / "etc/autostart"}};
    const std::filesystem::path kernovad = dir / "my bin/kernovad";
    if (c.blocked) dir.write("home/autostart", "a file");
    if (c.user) dir.write(std::string("home/autostart/") + kAutostartFileName, *c.user);
    if (c.system) dir.write(std::string("etc/autostart/") + kAutostartFileName, *c.system);

    const AutostartChange change = setStartAtLogin(folders, c.on, kernovad);
    EXPECT_EQ(change.ok, c.ok) << change.error;
    EXPECT_EQ(change.error.empty(), c.ok);
    EXPECT_EQ(startsAtLogin(folders), c.starts);
    const auto userFile = folders.user / kAutostartFileName;
    if (!c.userAfter) {
        EXPECT_FALSE(std::filesystem::exists(userFile));
    } else {
        const std::string want = *c.userAfter == kFull ? autostartEntry(kernovad) : *c.userAfter;
        EXPECT_EQ(dir.read(std::string("home/autostart/") + kAutostartFileName), want);
    }
    if (c.system) {  // the installed entry is never touched
        EXPECT_EQ(dir.read(std::string("etc/autostart/") + kAutostartFileName), *c.system);
    }
    if (!c.blocked && std::filesystem::exists(folders.user)) {  // no temporary file stays
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folders.user), {}),
                  c.userAfter ? 1 : 0);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Autostart, AutostartStates,
    ::testing::Values(Case{"SystemOnlyOff", {}, kSystem, false, kSystemOff, false},
                      Case{"SystemOnlyOn", {}, kSystem, true, {}, true},
                      Case{"HiddenCopyOn", kSystemOff, kSystem, true, {}, true},
                      Case{"HiddenCopyOff", kSystemOff, kSystem, false, kSystemOff, false},
                      Case{"NothingOn", {}, {}, true, kFull, true},
                      Case{"NothingOff", {}, {}, false, {}, false},
                      Case{"CopyWithoutSystemOff", kSystemOn, {}, false, kSystemOff, false},
                      Case{"HiddenCopyWithoutSystemOn", kSystemOff, {}, true, kSystemOn, true},
                      Case{"SystemHiddenOn", {}, kSystemOff, true, kSystemOn, true},
                      Case{"EditedOn", kEdited, kSystem, true, kEdited, true},
                      Case{"EditedOff", kEdited, kSystem, false, kEditedOff, false},
                      Case{"EditedHiddenOn", kEditedOff, kSystem, true, kEdited, true},
                      Case{"GnomeOffOn", kGnomeOff, kSystem, true, {}, true},
                      Case{"GnomeOffWithoutSystemOn", kGnomeOff, {}, true, kSystemOn, true},
                      Case{"UnwritableOff", {}, kSystem, false, {}, true, false, true},
                      Case{"UnwritableOn", {}, {}, true, {}, false, false, true}),
    [](const ::testing::TestParamInfo<Case>& row) { return std::string(row.param.name); });

TEST(Autostart, TheFullEntryStartsKernovadAsNamedHoweverItsPathIsSpelt) {
    const std::string path = "/opt/my \"k\" $x\\%/kernovad";
    const std::string text = autostartEntry(path);
    const auto entry =
        parseDesktopEntry(text, [](const char*) { return std::optional<std::string>(); });
    ASSERT_TRUE(entry);
    EXPECT_NE(text.find("NoDisplay=true"), std::string::npos);  // the installed entry's keys
    EXPECT_EQ(expandExec(*entry, {}), (std::vector<std::string>{path, "--autostart"}));
}

TEST(Autostart, KernovadIsFoundBesideThenInTheInstalledLayoutThenOnPath) {
    TempDir dir;
    const auto executable = [&](const std::string& name) {
        std::filesystem::permissions(dir.write(name, "#!/bin/sh\n"),
                                     std::filesystem::perms::owner_all);
    };
    executable("bin/kernovad");
    EXPECT_EQ(findKernovad(dir / "libexec/kernova", "../../bin", {}), dir / "bin/kernovad");
    executable("libexec/kernova/kernovad");
    EXPECT_EQ(findKernovad(dir / "libexec/kernova", "../../bin", {}),
              dir / "libexec/kernova/kernovad");
    EXPECT_EQ(findKernovad(dir / "elsewhere", "../../bin", dir / "missing"), "kernovad");
}

TEST(Autostart, TheSwitchWritesTheEntryAndShowsWhatFailed) {
    TempDir dir;
    dir.write(std::string("etc/autostart/") + kAutostartFileName, kSystem);
    WindowOptions options;
    options.paths = Paths{dir / "prefs", dir / "bundle"};
    options.environment = [&](const char* name) -> std::optional<std::string> {
        const std::string n = name;
        if (n == "XDG_CONFIG_HOME") return (dir / "home").string();
        if (n == "XDG_CONFIG_DIRS") return (dir / "etc").string();
        return std::nullopt;
    };
    PreferencesWindow window(std::move(options));
    auto* box = window.findChild<QCheckBox*>("startAtLogin");
    auto* error = window.findChild<QLabel*>("startAtLoginError");
    ASSERT_TRUE(box && error);
    EXPECT_TRUE(box->isChecked());

    dir.write("home/autostart", "not a folder");
    box->click();
    EXPECT_TRUE(box->isChecked());
    EXPECT_FALSE(error->isHidden());
    EXPECT_TRUE(error->text().contains("home/autostart")) << error->text().toStdString();

    std::filesystem::remove(dir / "home/autostart");
    box->click();
    EXPECT_FALSE(box->isChecked());
    EXPECT_TRUE(error->isHidden());
    EXPECT_EQ(dir.read(std::string("home/autostart/") + kAutostartFileName), kSystemOff);
    EXPECT_FALSE(window.hasEdits());
    EXPECT_FALSE(std::filesystem::exists(dir / "prefs"));
    box->click();
    EXPECT_TRUE(box->isChecked());
    EXPECT_FALSE(std::filesystem::exists(dir / "home/autostart" / kAutostartFileName));

    dir.write(std::string("home/autostart/") + kAutostartFileName, kSystemOff);  // elsewhere
    window.showPage(SettingsPage::general);
    EXPECT_FALSE(box->isChecked());
}

}  // namespace
}  // namespace kernova::prefs
