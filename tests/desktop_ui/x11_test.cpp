// Overlay windows on a real X server without a window manager or compositor:
// they paint a change made before they were exposed and show what lies
// beneath them; a closed one is reused by the next window; a screen copy
// shows the screen as it was asked for; a dialog of an overlay stays above
// it; the work area comes from the root window.
#include <QGuiApplication>
#include <QPushButton>
#include <QScreen>
#include <QWidget>
#include <QWindow>
#include <cstdint>
#include <cstring>
#include <vector>

#include "desktop/ui/screen_behind.h"
#include "desktop/ui/work_area.h"
#include "desktop_ui/x11_fixture.h"

namespace kernova::desktop::testing {
namespace {

TEST_F(X11Test, WithoutACompositorTheOverlayShowsWhatLiesBeneath) {
    // Xvfb runs no compositing manager: a translucent window alone would show
    // black where it is transparent.
    ASSERT_FALSE(windowsAreComposited());
    auto beneath = solidWindow({200, 200, 100, 100}, "rgb(0, 200, 0)");
    ASSERT_TRUE(waitFor([] { return screenShows(250, 250, QColor(0, 200, 0)); }));

    auto window = makeWindow({0, 0, 1024, 768});
    auto dim = std::make_shared<ui::View>(ui::Rect{0, 0, 1024, 768});
    dim->setBackgroundColor(ui::Color{1, 0, 0, 1});
    window->addSubview(dim);
    host->sync();
    // The first frame is painted before the server exposes the overlay; the
    // change made meanwhile is what shows.
    dim->setBackgroundColor(ui::Color{0, 0, 0, 0.5});
    host->sync();
    OverlayWidget* widget = exposedOverlay(*window);
    ASSERT_NE(widget, nullptr);
    EXPECT_TRUE(widget->windowHandle()->flags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_FALSE(widget->backdrop().isNull());
    widget->repaint();
    // The green window, dimmed by half, shows through the overlay.
    ASSERT_TRUE(waitFor([] { return screenShows(250, 250, QColor(0, 100, 0)); }))
        << "overlay does not show the window beneath";
}

// A closed window's overlay is kept for the next window: the same native
// window paints the new window afresh, over the screen as it is now.
TEST_F(X11Test, TheNextWindowReusesAClosedOverlayAndPaintsAfresh) {
    auto colourWindow = [&](ui::Color colour) {
        auto window = makeWindow({0, 0, 1024, 768});
        auto square = std::make_shared<ui::View>(ui::Rect{0, 0, 100, 100});
        square->setBackgroundColor(colour);
        window->addSubview(square);
        host->sync();
        return window;
    };
    auto first = colourWindow(ui::Color{1, 0, 0, 1});
    OverlayWidget* widget = exposedOverlay(*first);
    ASSERT_NE(widget, nullptr);
    ASSERT_TRUE(waitFor([] { return screenShows(50, 50, QColor(255, 0, 0)); }));
    const WId native = widget->winId();
    first->setHidden(true);
    host->sync();
    EXPECT_TRUE(widget->backdrop().isNull());
    auto beneath = solidWindow({200, 200, 100, 100}, "rgb(0, 200, 0)");
    ASSERT_TRUE(waitFor([] { return screenShows(250, 250, QColor(0, 200, 0)); }));

    auto second = colourWindow(ui::Color{0, 0, 1, 1});
    ASSERT_EQ(exposedOverlay(*second), widget);
    EXPECT_EQ(widget->winId(), native);
    EXPECT_TRUE(waitFor([] { return screenShows(50, 50, QColor(0, 0, 255)); }));
    EXPECT_TRUE(screenShows(250, 250, QColor(0, 200, 0)));
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

}  // namespace
}  // namespace kernova::desktop::testing
