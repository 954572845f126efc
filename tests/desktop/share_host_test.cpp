// "shareText" through kernovad's host on a private Xvfb display: the server
// and DesktopServerHost run in this process; the share sheet's dialog lists an
// application from a private data folder (its Exec copies its file argument to
// a known path, so the copy shows what the application got), "Save as…" opens
// Qt's file dialog, which the test fills in and accepts, and a program that is
// missing gives a short notice.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QApplication>
#include <QFileDialog>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "base/context.h"
#include "base/message_dispatcher.h"
#include "base/notification_center.h"
#include "desktop/qt_run_loop.h"
#include "desktop/ui/presenter.h"
#include "desktop_support.h"
#include "kernovad/desktop_host.h"
#include "server/server.h"
#include "support_lib/temp_dir.h"

namespace kernova::daemon {
namespace {

namespace fs = std::filesystem;
using kernova::testing::waitFor;

constexpr const char* kText = "Shared line one\nligne deux ✓";
constexpr const char* kActivityPrefix = "activity-fun.quorle.kernova.share.";

// Messages handed straight to the dispatcher, as the bus would.
class LocalCenter final : public DispatchingMessageCenter {
  public:
    void send(const std::string& name, Value userInfo) {
        dispatcher_.dispatch(Message{name, std::move(userInfo)});
    }
};

class ShareHostTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (std::getenv("KERNOVA_NO_X11")) GTEST_SKIP() << "Xvfb is not available";
        if (const char* runtime = std::getenv("XDG_RUNTIME_DIR")) savedRuntime = runtime;
        ::setenv("XDG_DATA_HOME", (data / "home").c_str(), 1);
        ::setenv("XDG_DATA_DIRS", (data / "none").c_str(), 1);
        ::setenv("XDG_RUNTIME_DIR", (data / "run").c_str(), 1);
        fs::create_directories(data / "run");
        fs::create_directories(data / "home" / "applications");
        QImage icon(16, 16, QImage::Format_ARGB32);
        icon.fill(Qt::darkGreen);
        ASSERT_TRUE(icon.save(QString::fromStdString((data / "copier.png").string())));
        data.write("home/applications/copier.desktop",
                   "[Desktop Entry]\nType=Application\nName=Copier\nIcon=" +
                       (data / "copier.png").string() + "\nExec=cp %f " +
                       (data / "copied.txt").string() + "\nMimeType=text/plain;\n");
        data.write("home/applications/missing.desktop",
                   "[Desktop Entry]\nType=Application\nName=Missing\n"
                   "Exec=kernova-no-such-program %f\nMimeType=text/plain;\n");
        host = std::make_unique<DesktopServerHost>(context);
        server = std::make_unique<Server>(context, center, *host);
        server->start();
    }
    void TearDown() override {
        server.reset();
        host.reset();
        if (savedRuntime) ::setenv("XDG_RUNTIME_DIR", savedRuntime->c_str(), 1);
    }

    desktop::QtPresenter& presenter() { return *host->desktop().dialogPresenter(); }
    // The share sheet's dialog once it shows.
    QDialog* share() {
        center.send("shareText", Value(Dictionary{{"shareText", Value(kText)}}));
        QDialog* sheet = nullptr;
        waitFor([&] {
            for (const auto& shown : presenter().shownDialogs()) {
                if (shown.dialog->windowTitle() == QStringLiteral("Share")) sheet = shown.dialog;
            }
            return sheet != nullptr;
        });
        return sheet;
    }
    static QPushButton* entry(QDialog* sheet, const char* type) {
        return sheet->findChild<QPushButton*>(QString::fromLatin1(kActivityPrefix) +
                                              QString::fromLatin1(type));
    }

    kernova::testing::TempDir data;
    desktop::QtRunLoop loop;
    InProcessSystemNotifications system;
    Context context{loop, system, Paths{data / "prefs", data / "bundle"}};
    LocalCenter center;
    std::unique_ptr<DesktopServerHost> host;
    std::unique_ptr<Server> server;
    std::optional<std::string> savedRuntime;
};

TEST_F(ShareHostTest, AnApplicationGetsAPrivateCopySaveAsWritesTheChosenFileAMissingOneANotice) {
    QDialog* sheet = share();
    ASSERT_NE(sheet, nullptr);
    EXPECT_NE(entry(sheet, "save"), nullptr);
    EXPECT_NE(entry(sheet, "email"), nullptr);
    QPushButton* copier = entry(sheet, "app:copier.desktop");
    ASSERT_NE(copier, nullptr);
    EXPECT_EQ(copier->text(), QStringLiteral("Copier"));
    EXPECT_FALSE(copier->icon().isNull());

    copier->click();
    EXPECT_TRUE(waitFor([&] { return data.read("copied.txt") == kText; }))
        << data.read("copied.txt");
    std::vector<fs::path> privateFiles;
    for (const auto& file : fs::directory_iterator(data / "run" / "kernova"))
        privateFiles.push_back(file.path());
    ASSERT_EQ(privateFiles.size(), 1u);
    struct stat info {};
    ASSERT_EQ(::stat(privateFiles[0].c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EXPECT_TRUE(waitFor([&] { return presenter().shownDialogs().empty(); }));

    // Save as…: Qt's file dialog, filled in and accepted as a user would.
    sheet = share();
    ASSERT_NE(sheet, nullptr);
    entry(sheet, "save")->click();
    QFileDialog* dialog = nullptr;
    ASSERT_TRUE(waitFor([&] {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            auto* found = qobject_cast<QFileDialog*>(widget);
            if (found && found->isVisible()) dialog = found;
        }
        return dialog != nullptr;
    }));
    EXPECT_NE(dialog->windowModality(), Qt::ApplicationModal);
    EXPECT_TRUE(dialog->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    // Kept above the overlays with the presenter's own dialogs.
    bool kept = false;
    for (const auto& shown : presenter().shownDialogs())
        kept = kept || shown.dialog == dialog;
    EXPECT_TRUE(kept);
    dialog->selectFile(QString::fromStdString((data / "saved.txt").string()));
    static_cast<QDialog*>(dialog)->accept();  // as its Save button does
    EXPECT_TRUE(waitFor([&] { return data.read("saved.txt") == kText; })) << data.read("saved.txt");

    // A program that is missing gives a short notice.
    ASSERT_TRUE(waitFor([&] { return presenter().shownDialogs().empty(); }));
    sheet = share();
    ASSERT_TRUE(sheet && entry(sheet, "app:missing.desktop"));
    entry(sheet, "app:missing.desktop")->click();
    EXPECT_TRUE(waitFor([&] {
        for (const auto& shown : presenter().shownDialogs()) {
            auto* title = shown.dialog->findChild<QLabel*>(QStringLiteral("title"));
            if (title && title->text() == QStringLiteral("Cannot start Missing")) return true;
        }
        return false;
    }));
}

}  // namespace
}  // namespace kernova::daemon
