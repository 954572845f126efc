// Overlay windows on a real X server: they map, paint and take clicks that
// the server delivers, and show what lies beneath them without a compositor;
// the primary selection and typing through XTest exist.
#include <QClipboard>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QPushButton>
#include <QScreen>
#include <QToolTip>
#include <QWidget>
#include <QWindow>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "desktop/ui/screen_behind.h"
#include "desktop/ui/work_area.h"
#include "desktop/ui/x11_typing.h"
#include "desktop_ui/x11_fixture.h"
#include "ui/web_view.h"

namespace kernova::desktop::testing {
namespace {

// The first frame is painted before the server exposes the overlay; a change
// made meanwhile is what shows.
TEST_F(X11Test, OverlayMapsAboveAndPaintsAChangeMadeBeforeItWasExposed) {
    EXPECT_EQ(desktop->qtPlatformName(), "xcb");
    auto window = makeWindow({0, 0, 1024, 768});
    auto view = std::make_shared<ui::View>(ui::Rect{100, 100, 50, 50});
    view->setBackgroundColor(ui::Color{1, 0, 0, 1});
    window->addSubview(view);
    host->sync();
    view->setBackgroundColor(ui::Color{0, 0, 1, 1});
    host->sync();
    OverlayWidget* widget = exposedOverlay(*window);
    ASSERT_NE(widget, nullptr);
    EXPECT_TRUE(widget->windowHandle()->flags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_TRUE(waitFor([] { return screenShows(120, 120, Qt::blue); }));
}

TEST_F(X11Test, WithoutACompositorTheOverlayShowsWhatLiesBeneath) {
    // Xvfb runs no compositing manager: a translucent window alone would show
    // black where it is transparent.
    ASSERT_FALSE(windowsAreComposited());
    auto beneath = solidWindow({200, 200, 100, 100}, "rgb(0, 200, 0)");
    ASSERT_TRUE(waitFor([] { return screenShows(250, 250, QColor(0, 200, 0)); }));

    auto window = makeWindow({0, 0, 1024, 768});
    auto dim = std::make_shared<ui::View>(ui::Rect{0, 0, 1024, 768});
    dim->setBackgroundColor(ui::Color{0, 0, 0, 0.5});
    window->addSubview(dim);
    host->sync();
    OverlayWidget* widget = exposedOverlay(*window);
    ASSERT_NE(widget, nullptr);
    EXPECT_FALSE(widget->backdrop().isNull());
    widget->repaint();
    // The green window, dimmed by half, shows through the overlay.
    ASSERT_TRUE(waitFor([] { return screenShows(250, 250, QColor(0, 100, 0)); }))
        << "overlay does not show the window beneath";
}

// The copy is asked for first and received later; a window mapped in
// between is not in it.
TEST_F(X11Test, AScreenCopyShowsTheScreenAsItWasWhenAskedFor) {
    auto beneath = solidWindow({200, 200, 100, 100}, "rgb(0, 200, 0)");
    ASSERT_TRUE(waitFor([] { return screenShows(250, 250, QColor(0, 200, 0)); }));
    ScreenGrab grab(QRect(150, 150, 200, 200));
    auto above = solidWindow({200, 200, 100, 100}, "rgb(200, 0, 0)");
    ASSERT_TRUE(waitFor([] { return screenShows(250, 250, QColor(200, 0, 0)); }));
    QImage copy = grab.take();
    ASSERT_EQ(copy.size(), QSize(200, 200));
    EXPECT_TRUE(near(copy.pixelColor(100, 100), QColor(0, 200, 0)));
    EXPECT_FALSE(near(copy.pixelColor(10, 10), QColor(0, 200, 0)));
    EXPECT_TRUE(grab.take().isNull()) << "taken once";
}

TEST_F(X11Test, ClicksFromTheServerReachAButton) {
    if (!hasXdotool()) GTEST_SKIP() << "no xdotool";
    auto window = makeWindow({0, 0, 1024, 768});
    int upInside = 0;
    addButton(*window, {100, 100, 80, 40}, upInside);
    host->start();
    ASSERT_NE(exposedOverlay(*window), nullptr);
    EXPECT_EQ(click(130, 120), 0);
    EXPECT_TRUE(waitFor([&] { return upInside == 1; }));
    host->stop();
}

// Xvfb runs no window manager: only the order in which windows are raised
// decides what lies on top.
TEST_F(X11Test, ADialogOfAnOverlayStaysAboveItAndTakesTheClicks) {
    if (!hasXdotool()) GTEST_SKIP() << "no xdotool";
    auto window = makeWindow({0, 0, 1024, 768});
    auto root = std::make_shared<ui::ViewController>();
    window->setRootViewController(root);
    int overlayTaps = 0;
    addButton(*root->view(), {0, 0, 1024, 768}, overlayTaps);
    host->start();
    ASSERT_NE(exposedOverlay(*window), nullptr);

    // The in-place editor's dialog, then another window of the process shown
    // (restacking the overlays) while the dialog is open.
    int saved = 0;
    QDialog* dialog = showAlert(*root, "Edit", [&](ui::AlertAction&) { ++saved; });
    ASSERT_NE(dialog, nullptr);
    // Below the board's window: the board's overlay is raised again over it.
    auto other = std::make_shared<ui::Window>(app, ui::Rect{0, 0, 200, 200});
    other->setWindowLevel(ui::kWindowLevelNormal - 1);
    other->makeKeyAndVisible();
    ASSERT_NE(exposedOverlay(*other), nullptr);
    EXPECT_EQ(dialog->windowHandle()->transientParent(), host->widgetFor(*window)->windowHandle());
    other->setHidden(true);
    window->makeKeyWindow();
    ASSERT_TRUE(waitFor([&] { return host->widgetFor(*other) == nullptr; }));

    auto* save = dialog->findChild<QPushButton*>(QStringLiteral("action-0"));
    ASSERT_NE(save, nullptr);
    QPoint point = save->mapToGlobal(save->rect().center());
    EXPECT_EQ(click(point.x(), point.y()), 0);
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

struct PressCounter : QObject {
    int presses = 0;
    bool eventFilter(QObject*, QEvent* event) override {
        presses += event->type() == QEvent::MouseButtonPress;
        return false;
    }
};

// Sets (or with no values deletes) a CARDINAL list on the root window.
void setRootCardinals(const char* name, const std::vector<std::uint32_t>& values) {
    xcb_connection_t* connection = x11Connection();
    auto* atom = xcb_intern_atom_reply(
        connection,
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name),
        nullptr);
    ASSERT_NE(atom, nullptr);
    if (values.empty()) {
        xcb_delete_property(connection, rootWindow(), atom->atom);
    } else {
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, rootWindow(), atom->atom,
                            XCB_ATOM_CARDINAL, 32, static_cast<std::uint32_t>(values.size()),
                            values.data());
    }
    std::free(atom);
    xcb_flush(connection);
}

TEST_F(X11Test, TheWorkAreaComesFromTheRootWindow) {
    QScreen* screen = QGuiApplication::primaryScreen();
    ASSERT_EQ(screen->geometry(), QRect(0, 0, 1024, 768));
    EXPECT_EQ(workAreaOf(*screen), ui::Rect(0, 0, 1024, 768));  // nothing published
    // Two desktops; on the second, a 40-pixel panel at the top and a dock at the left.
    setRootCardinals("_NET_CURRENT_DESKTOP", {1});
    setRootCardinals("_NET_WORKAREA", {0, 0, 1024, 768, 64, 40, 960, 728});
    EXPECT_EQ(workAreaOf(*screen), ui::Rect(64, 40, 960, 728));
    setRootCardinals("_NET_CURRENT_DESKTOP", {0});
    EXPECT_EQ(workAreaOf(*screen), ui::Rect(0, 0, 1024, 768));
    setRootCardinals("_NET_WORKAREA", {});
    setRootCardinals("_NET_CURRENT_DESKTOP", {});
}

// A pass-through window (a toast, the running indicator) above the board's:
// a click outside its content reaches the board, the board keeps the keys,
// and an alert of the pass-through window does not take them either.
TEST_F(X11Test, ClicksOutsideAPassThroughWindowsContentReachTheWindowBeneath) {
    if (!hasXdotool()) GTEST_SKIP() << "no xdotool";
    auto beneath = makeWindow({0, 0, 1024, 768});
    int beneathTaps = 0;
    addButton(*beneath, {0, 0, 1024, 768}, beneathTaps);

    auto toast = std::make_shared<ui::Window>(app, ui::Rect{100, 100, 400, 300});
    toast->setWindowLevel(ui::kWindowLevelAlert + 2);
    toast->setPassesTouchesThrough(true);
    auto root = std::make_shared<ui::ViewController>();
    toast->setRootViewController(root);
    int toastTaps = 0;
    addButton(*root->view(), {0, 0, 100, 50}, toastTaps);
    toast->makeKeyAndVisible();  // never key
    host->start();
    ASSERT_TRUE(exposedOverlay(*beneath) && exposedOverlay(*toast));
    QWindow* beneathWindow = host->widgetFor(*beneath)->windowHandle();
    ASSERT_TRUE(waitFor([&] { return QGuiApplication::focusWindow() == beneathWindow; }));
    // The X server itself delivers the click to the overlay beneath (the
    // toolkit would also pass a click on the toast's overlay through).
    PressCounter beneathPresses;
    host->widgetFor(*beneath)->installEventFilter(&beneathPresses);

    // Inside the toast's frame, outside its content.
    EXPECT_EQ(click(300, 300), 0);
    EXPECT_TRUE(waitFor([&] { return beneathTaps == 1; })) << "the click stayed in the toast";
    EXPECT_EQ(beneathPresses.presses, 1);
    EXPECT_EQ(toastTaps, 0);
    // On its content.
    EXPECT_EQ(click(150, 120), 0);
    EXPECT_TRUE(waitFor([&] { return toastTaps == 1; }));
    EXPECT_EQ(beneathTaps, 1);
    EXPECT_EQ(beneathPresses.presses, 1);

    QDialog* dialog = showAlert(*root, "Copied", [](ui::AlertAction&) {});
    ASSERT_NE(dialog, nullptr);
    EXPECT_TRUE(dialog->windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus));
    // A round trip to the server, then the focus is where it was.
    xdotool({"getmouselocation"});
    QCoreApplication::processEvents();
    EXPECT_EQ(QGuiApplication::focusWindow(), beneathWindow);
    EXPECT_EQ(app.keyWindow(), beneath.get());
    host->stop();
}

TEST_F(X11Test, ThePointerRestingOnAButtonShowsItsToolTip) {
    if (!hasXdotool()) GTEST_SKIP() << "no xdotool";
    auto window = makeWindow({0, 0, 1024, 768});
    int taps = 0;
    addButton(*window, {200, 200, 80, 40}, taps)->setToolTip("Copy the picked words");
    host->start();
    ASSERT_NE(exposedOverlay(*window), nullptr);
    QToolTip::hideText();
    EXPECT_EQ(xdotool({"mousemove", "--sync", "230", "215"}), 0);
    EXPECT_EQ(xdotool({"mousemove", "--sync", "240", "220"}), 0);
    EXPECT_TRUE(waitFor([] {
        return QToolTip::isVisible() && QToolTip::text() == "Copy the picked words";
    })) << "no tool tip";
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
