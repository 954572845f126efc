// Painting checked on rendered images: layers, tree rules, scrolling, content
// kinds, and the measured text size against the painted text.
#include <QImage>
#include <QPainter>
#include <algorithm>

#include "desktop/ui/qt_convert.h"
#include "desktop_ui/desktop_ui_fixture.h"
#include "ui/image_view.h"
#include "ui/label.h"
#include "ui/scroll_view.h"

namespace kernova::desktop::testing {
namespace {

using ui::Color;
using ui::Rect;

std::shared_ptr<ui::View> addView(ui::View& parent, Rect frame, std::optional<Color> color) {
    auto view = std::make_shared<ui::View>(frame);
    view->setBackgroundColor(color);
    parent.addSubview(view);
    return view;
}

// The smallest rectangle (in pixels) holding every pixel that is not transparent.
QRect paintedArea(const QImage& image) {
    QRect area;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y).alpha() > 0) area |= QRect(x, y, 1, 1);
        }
    }
    return area;
}

using PainterTest = DesktopUiTest;

TEST_F(PainterTest, BackgroundsLandAtFractionalFramesWithLaterSubviewsOnTop) {
    auto window = makeWindow({0, 0, 100, 100});
    window->setBackgroundColor(Color::white(1));
    addView(*window, {10.5, 20.25, 30, 40}, Color{1, 0, 0, 1});
    addView(*window, {30, 30, 20, 20}, Color{0, 0, 1, 1});
    QImage image = render(*window, 2.0);
    EXPECT_EQ(image.size(), QSize(200, 200));
    EXPECT_TRUE(near(at(image, 5, 5, 2), Qt::white));
    EXPECT_TRUE(near(at(image, 11, 21, 2), Qt::red));
    EXPECT_TRUE(near(at(image, 35, 35, 2), Qt::blue));  // the later sibling covers it
    EXPECT_TRUE(near(at(image, 45, 65, 2), Qt::white));
    // The fractional left edge: the pixel column at 10.0 points stays white.
    EXPECT_TRUE(near(at(image, 10.0, 30, 2), Qt::white));
}

TEST_F(PainterTest, CornerRadiusRoundsTheBackgroundAndClipsChildrenWhenAsked) {
    auto window = makeWindow({0, 0, 100, 100});
    auto rounded = addView(*window, {10, 10, 80, 80}, Color{0, 0, 1, 1});
    rounded->setCornerRadius(20);
    auto child = addView(*rounded, {0, 0, 80, 80}, std::nullopt);
    auto corner = addView(*child, {0, 0, 10, 10}, Color{0, 1, 0, 1});

    QImage image = render(*window);
    EXPECT_TRUE(near(at(image, 50, 50), Qt::blue));
    EXPECT_TRUE(near(at(image, 11, 11), Qt::green));  // not clipped yet
    corner->setHidden(true);
    EXPECT_EQ(at(render(*window), 11, 11).alpha(), 0);  // the rounded background's corner

    corner->setHidden(false);
    rounded->setClipsToBounds(true);
    image = render(*window);
    EXPECT_EQ(at(image, 11, 11).alpha(), 0);
    EXPECT_TRUE(near(at(image, 50, 50), Qt::blue));
}

TEST_F(PainterTest, BorderIsDrawnInsideTheBoundsOverTheContent) {
    auto window = makeWindow({0, 0, 100, 100});
    auto view = addView(*window, {20, 20, 60, 60}, Color::white(1));
    view->setBorderWidth(4);
    view->setBorderColor(Color{1, 0, 0, 1});
    addView(*view, {0, 0, 60, 60}, Color{0, 1, 0, 1});
    QImage image = render(*window);
    EXPECT_TRUE(near(at(image, 21, 50), Qt::red));
    EXPECT_TRUE(near(at(image, 78.5, 50), Qt::red));
    EXPECT_TRUE(near(at(image, 50, 50), Qt::green));
    EXPECT_EQ(at(image, 19, 50).alpha(), 0);
}

