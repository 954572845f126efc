// "shareText" on the simulated device: the sheet's entries (Save as…, Email,
// and the applications a private data folder lists for text/plain), what
// Email and Save as… hand the host, cancelling, and the private files given
// to applications.
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "server/server_fixture.h"
#include "server/share_activities.h"
#include "ui/activity.h"

namespace kernova::testing {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSecret = "secret words";

void writeFile(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

unsigned modeOf(const fs::path& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return 0;
    return info.st_mode & 07777;
}

std::vector<fs::path> filesIn(const fs::path& folder) {
    std::vector<fs::path> files;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec))
        files.push_back(entry.path());
    return files;
}

class ShareTest : public ServerFixture {
  protected:
    ShareTest() {
        const fs::path home = data / "home" / "applications";
        writeFile(home / "zed.desktop",
                  "[Desktop Entry]\nType=Application\nName=Zed Editor\nName[fr]=Éditeur Zed\n"
                  "Icon=zed-icon\nExec=zed --new %f\nMimeType=text/plain;\n");
        writeFile(home / "alpha.desktop",
                  "[Desktop Entry]\nType=Application\nName=Alpha Notes\nIcon=/icons/alpha.png\n"
                  "Exec=alpha %F\nMimeType=text/markdown;text/plain;\n");
        // Which entries open text (shown ones only) is the desktop-entry tests'.
        writeFile(home / "viewer.desktop",
                  "[Desktop Entry]\nType=Application\nName=Viewer\nExec=viewer %f\n"
                  "MimeType=image/png;\n");
        host.setEnvironment({{"XDG_DATA_HOME", (data / "home").string()},
                             {"XDG_DATA_DIRS", (data / "system").string()},
                             {"LANG", "fr_FR.UTF-8"}});
        server.services().urlOpener().installScheme("mailto");
    }

    std::shared_ptr<ui::ActivityViewController> share(const std::string& text) {
        app.messageSender().sendMessageName("shareText",
                                            Value(Dictionary{{"shareText", Value(text)}}));
        device.runUntilIdle();
        auto presented = driver.presentedControllers();
        if (presented.empty()) return nullptr;
        return std::dynamic_pointer_cast<ui::ActivityViewController>(presented.back());
    }

    fs::path data = device.temporaryDirectory() / "xdg";
};

TEST_F(ShareTest, TheSheetOffersSaveEmailAndTheApplicationsThatOpenTextAndCancelChangesNothing) {
    auto sheet = share(kSecret);
    ASSERT_NE(sheet, nullptr);
    std::vector<std::string> types, titles, icons;
    for (const auto& activity : sheet->availableApplicationActivities()) {
        types.push_back(activity->activityType());
        titles.push_back(activity->activityTitle());
        icons.push_back(activity->activityIconName());
    }
    EXPECT_EQ(types, (std::vector<std::string>{kShareSaveActivityType, kShareEmailActivityType,
                                               "fun.quorle.kernova.share.app:alpha.desktop",
                                               "fun.quorle.kernova.share.app:zed.desktop"}));
    // Sorted by the names shown, localized for the user's language.
    EXPECT_EQ(titles,
              (std::vector<std::string>{"Save as…", "Email", "Alpha Notes", "Éditeur Zed"}));
    EXPECT_EQ(icons, (std::vector<std::string>{"document-save-as", "mail-message-new",
                                               "/icons/alpha.png", "zed-icon"}));
    EXPECT_FALSE(sheet->isExcluded(ui::kActivityTypeCopyToPasteboard));
    EXPECT_NE(theServer.recentMessages().back().outcome.find("4 entries besides Copy"),
              std::string::npos);

    EXPECT_TRUE(driver.cancelShareSheet());
    EXPECT_TRUE(driver.presentedControllers().empty());

    // A click outside the sheet closes it too.
    ASSERT_NE(share(kSecret), nullptr);
    driver.tap({5, 5});
    EXPECT_TRUE(driver.presentedControllers().empty());

    // Neither choice did anything.
    EXPECT_TRUE(host.launches().empty());
    EXPECT_TRUE(host.savedTexts().empty());
    EXPECT_TRUE(server.services().urlOpener().openedURLs().empty());
    EXPECT_TRUE(filesIn(host.runtimeDirectory()).empty());
    EXPECT_EQ(device.pasteboard().string(), std::nullopt);
    EXPECT_TRUE(toasts().empty());
    expectNotInTheLog("secret");
}

