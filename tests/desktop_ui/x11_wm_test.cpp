// Overlays on a display with two monitors under a window manager (openbox, no
// compositor): a window's overlay maps on the monitor its frame lies on and
// shows that monitor beneath it; overlays stay above ordinary windows and take
// the clicks there; the key overlay gets the keys; pass-through overlays shown
// above a full-screen key overlay stay above it and leave it the keys; a
// managed dialog shows above the key overlay, which takes the keys back after
// it. (A click beside the floating button reaching the window beneath is
// proved end to end in tests/desktop.)
#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QPointer>
#include <QScreen>
#include <QWidget>
#include <QWindow>
#include <cstdlib>

#include "desktop/ui/screen_behind.h"
#include "desktop_ui/x11_fixture.h"

namespace kernova::desktop::testing {
namespace {

// The child of the root window that holds `window`: the window manager's frame
// around it, or the window itself when it is not managed.
xcb_window_t topLevelOf(xcb_window_t window) {
    xcb_connection_t* connection = x11Connection();
    const xcb_window_t root = rootWindow();
    for (int depth = 0; depth < 16; ++depth) {
        auto* tree = xcb_query_tree_reply(connection, xcb_query_tree(connection, window), nullptr);
        if (!tree) return XCB_WINDOW_NONE;
        const xcb_window_t parent = tree->parent;
        std::free(tree);
        if (parent == root || parent == XCB_WINDOW_NONE) return window;
        window = parent;
    }
    return XCB_WINDOW_NONE;
}

// Where the X server stacks `widget`'s window (its frame, if managed) among
// the children of the root window: 0 at the bottom; -1 when not found.
int stackingIndex(const QWidget& widget) {
    xcb_connection_t* connection = x11Connection();
    const xcb_window_t top = topLevelOf(static_cast<xcb_window_t>(widget.winId()));
    auto* tree =
        xcb_query_tree_reply(connection, xcb_query_tree(connection, rootWindow()), nullptr);
    if (!tree || top == XCB_WINDOW_NONE) {
        std::free(tree);
        return -1;
    }
    const xcb_window_t* children = xcb_query_tree_children(tree);
    const int count = xcb_query_tree_children_length(tree);
    int index = -1;
    for (int i = 0; i < count; ++i) {
        if (children[i] == top) index = i;
    }
    std::free(tree);
    return index;
}

class WindowManagerTest : public X11Test {
  protected:
    void SetUp() override {
        if (const char* why = std::getenv("KERNOVA_NO_X11")) {
            if (std::getenv("CI")) FAIL() << "needs Xvfb, xrandr and openbox: " << why;
            GTEST_SKIP() << "needs Xvfb, xrandr and openbox: " << why;
        }
        if (!hasXdotool()) GTEST_SKIP() << "no xdotool";
        X11Test::SetUp();
    }
    void TearDown() override {
        if (host) host->stop();
    }

