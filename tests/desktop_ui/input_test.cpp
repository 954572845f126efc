// Overlay windows follow the model, and Qt input on them reaches the toolkit:
// the wheel as scrolling, keys as the toolkit's keys, screen readers and tool
// tips read the views. (Clicks, drags and keys on kernovad's panel are proved
// end to end in tests/desktop.)
#include <QAccessible>
#include <QApplication>
#include <QHelpEvent>
#include <QToolTip>
#include <QWheelEvent>

#include "desktop_ui/desktop_ui_fixture.h"
#include "ui/control.h"
#include "ui/label.h"
#include "ui/scroll_view.h"

namespace kernova::desktop::testing {
namespace {

class InputTest : public DesktopUiTest {
  protected:
    void SetUp() override { host = desktop->makeWindowHost(app); }

    std::unique_ptr<OverlayWindowHost> host;
};

TEST_F(InputTest, OverlaysFollowVisibleWindowsByLevel) {
    auto low = makeWindow({0, 0, 200, 200});
    auto high = makeWindow({0, 0, 100, 100});
    high->setWindowLevel(ui::kWindowLevelAlert + 1);
    low->makeKeyWindow();
    host->sync();
    ASSERT_EQ(host->overlayCount(), 2u);
    OverlayWidget* widget = host->widgetFor(*low);
    ASSERT_NE(widget, nullptr);
    EXPECT_TRUE(widget->isVisible());
    EXPECT_TRUE(widget->windowFlags().testFlag(Qt::FramelessWindowHint));
    EXPECT_TRUE(widget->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_TRUE(widget->testAttribute(Qt::WA_TranslucentBackground));
    // Each overlay lies at its window's frame, in desktop coordinates.
    EXPECT_EQ(host->widgetFor(*high)->geometry(), QRect(0, 0, 100, 100));
    low->setFrame({300, 200, 150, 100});
    host->sync();
    EXPECT_EQ(widget->geometry(), QRect(300, 200, 150, 100));
    EXPECT_EQ(widget->screenOrigin(), QPointF(300, 200));
    EXPECT_FALSE(widget->inputRegion().has_value());

    high->setHidden(true);
    host->sync();
    EXPECT_EQ(host->overlayCount(), 1u);
    EXPECT_EQ(host->widgetFor(*high), nullptr);
}

TEST_F(InputTest, AStillModelLeavesNoFrameScheduledAndAChangeSchedulesOne) {
    auto window = makeWindow();
    auto label = std::make_shared<ui::Label>(ui::Rect{0, 0, 80, 20});
    window->addSubview(label);
    host->start();
    auto settle = [&] { waitFor([&] { return !host->hasFrameScheduled(); }, 1000); };
    settle();
    ASSERT_NE(host->widgetFor(*window), nullptr);
    EXPECT_FALSE(host->hasFrameScheduled());
    EXPECT_FALSE(window->needsDisplay());

    label->setText("changed");
    EXPECT_TRUE(host->hasFrameScheduled());
    settle();
    EXPECT_FALSE(window->needsDisplay());
    EXPECT_FALSE(host->hasFrameScheduled());

    // An animation keeps frames coming until it ends.
    app.animator().animate(0.3, [&] { label->setAlpha(0.5); });
    QCoreApplication::processEvents();
    EXPECT_TRUE(host->hasFrameScheduled());
    clock.advance(0.5);
    settle();
    EXPECT_FALSE(host->hasFrameScheduled());
    host->stop();
}

TEST_F(InputTest, WheelScrollsTheScrollViewUnderThePointer) {
    auto window = makeWindow({0, 0, 300, 300});
    auto scroll = std::make_shared<ui::ScrollView>(ui::Rect{0, 0, 300, 300});
    scroll->setContentSize({300, 1000});
    window->addSubview(scroll);
    host->sync();
    QWidget& widget = *host->widgetFor(*window);
    QWheelEvent notch({100, 100}, widget.mapToGlobal(QPointF(100, 100)), QPoint(), QPoint(0, -120),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&widget, &notch);
    EXPECT_EQ(scroll->contentOffset().y, OverlayWidget::kPointsPerWheelStep);
    QWheelEvent touchpad({100, 100}, widget.mapToGlobal(QPointF(100, 100)), QPoint(0, 25),
                         QPoint(0, 30), Qt::NoButton, Qt::NoModifier, Qt::ScrollUpdate, false);
    QApplication::sendEvent(&widget, &touchpad);
    EXPECT_EQ(scroll->contentOffset().y, OverlayWidget::kPointsPerWheelStep - 25);
}

TEST_F(InputTest, ScreenReadersReadTheButtonsAndLabelsAndPressTheButtons) {
    auto window = makeWindow({0, 0, 300, 300});
    auto copy = std::make_shared<ui::Button>(ui::Rect{10, 20, 35, 35});
    copy->setTitle("Copy");
    copy->setToolTip("Copy the picked words");
    int presses = 0;
    copy->addTarget([&](ui::Control&) { ++presses; }, ui::kControlEventTouchUpInside);
    auto label = std::make_shared<ui::Label>(ui::Rect{10, 80, 100, 20});
    label->setText("hello");
    auto hidden = std::make_shared<ui::Button>(ui::Rect{10, 120, 35, 35});
    hidden->setTitle("Hidden");
    hidden->setHidden(true);
    auto plain = std::make_shared<ui::View>(ui::Rect{0, 0, 300, 300});
    plain->addSubview(label);
    window->addSubview(plain);
    window->addSubview(copy);
    window->addSubview(hidden);
    host->sync();

    QAccessibleInterface* overlay = QAccessible::queryAccessibleInterface(host->widgetFor(*window));
    ASSERT_NE(overlay, nullptr);
    ASSERT_EQ(overlay->childCount(), 2) << "the label, then the button; hidden ones are not read";
    QAccessibleInterface* text = overlay->child(0);
    EXPECT_EQ(text->role(), QAccessible::StaticText);
    EXPECT_EQ(text->text(QAccessible::Name), "hello");
    QAccessibleInterface* button = overlay->child(1);
    EXPECT_EQ(button->role(), QAccessible::Button);
    EXPECT_EQ(button->text(QAccessible::Name), "Copy the picked words");
    EXPECT_EQ(button->rect(), QRect(10, 20, 35, 35));
    EXPECT_EQ(overlay->child(1), button) << "one interface per view";
    button->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_EQ(presses, 1);
}

TEST_F(InputTest, ControlWithALetterGivesTheLetterAndControl) {
    // The keyboard's text for Ctrl+C is the control character U+0003; the keys
    // that walk the panel are arrows with Shift, Space, and Shift+Tab.
    const Qt::KeyboardModifiers ctrl = Qt::ControlModifier, shift = Qt::ShiftModifier;
    struct Row {
        Qt::Key qt;
        QString text;
        Qt::KeyboardModifiers modifiers;
        ui::Key key;
        const char* letter;  // null: not checked
        bool control, shifted;
    };
    const Row rows[] = {
        {Qt::Key_A, "a", {}, ui::Key::other, "a", false, false},
        {Qt::Key_C, QString(QChar(3)), ctrl, ui::Key::other, "c", true, false},
        {Qt::Key_V, QString(QChar(22)), ctrl | shift, ui::Key::other, "v", true, true},
        {Qt::Key_Escape, {}, ctrl, ui::Key::escape, nullptr, true, false},
        {Qt::Key_Right, {}, shift, ui::Key::right, nullptr, false, true},
        {Qt::Key_Space, " ", {}, ui::Key::space, nullptr, false, false},
        {Qt::Key_Backtab, {}, shift, ui::Key::tab, nullptr, false, true},
    };
    for (const Row& row : rows) {
        std::optional<ui::KeyEvent> event = toKeyEvent(row.qt, row.text, row.modifiers);
        ASSERT_TRUE(event.has_value()) << row.qt;
        EXPECT_EQ(event->key, row.key) << row.qt;
        EXPECT_TRUE(!row.letter || event->text == row.letter) << row.qt << " " << event->text;
        EXPECT_EQ(event->control, row.control) << row.qt;
        EXPECT_EQ(event->shift, row.shifted) << row.qt;
    }
    EXPECT_FALSE(toKeyEvent(Qt::Key_Shift, "").has_value());
    EXPECT_FALSE(toKeyEvent(Qt::Key_Control, {}, Qt::ControlModifier).has_value());
}

TEST_F(InputTest, ToolTipsComeFromTheViewUnderThePointerOrItsAncestors) {
    auto window = makeWindow({100, 50, 300, 300});
    auto bar = std::make_shared<ui::View>(ui::Rect{0, 0, 300, 60});
    bar->setToolTip("Actions");
    auto copy = std::make_shared<ui::Button>(ui::Rect{10, 10, 40, 40});
    copy->setToolTip("Copy");
    auto plain = std::make_shared<ui::View>(ui::Rect{60, 10, 40, 40});
    bar->addSubview(copy);
    bar->addSubview(plain);
    window->addSubview(bar);
    ui::Rect area;
    EXPECT_EQ(toolTipAt(*window, {130, 80}, &area), "Copy");
    EXPECT_EQ(area, ui::Rect(110, 60, 40, 40));
    EXPECT_EQ(toolTipAt(*window, {180, 80}), "Actions");
    EXPECT_EQ(toolTipAt(*window, {180, 200}), "");

    // Qt asks once the pointer rests; the tip shows the view's words.
    host->sync();
    QWidget& widget = *host->widgetFor(*window);
    QHelpEvent rest(QEvent::ToolTip, QPoint(30, 30), widget.mapToGlobal(QPoint(30, 30)));
    QApplication::sendEvent(&widget, &rest);
    EXPECT_TRUE(QToolTip::isVisible());
    EXPECT_EQ(QToolTip::text(), "Copy");
    QHelpEvent elsewhere(QEvent::ToolTip, QPoint(80, 200), widget.mapToGlobal(QPoint(80, 200)));
    QApplication::sendEvent(&widget, &elsewhere);
    // Qt fades the tip out on its own timer.
    EXPECT_TRUE(waitFor([] { return !QToolTip::isVisible(); }));
    EXPECT_TRUE(widget.hasMouseTracking());
}

TEST_F(InputTest, APassThroughWindowTakesInputOnlyOverItsVisibleContent) {
    auto window = std::make_shared<ui::Window>(app, ui::Rect{200, 100, 300, 200});
    window->setPassesTouchesThrough(true);
    auto root = std::make_shared<ui::ViewController>();
    window->setRootViewController(root);
    auto pill = std::make_shared<ui::View>(ui::Rect{10, 20, 100, 30});
    auto hidden = std::make_shared<ui::View>(ui::Rect{150, 20, 50, 50});
    hidden->setHidden(true);
    auto faded = std::make_shared<ui::View>(ui::Rect{150, 100, 50, 50});
    faded->setAlpha(0.005);
    root->view()->addSubview(pill);
    root->view()->addSubview(hidden);
    root->view()->addSubview(faded);
    auto badge = std::make_shared<ui::View>(ui::Rect{250, 150, 20, 20});
    window->addSubview(badge);
    window->makeKeyAndVisible();
    host->sync();
    OverlayWidget* widget = host->widgetFor(*window);
    ASSERT_NE(widget, nullptr);
    EXPECT_TRUE(widget->windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus));
    ASSERT_TRUE(widget->inputRegion().has_value());
    EXPECT_EQ(*widget->inputRegion(), QRegion(10, 20, 100, 30) + QRegion(250, 150, 20, 20));

    // The region follows the content on the next sync.
    pill->setHidden(true);
    badge->setHidden(true);
    host->sync();
    EXPECT_TRUE(widget->inputRegion()->isEmpty());
    EXPECT_NE(app.keyWindow(), window.get());
}

}  // namespace
}  // namespace kernova::desktop::testing
