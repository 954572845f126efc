// Overlay windows on a real X server: they map, paint and take clicks that
// the server delivers, and show what lies beneath them without a compositor;
// the primary selection and typing through XTest exist.
#include <QClipboard>
#include <QCoreApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QStandardPaths>
#include <QWidget>
#include <QWindow>
#include <functional>

#include "desktop/ui/presenter.h"
#include "desktop/ui/screen_behind.h"
#include "desktop/ui/x11_typing.h"
#include "desktop_ui/desktop_ui_fixture.h"
#include "ui/alert.h"
#include "ui/control.h"
#include "ui/web_view.h"

namespace kernova::desktop::testing {
namespace {

// Runs Qt's event loop until `done` holds or `milliseconds` pass.
bool waitFor(const std::function<bool()>& done, int milliseconds = 5000) {
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > milliseconds) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 20);
    }
    return true;
}

class X11Test : public DesktopUiTest {
  protected:
    void SetUp() override {
        if (std::getenv("KERNOVA_NO_X11")) GTEST_SKIP() << "Xvfb is not available";
        host = desktop->makeWindowHost(app);
    }

    std::unique_ptr<OverlayWindowHost> host;
};

TEST_F(X11Test, OverlayMapsAboveAndPaintsTheWindow) {
    EXPECT_EQ(desktop->qtPlatformName(), "xcb");
    auto window = makeWindow({0, 0, 1024, 768});
    auto view = std::make_shared<ui::View>(ui::Rect{100, 100, 50, 50});
    view->setBackgroundColor(ui::Color{1, 0, 0, 1});
    window->addSubview(view);
    host->sync();
    OverlayWidget* widget = host->widgetFor(*window);
    ASSERT_NE(widget, nullptr);
    ASSERT_TRUE(
        waitFor([&] { return widget->windowHandle() && widget->windowHandle()->isExposed(); }));
    EXPECT_TRUE(widget->windowHandle()->flags().testFlag(Qt::WindowStaysOnTopHint));
    widget->repaint();
    QImage grabbed;
    ASSERT_TRUE(waitFor([&] {
        grabbed = QGuiApplication::primaryScreen()->grabWindow(0, 120, 120, 1, 1).toImage();
        return !grabbed.isNull() && near(grabbed.pixelColor(0, 0), Qt::red);
    }));
}

TEST_F(X11Test, WithoutACompositorTheOverlayShowsWhatLiesBeneath) {
    // Xvfb runs no compositing manager: a translucent window alone would show
    // black where it is transparent.
    ASSERT_FALSE(windowsAreComposited());
    QWidget beneath(nullptr, Qt::FramelessWindowHint);
    beneath.setGeometry(200, 200, 100, 100);
    beneath.setStyleSheet(QStringLiteral("background: rgb(0, 200, 0)"));
    beneath.show();
    auto greenOnScreen = [] {
        QImage pixel = QGuiApplication::primaryScreen()->grabWindow(0, 250, 250, 1, 1).toImage();
        return !pixel.isNull() && near(pixel.pixelColor(0, 0), QColor(0, 200, 0));
    };
    ASSERT_TRUE(waitFor(greenOnScreen));

    auto window = makeWindow({0, 0, 1024, 768});
    auto dim = std::make_shared<ui::View>(ui::Rect{0, 0, 1024, 768});
    dim->setBackgroundColor(ui::Color{0, 0, 0, 0.5});
    window->addSubview(dim);
    host->sync();
    OverlayWidget* widget = host->widgetFor(*window);
    ASSERT_NE(widget, nullptr);
    EXPECT_FALSE(widget->backdrop().isNull());
    ASSERT_TRUE(
        waitFor([&] { return widget->windowHandle() && widget->windowHandle()->isExposed(); }));
    widget->repaint();
    // The green window, dimmed by half, shows through the overlay.
    ASSERT_TRUE(waitFor([&] {
        QImage pixel = QGuiApplication::primaryScreen()->grabWindow(0, 250, 250, 1, 1).toImage();
        return !pixel.isNull() && near(pixel.pixelColor(0, 0), QColor(0, 100, 0));
    })) << "overlay does not show the window beneath";
}

TEST_F(X11Test, ClicksFromTheServerReachAButton) {
    if (QStandardPaths::findExecutable("xdotool").isEmpty()) GTEST_SKIP() << "no xdotool";
    auto window = makeWindow({0, 0, 1024, 768});
    auto button = std::make_shared<ui::Button>(ui::Rect{100, 100, 80, 40});
    int upInside = 0;
    button->addTarget([&](ui::Control&) { ++upInside; }, ui::kControlEventTouchUpInside);
    window->addSubview(button);
    host->start();
    ASSERT_TRUE(waitFor([&] {
        OverlayWidget* widget = host->widgetFor(*window);
        return widget && widget->windowHandle() && widget->windowHandle()->isExposed();
    }));
    EXPECT_EQ(QProcess::execute("xdotool", {"mousemove", "130", "120", "click", "1"}), 0);
    EXPECT_TRUE(waitFor([&] { return upInside == 1; }));
    host->stop();
}