    // An ordinary application window, managed and decorated by the window manager.
    // Focused by the window manager as it maps it (openbox focuses new
    // windows); asking for activation as well would make it focus the window a
    // second time, possibly after a test's overlay has taken the keys.
    static std::unique_ptr<QWidget> ordinaryWindow(QRect geometry, const char* colour) {
        return solidWindow(geometry, QLatin1String(colour), false);
    }
    QScreen* rightMonitor() {
        for (QScreen* screen : QGuiApplication::screens()) {
            if (screen->geometry().x() == 800) return screen;
        }
        return nullptr;
    }
};

TEST_F(WindowManagerTest, AnOverlayMapsOnTheMonitorItsFrameLiesOnAndShowsThatMonitorBeneath) {
    ASSERT_EQ(QGuiApplication::screens().size(), 2);
    QScreen* right = rightMonitor();
    ASSERT_NE(right, nullptr);
    EXPECT_EQ(screenShowing(QRect(700, 100, 300, 200)), right);  // more of it on the right
    EXPECT_NE(screenShowing(QRect(0, 0, 100, 100)), right);
    auto beneath = solidWindow({1000, 200, 100, 100}, "rgb(0, 200, 0)");
    auto greenAt = [&](int x, int y, QColor colour) { return screenShows(x, y, colour, right); };
    ASSERT_TRUE(waitFor([&] { return greenAt(1050, 250, QColor(0, 200, 0)); }));

    auto window = makeWindow({900, 100, 400, 300});
    auto dim = std::make_shared<ui::View>(ui::Rect{0, 0, 400, 300});
    dim->setBackgroundColor(ui::Color{0, 0, 0, 0.5});
    window->addSubview(dim);
    int taps = 0;
    addButton(*window, {300, 200, 80, 80}, taps);
    host->start();
    OverlayWidget* widget = exposedOverlay(*window);
    ASSERT_NE(widget, nullptr);
    EXPECT_EQ(widget->screen(), right);
    EXPECT_EQ(widget->windowHandle()->screen(), right);
    // The copy beneath it is of the right monitor: the green window, dimmed.
    ASSERT_FALSE(widget->backdrop().isNull());
    EXPECT_EQ(widget->backdropOrigin(), QPointF(800, 0));
    widget->repaint();
    EXPECT_TRUE(waitFor([&] { return greenAt(1050, 250, QColor(0, 100, 0)); }))
        << "the overlay does not show the right monitor beneath it";
    // A click on its button reaches it: the server shows the overlay at its
    // frame, and the point comes back in desktop coordinates.
    EXPECT_EQ(click(1240, 340), 0);
    EXPECT_TRUE(waitFor([&] { return taps == 1; }));
}

TEST_F(WindowManagerTest, TheKeyOverlayStaysAboveOrdinaryWindowsAndGetsClicksAndEscape) {
    auto editor = ordinaryWindow(QRect(100, 100, 500, 400), "rgb(200, 0, 0)");
    ASSERT_TRUE(waitFor([&] { return QGuiApplication::focusWindow() == editor->windowHandle(); }));

    auto window = makeWindow({0, 0, 800, 600});
    int escapes = 0, taps = 0;
    countEscapes(*window, escapes);
    addButton(*window, {200, 200, 100, 100}, taps);
    host->start();
    ASSERT_NE(exposedOverlay(*window), nullptr);
    QWindow* overlay = host->widgetFor(*window)->windowHandle();
    ASSERT_TRUE(waitFor([&] { return QGuiApplication::focusWindow() == overlay; }))
        << "the window manager did not give the key overlay the focus";

    // The ordinary window lies beneath the button: the overlay is above it.
    EXPECT_EQ(click(250, 250), 0);
    EXPECT_TRUE(waitFor([&] { return taps == 1; }));
    EXPECT_EQ(xdotool({"key", "Escape"}), 0);
    EXPECT_TRUE(waitFor([&] { return escapes == 1; }));

    // Raising the ordinary window again does not bring it above the overlay.
    editor->raise();
    editor->activateWindow();
    EXPECT_EQ(click(260, 260), 0);
    EXPECT_TRUE(waitFor([&] { return taps == 2; })) << "the ordinary window came above";
}

// The window manager puts a focused window that covers its monitor without
// decorations (the panel's overlay) above every window it keeps above the
// others: pass-through overlays shown after it, at its level or above, and
// the dialog of one of them must still come above it.
TEST_F(WindowManagerTest, PassThroughOverlaysShownAfterAFullScreenKeyOverlayStayAboveIt) {
    auto panel = std::make_shared<ui::Window>(app, ui::Rect{0, 0, 800, 600});
    panel->setWindowLevel(ui::kWindowLevelAlert + 1);
    panel->addSubview(std::make_shared<ui::View>(ui::Rect{100, 100, 600, 400}));
    int escapes = 0;
    countEscapes(*panel, escapes);
    panel->makeKeyAndVisible();
    host->start();
    OverlayWidget* panelWidget = exposedOverlay(*panel);
    ASSERT_NE(panelWidget, nullptr);
    ASSERT_TRUE(waitFor([&] {
        return QGuiApplication::focusWindow() == panelWidget->windowHandle();
    })) << "the window manager did not give the key overlay the focus";

    // A small working indicator at the panel's level, shown after it.
    auto indicator = std::make_shared<ui::Window>(app, ui::Rect{300, 35, 80, 80});
    indicator->setWindowLevel(ui::kWindowLevelAlert + 1);
    indicator->setPassesTouchesThrough(true);
    indicator->addSubview(std::make_shared<ui::View>(ui::Rect{0, 0, 80, 80}));
    indicator->setHidden(false);
    // A toast above the panel's level, showing a dialog without buttons.
    auto toast = std::make_shared<ui::Window>(app, ui::Rect{0, 0, 800, 600});
    toast->setWindowLevel(ui::kWindowLevelAlert + 2);
    toast->setPassesTouchesThrough(true);
    auto toastRoot = std::make_shared<ui::ViewController>();
    toast->setRootViewController(toastRoot);
    toast->setHidden(false);
    ASSERT_TRUE(exposedOverlay(*indicator) && exposedOverlay(*toast));
    QDialog* dialog = showAlert(*toastRoot, "Copied");
    ASSERT_NE(dialog, nullptr);

    OverlayWidget* indicatorWidget = host->widgetFor(*indicator);
    OverlayWidget* toastWidget = host->widgetFor(*toast);
    auto inOrder = [&] {
        const int bottom = stackingIndex(*panelWidget);
        const int middle = stackingIndex(*indicatorWidget);
        const int top = stackingIndex(*toastWidget);
        const int topmost = stackingIndex(*dialog);
        return bottom >= 0 && bottom < middle && middle < top && top < topmost;
    };
    EXPECT_TRUE(waitFor(inOrder, 2000))
        << "bottom to top, expected panel < indicator < toast < dialog: "
        << stackingIndex(*panelWidget) << ", " << stackingIndex(*indicatorWidget) << ", "
        << stackingIndex(*toastWidget) << ", " << stackingIndex(*dialog);

    // The key overlay keeps the keys.
    EXPECT_EQ(QGuiApplication::focusWindow(), panelWidget->windowHandle());
    EXPECT_EQ(xdotool({"key", "Escape"}), 0);
    EXPECT_TRUE(waitFor([&] { return escapes == 1; })) << "the focus moved";
    EXPECT_EQ(QGuiApplication::focusWindow(), panelWidget->windowHandle());
    EXPECT_TRUE(inOrder()) << "the order changed once the key overlay took the keys";
}

// The window manager stacks the dialogs it manages below the unmanaged
// overlays: one presented by the panel still shows above it and gets the
// keys, and as it goes the panel takes them back (not the ordinary window).
TEST_F(WindowManagerTest, AManagedDialogShowsAboveTheKeyOverlayWhichTakesTheKeysBack) {
    auto editor = ordinaryWindow(QRect(100, 100, 500, 400), "rgb(200, 0, 0)");
    ASSERT_TRUE(waitFor([&] { return QGuiApplication::focusWindow() == editor->windowHandle(); }));
    auto panel = makeWindow({0, 0, 800, 600});
    auto root = std::make_shared<ui::ViewController>();
    panel->setRootViewController(root);
    int escapes = 0, answered = 0;
    countEscapes(*panel, escapes);
    host->start();
    OverlayWidget* panelWidget = exposedOverlay(*panel);
    ASSERT_NE(panelWidget, nullptr);
    ASSERT_TRUE(
        waitFor([&] { return QGuiApplication::focusWindow() == panelWidget->windowHandle(); }));

    // The presenter deletes the dialog once it is answered.
    QPointer<QDialog> dialog = showAlert(*root, "Saved", [&](ui::AlertAction&) { ++answered; });
    ASSERT_NE(dialog, nullptr);
    EXPECT_TRUE(waitFor([&] { return stackingIndex(*dialog) > stackingIndex(*panelWidget); }))
        << "the dialog is beneath the panel";
    ASSERT_TRUE(waitFor([&] { return QGuiApplication::focusWindow() == dialog->windowHandle(); }));
    EXPECT_GT(stackingIndex(*panelWidget), stackingIndex(*editor));

    EXPECT_EQ(xdotool({"key", "Return"}), 0);
    EXPECT_TRUE(waitFor([&] { return answered == 1 && (!dialog || !dialog->isVisible()); }));
    EXPECT_EQ(xdotool({"key", "Escape"}), 0);
    EXPECT_TRUE(waitFor([&] { return escapes == 1; })) << "the panel did not get the keys back";
    EXPECT_EQ(QGuiApplication::focusWindow(), panelWidget->windowHandle());
}

}  // namespace
}  // namespace kernova::desktop::testing