// An application's private copy and a program that does not start are proven
// through kernovad's host in tests/desktop/share_host_test.cpp.
TEST_F(ShareTest, EmailAndSaveAsHandTheTextToTheHost) {
    const std::string text = "secret words\nand more & more";
    // Email: the text as the body of a mailto: URL.
    ASSERT_NE(share(text), nullptr);
    EXPECT_TRUE(driver.chooseActivity(kShareEmailActivityType));
    EXPECT_EQ(server.services().urlOpener().openedURLs(),
              std::vector<std::string>{"mailto:?body=secret%20words%0D%0Aand%20more%20%26%20more"});

    // Save as…: the host's dialog gets the text; here the user picks a file.
    const fs::path saved = device.temporaryDirectory() / "saved.txt";
    host.setSaveAnswer(saved);
    ASSERT_NE(share(text), nullptr);
    EXPECT_TRUE(driver.chooseActivity(kShareSaveActivityType));
    EXPECT_EQ(host.savedTexts(), std::vector<std::string>{text});
    EXPECT_EQ(readFile(saved), text);
    // Closing the dialog unchosen says nothing; a failed write says so.
    host.setSaveAnswer(std::nullopt);
    ASSERT_NE(share(text), nullptr);
    EXPECT_TRUE(driver.chooseActivity(kShareSaveActivityType));
    EXPECT_TRUE(toasts().empty());
    host.setSaveAnswer(device.temporaryDirectory() / "no-such-folder" / "saved.txt");
    ASSERT_NE(share(text), nullptr);
    EXPECT_TRUE(driver.chooseActivity(kShareSaveActivityType));
    EXPECT_EQ(toasts(), std::vector<std::string>{"The text could not be saved"});
    EXPECT_TRUE(host.launches().empty());
    expectNotInTheLog("secret");
}

TEST_F(ShareTest, PrivateFilesAreOnlyTheUsersAndTheCleanupRemovesThem) {
    const fs::path folder = device.temporaryDirectory() / "private";
    auto first = writePrivateTextFile(folder, "one");
    auto second = writePrivateTextFile(folder, "two");
    ASSERT_TRUE(first && second);
    EXPECT_NE(*first, *second);
    EXPECT_EQ(modeOf(folder), 0700u);
    EXPECT_EQ(modeOf(*first), 0600u);
    EXPECT_EQ(readFile(*second), "two");
    // Someone else's file in the folder stays.
    writeFile(folder / "notes.txt", "kept");
    EXPECT_EQ(removePrivateTextFiles(folder), 2u);
    EXPECT_EQ(filesIn(folder), std::vector<fs::path>{folder / "notes.txt"});
    EXPECT_EQ(removePrivateTextFiles(folder / "missing"), 0u);

    // A folder others may enter is closed to them first; a file is no folder.
    const fs::path open = device.temporaryDirectory() / "open";
    fs::create_directories(open);
    fs::permissions(open, fs::perms::owner_all | fs::perms::group_read | fs::perms::others_exec);
    EXPECT_TRUE(writePrivateTextFile(open, "x"));
    EXPECT_EQ(modeOf(open), 0700u);
    writeFile(device.temporaryDirectory() / "plain", "");
    EXPECT_FALSE(writePrivateTextFile(device.temporaryDirectory() / "plain", "x"));
}

}  // namespace
}  // namespace kernova::testing