// Xvfb runs no window manager: only the order in which windows are raised
// decides what lies on top.
TEST_F(X11Test, ADialogOfAnOverlayStaysAboveItAndTakesTheClicks) {
    if (QStandardPaths::findExecutable("xdotool").isEmpty()) GTEST_SKIP() << "no xdotool";
    auto window = makeWindow({0, 0, 1024, 768});
    auto root = std::make_shared<ui::ViewController>();
    window->setRootViewController(root);
    int overlayTaps = 0;
    auto everywhere = std::make_shared<ui::Button>(ui::Rect{0, 0, 1024, 768});
    everywhere->addTarget([&](ui::Control&) { ++overlayTaps; }, ui::kControlEventTouchUpInside);
    root->view()->addSubview(everywhere);
    host->start();
    auto exposed = [&](QWidget* widget) {
        return widget && widget->windowHandle() && widget->windowHandle()->isExposed();
    };
    ASSERT_TRUE(waitFor([&] { return exposed(host->widgetFor(*window)); }));

    // The in-place editor's dialog, then another window of the process shown
    // (restacking the overlays) while the dialog is open.
    auto alert = ui::AlertController::alertControllerWithTitle("Edit", std::nullopt,
                                                               ui::AlertControllerStyle::alert);
    int saved = 0;
    alert->addAction(ui::AlertAction::actionWithTitle("Save", ui::AlertActionStyle::defaultStyle,
                                                      [&](ui::AlertAction&) { ++saved; }));
    root->presentViewController(alert, true);
    QDialog* dialog = desktop->dialogPresenter()->dialogFor(*alert);
    ASSERT_NE(dialog, nullptr);
    ASSERT_TRUE(waitFor([&] { return exposed(dialog); }));
    // Below the board's window: the board's overlay is raised again over it.
    auto other = std::make_shared<ui::Window>(app, ui::Rect{0, 0, 200, 200});
    other->setWindowLevel(ui::kWindowLevelNormal - 1);
    other->makeKeyAndVisible();
    ASSERT_TRUE(waitFor([&] { return exposed(host->widgetFor(*other)); }));
    EXPECT_EQ(dialog->windowHandle()->transientParent(), host->widgetFor(*window)->windowHandle());
    other->setHidden(true);
    window->makeKeyWindow();
    ASSERT_TRUE(waitFor([&] { return host->widgetFor(*other) == nullptr; }));

    auto* save = dialog->findChild<QPushButton*>(QStringLiteral("action-0"));
    ASSERT_NE(save, nullptr);
    QPoint point = save->mapToGlobal(save->rect().center());
    EXPECT_EQ(QProcess::execute("xdotool", {"mousemove", "--sync", QString::number(point.x()),
                                            QString::number(point.y()), "click", "1"}),
              0);
    EXPECT_TRUE(waitFor([&] { return saved == 1; })) << "the click did not reach the dialog";
    EXPECT_EQ(overlayTaps, 0);
    host->stop();
}

// The web engine is not part of the program: the first page a web view loads
// brings in its module, and the page shows in the window's overlay.
TEST_F(X11Test, AWebViewLoadsItsPageThroughTheEngineModule) {
    struct Finished : ui::WebViewNavigationDelegate {
        int finished = 0;
        std::string error;
        void didFinishNavigation(ui::WebView&) override { ++finished; }
        void didFailNavigation(ui::WebView&, const std::string& e) override { error = e; }
    } delegate;
    auto window = makeWindow({0, 0, 400, 300});
    auto web =
        std::make_shared<ui::WebView>(app, ui::Rect{0, 0, 400, 300}, ui::WebViewConfiguration{});
    web->setNavigationDelegate(&delegate);
    window->addSubview(web);
    host->start();
    EXPECT_FALSE(desktop->webViews()->engineModuleLoaded());
    web->loadRequest("data:text/html,<body style='background:rgb(0,0,255)'>page</body>");
    ASSERT_TRUE(desktop->webViews()->engineModuleLoaded());
    ASSERT_TRUE(waitFor([&] { return delegate.finished == 1 || !delegate.error.empty(); }, 30000));
    EXPECT_EQ(delegate.error, "");
    EXPECT_TRUE(desktop->webViews()->backings().front()->hasEngine());
    web->removeFromSuperview();
    host->stop();
}

TEST_F(X11Test, PrimarySelectionAndXTestTypingAreAvailable) {
    EXPECT_TRUE(desktop->pasteboard().hasPrimarySelection());
    QGuiApplication::clipboard()->setText("selected words", QClipboard::Selection);
    EXPECT_EQ(desktop->pasteboard().primarySelection(), "selected words");
    auto* keyboard = dynamic_cast<X11Keyboard*>(&desktop->keyboard());
    ASSERT_NE(keyboard, nullptr);
    EXPECT_FALSE(keyboard->connected()) << "no connection until the first text";
}

}  // namespace
}  // namespace kernova::desktop::testing
