// Repaint is pushed: whatever changes what a window shows marks the window and
// asks the application for one display; nothing is asked while nothing changes.
#include <gtest/gtest.h>

#include "ui/control.h"
#include "ui/image_view.h"
#include "ui/label.h"
#include "ui_fixture.h"

namespace kernova::ui {
namespace {

class Display : public ::testing::Test {
  protected:
    void SetUp() override {
        p.app.setDisplayHandler([this] { ++requests; });
        window = p.window();
        window->addSubview(label);
        window->addSubview(image);
        window->addSubview(button);
        p.clock.runUntilIdle();
        take();
    }
    // What the window host does on its frame: takes the changes.
    void take() {
        for (Window* w : p.app.allWindowsIncludingInternalWindows(true))
            w->clearNeedsDisplay();
        requests = 0;
    }
    // True when `change` marked the window and asked for exactly one display.
    ::testing::AssertionResult marks(const std::function<void()>& change) {
        take();
        change();
        change();  // the same change again asks nothing more
        if (!window->needsDisplay()) return ::testing::AssertionFailure() << "not marked";
        if (requests != 1) return ::testing::AssertionFailure() << requests << " requests";
        return ::testing::AssertionSuccess();
    }

    testing::Process p;
    std::shared_ptr<Window> window;
    std::shared_ptr<Label> label = std::make_shared<Label>(Rect(0, 0, 50, 20));
    std::shared_ptr<ImageView> image = std::make_shared<ImageView>(Rect(0, 30, 20, 20));
    std::shared_ptr<Button> button = std::make_shared<Button>(Rect(0, 60, 40, 20));
    int requests = 0;
};

TEST_F(Display, EveryChangeToWhatIsPaintedMarksTheWindowOnce) {
    EXPECT_TRUE(marks([&] { label->setFrame(Rect(1, 0, 50, 20)); }));
    EXPECT_TRUE(marks([&] { label->setBounds(Rect(0, 4, 50, 20)); }));
    EXPECT_TRUE(marks([&] { label->setAlpha(0.5); }));
    EXPECT_TRUE(marks([&] { label->setHidden(true); }));
    EXPECT_TRUE(marks([&] { label->setBackgroundColor(Color::white(1)); }));
    EXPECT_TRUE(marks([&] { label->setCornerRadius(3); }));
    EXPECT_TRUE(marks([&] { label->setBorderWidth(1); }));
    EXPECT_TRUE(marks([&] { label->setBorderColor(Color::white(1)); }));
    EXPECT_TRUE(marks([&] { label->setClipsToBounds(true); }));
    EXPECT_TRUE(marks([&] { label->setText("tag"); }));
    EXPECT_TRUE(marks([&] { label->setTextColor(Color::white(0.5)); }));
    EXPECT_TRUE(marks([&] { image->setContentMode(ContentMode::center); }));
    EXPECT_TRUE(marks([&] { button->setSelected(true); }));
    EXPECT_TRUE(marks([&] { button->setHighlighted(true); }));
    EXPECT_TRUE(marks([&] { window->bringSubviewToFront(label.get()); }));
    // Unchanged values ask for nothing.
    take();
    label->setText("tag");
    label->setFrame(label->frame());
    button->setSelected(true);
    EXPECT_FALSE(window->needsDisplay());
    EXPECT_EQ(requests, 0);
}

TEST_F(Display, SubviewsJoiningOrLeavingMarkTheirWindows) {
    auto other = p.window();
    p.clock.runUntilIdle();
    take();
    other->addSubview(label);  // leaves `window` for `other`
    EXPECT_TRUE(window->needsDisplay());
    EXPECT_TRUE(other->needsDisplay());
    take();
    label->removeFromSuperview();
    EXPECT_TRUE(other->needsDisplay());
    EXPECT_FALSE(window->needsDisplay());
    // A view outside any window marks nothing.
    take();
    label->setText("alone");
    EXPECT_EQ(requests, 0);
}

TEST_F(Display, WindowsShownHiddenOrRestackedAskForADisplay) {
    window->setHidden(true);
    EXPECT_EQ(requests, 1);
    take();
    auto hidden = std::make_shared<Window>(p.app, p.screen.bounds);
    hidden->addSubview(std::make_shared<Label>());
    EXPECT_EQ(requests, 0);  // nothing of it shows
    hidden->makeKeyAndVisible();
    EXPECT_GE(requests, 1);
    take();
    hidden->setWindowLevel(kWindowLevelAlert);
    EXPECT_GE(requests, 1);
}

TEST_F(Display, AnimationsMarkTheirEndAndAStillModelAsksNothing) {
    p.app.animator().animate(0.3, [&] { label->setAlpha(0.2); });
    EXPECT_TRUE(window->needsDisplay());
    take();
    p.clock.advance(0.5);
    EXPECT_FALSE(p.app.isAnimating());
    EXPECT_TRUE(window->needsDisplay());  // the last frame shows the end
    take();
    p.clock.advance(60);
    EXPECT_EQ(requests, 0);
    EXPECT_FALSE(window->needsDisplay());
}

}  // namespace
}  // namespace kernova::ui