TEST_F(PainterTest, AlphaMultipliesDownTheTreeAndHiddenSubtreesAreAbsent) {
    auto window = makeWindow({0, 0, 100, 100});
    auto parent = addView(*window, {0, 0, 100, 100}, std::nullopt);
    parent->setAlpha(0.5);
    auto child = addView(*parent, {0, 0, 50, 50}, Color{1, 0, 0, 1});
    child->setAlpha(0.5);
    QColor pixel = at(render(*window), 25, 25);
    EXPECT_NEAR(pixel.alpha(), 64, 2);
    EXPECT_NEAR(pixel.red(), 255, 3);
    child->setAlpha(0.0);
    EXPECT_EQ(at(render(*window), 25, 25).alpha(), 0);
    child->setAlpha(1.0);
    parent->setHidden(true);
    EXPECT_EQ(paintedArea(render(*window)), QRect());
    // A window asked for directly is painted even when it is not shown.
    parent->setHidden(false);
    window->setHidden(true);
    EXPECT_NEAR(at(render(*window), 5, 5).alpha(), 128, 2);
}

TEST_F(PainterTest, RunningAnimationsPaintTheirPresentationValue) {
    auto window = makeWindow({0, 0, 100, 100});
    auto view = addView(*window, {0, 0, 100, 100}, Color{0, 0, 0, 1});
    app.animator().animate(1.0, 0, ui::kAnimationOptionCurveLinear, [&] { view->setAlpha(0.0); });
    clock.advance(0.25);
    EXPECT_NEAR(at(render(*window), 50, 50).alpha(), 191, 3);
    Painter painter;
    painter.renderWindow(*window, {100, 100}, 1.0);
    EXPECT_TRUE(painter.needsAnimationFrames());
    clock.advance(1.0);
    EXPECT_EQ(at(painter.renderWindow(*window, {100, 100}, 1.0), 50, 50).alpha(), 0);
    EXPECT_FALSE(painter.needsAnimationFrames());
}

TEST_F(PainterTest, ScrollOffsetShiftsContent) {
    auto window = makeWindow({0, 0, 100, 100});
    auto scroll = std::make_shared<ui::ScrollView>(Rect{0, 0, 100, 100});
    scroll->setClipsToBounds(true);
    scroll->setContentSize({100, 300});
    window->addSubview(scroll);
    addView(*scroll, {0, 100, 100, 50}, Color{0, 1, 0, 1});
    EXPECT_EQ(at(render(*window), 50, 10).alpha(), 0);
    scroll->setContentOffset({0, 100});
    QImage image = render(*window);
    EXPECT_TRUE(near(at(image, 50, 10), Qt::green));
    EXPECT_EQ(at(image, 50, 60).alpha(), 0);
}

TEST_F(PainterTest, ImagesPaintTheirPixelsAndStrokes) {
    auto window = makeWindow({0, 0, 100, 100});
    ui::PixelBuffer pixels{2, 2, std::vector<std::uint32_t>(4, 0xffff0000u)};
    auto view = std::make_shared<ui::ImageView>(ui::Image::fromPixels(pixels));
    view->setFrame({10, 10, 20, 20});
    window->addSubview(view);
    auto strokes = ui::Image::fromPaths(
        {10, 10}, {ui::StrokedPath{{{0, 5}, {10, 5}}, 2, Color{0, 0, 1, 1}, false}});
    auto drawn = std::make_shared<ui::ImageView>(strokes);
    drawn->setFrame({50, 50, 40, 40});
    window->addSubview(drawn);

    QImage image = render(*window);
    EXPECT_TRUE(near(at(image, 20, 20), Qt::red));
    EXPECT_EQ(at(image, 35, 20).alpha(), 0);
    EXPECT_TRUE(near(at(image, 70, 70), Qt::blue, 40));  // the line, scaled 4x, 8 wide
    EXPECT_EQ(at(image, 70, 55).alpha(), 0);
}

// Blurs tint their area; over a canvas that holds the same picture at every
// painting (the screen beneath an overlay) they are made once, and left out
// of a faint first frame.
TEST_F(PainterTest, BlursOfAnUntouchedCanvasAreKeptUntilItsPictureChanges) {
    auto window = makeWindow({0, 0, 100, 100});
    auto blur =
        std::make_shared<ui::VisualEffectView>(ui::BlurEffectStyle::dark, Rect{0, 0, 100, 100});
    window->addSubview(blur);
    Painter painter;
    // Black on the left, `right` on the right, the window painted over it.
    auto paint = [&](QColor right) {
        QImage canvas = makeCanvas({100, 100}, 1.0);
        QPainter p(&canvas);
        p.fillRect(0, 0, 50, 100, Qt::black);
        p.fillRect(50, 0, 50, 100, right);
        painter.paintWindow(p, *window, app.runLoop().now());
        return canvas;
    };
    painter.setCanvasGeneration(1);
    blur->setAlpha(0.05);
    paint(Qt::white);
    EXPECT_TRUE(painter.needsAnimationFrames()) << "a faint first frame goes out unblurred";
    paint(Qt::white);
    EXPECT_FALSE(painter.needsAnimationFrames());
    blur->setAlpha(1.0);
    EXPECT_LT(at(paint(Qt::white), 75, 50).lightness(), 128) << "the dark style tints";
    // Left of the edge, the white beyond it blurs in.
    const int edge = at(paint(Qt::white), 48, 50).lightness();
    EXPECT_GT(edge, at(paint(Qt::white), 5, 50).lightness() + 15);
    // A new picture beneath is blurred anew; with the old one kept, the edge would stay.
    painter.setCanvasGeneration(2);
    EXPECT_LT(at(paint(Qt::black), 48, 50).lightness(), edge - 15);

    // Something painted beneath the blur first: blurred at every painting, never left out.
    window->setBackgroundColor(Color{0, 0, 0, 0.01});
    blur->setAlpha(0.05);
    painter.setCanvasGeneration(3);
    paint(Qt::white);
    EXPECT_FALSE(painter.needsAnimationFrames());
}

TEST_F(PainterTest, LabelTextIsDrawnInsideItsMeasuredSize) {
    auto window = makeWindow({0, 0, 300, 100});
    const ui::TextMeasurer& measurer = desktop->platform().textMeasurer;
    for (std::string text : {"Hello, world", "中文分词测试", "two\nlines"}) {
        SCOPED_TRACE(text);
        auto label = std::make_shared<ui::Label>();
        label->setText(text);
        label->setNumberOfLines(0);
        ui::Size size = label->textSize(measurer);
        ASSERT_GT(size.width, 10);
        label->setFrame({20.5, 10.25, size.width, size.height});
        window->addSubview(label);
        for (double scale : {1.0, 2.0}) {
            QRect area = paintedArea(render(*window, scale));
            ASSERT_FALSE(area.isEmpty());
            EXPECT_GE(area.left(), 20 * scale);
            EXPECT_GE(area.top(), 10 * scale);
            EXPECT_LE(area.right(), (20.5 + size.width + 1) * scale);
            EXPECT_LE(area.bottom(), (10.25 + size.height + 1) * scale);
            EXPECT_GT(area.width(), size.width * 0.7 * scale);  // the text fills its width
        }
        label->removeFromSuperview();
    }
}

TEST_F(PainterTest, SingleLineLabelsStayInsideNarrowFrames) {
    auto window = makeWindow({0, 0, 300, 100});
    auto label = std::make_shared<ui::Label>(Rect{10, 10, 60, 30});
    label->setText("a rather long line that does not fit");
    label->setTextColor(Color{0, 0, 1, 1});
    label->setTextAlignment(ui::TextAlignment::center);
    window->addSubview(label);
    QRect area = paintedArea(render(*window));
    ASSERT_FALSE(area.isEmpty());
    EXPECT_GE(area.left(), 10);
    EXPECT_LE(area.right(), 71);
}

}  // namespace
}  // namespace kernova::desktop::testing
