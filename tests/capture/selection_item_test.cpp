// The selection item on the simulated device: which mouse gestures raise it,
// what its click sends, its settings and its look, and what takes it away.
#include "capture/selection_item.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "capture_fixture.h"
#include "panel/screen_report.h"
#include "panel/tag_flow_container.h"

namespace kernova::capture {
namespace {

constexpr ui::Point kFrom{100, 100};
constexpr ui::Point kTo{180, 104};

class SelectionItemTest : public CaptureTest {
  protected:
    SelectionItemTest() {
        server.start();
        host.setPrimarySelection("picked words");
        device.runUntilIdle();
    }
    SelectionItem& item() {
        if (!item_) {
            item_ = std::make_unique<SelectionItem>(context, host, device.server().messageSender(),
                                                    gestures, primaryReaderOf(host));
            item_->start();
        }
        return *item_;
    }
    // A drag from kFrom to kTo, the owner change after the release.
    void selectByDrag() {
        item();
        gestures.drag(kFrom, kTo);
        gestures.primaryOwnerChanged();
        device.runUntilIdle();
    }
    std::optional<SelectionItemReport> shown() {
        return reportScreen(device.server().application()).selectionItem;
    }
    // Clicks the item as the user does: the desktop reports the press on
    // it, and the toolkit gets the click.
    void clickItem() {
        const ui::Rect frame = shown().value().frame;
        const ui::Point at{frame.midX(), frame.midY()};
        gestures.press(at);
        driver.tap(at);
        gestures.release(at);
        device.runUntilIdle();
    }
    // The "selection" of every "notifySplode" sent.
    std::vector<std::string> sent() {
        std::vector<std::string> texts;
        for (const sim::DeliveredMessage& m : device.deliveredMessages()) {
            if (m.message.name != "notifySplode") continue;
            EXPECT_TRUE(m.message.userInfo["callFromResponder"].boolValue());
            texts.push_back(m.message.userInfo["selection"].stringValue().value_or(""));
        }
        return texts;
    }

    sim::SimSelectionGestures& gestures = host.selectionGestures();
    std::unique_ptr<SelectionItem> item_;
};

TEST_F(SelectionItemTest, DragsAndMultiClicksWithTheOwnerChangeInEitherOrderRaiseIt) {
    // The owner changes after the release (xterm), within 300 ms.
    item();
    gestures.drag(kFrom, kTo);
    device.advance(0.25);
    gestures.primaryOwnerChanged();
    device.runUntilIdle();
    // Its place, title and the panel its click opens are proven end to end.
    ASSERT_TRUE(shown());
    EXPECT_TRUE(gestures.tracking());
    gestures.key();
    EXPECT_FALSE(gestures.tracking());

    // The owner changes while the button is down (most toolkits): a double click.
    gestures.click({300, 300});
    device.advance(0.2);
    gestures.press({301, 300});
    gestures.primaryOwnerChanged();
    gestures.release({301, 300});
    device.runUntilIdle();
    EXPECT_TRUE(shown()) << "double click";

    // Triple click: a new item after the third.
    gestures.press({301, 301});
    EXPECT_FALSE(shown());
    gestures.primaryOwnerChanged();
    gestures.release({301, 301});
    device.runUntilIdle();
    EXPECT_TRUE(shown()) << "triple click";
    gestures.key();
    EXPECT_FALSE(shown());

    // Not a selection: an owner change too late after a drag, a short drag,
    // clicks too slow or too far apart, the right button, and keyboard
    // selections (owner changes without a gesture).
    device.advance(1);
    gestures.drag(kFrom, kTo);
    device.advance(0.35);
    gestures.primaryOwnerChanged();
    device.advance(1);
    gestures.drag(kFrom, {103, 101});
    gestures.primaryOwnerChanged();
    device.advance(1);
    gestures.click(kFrom);
    device.advance(0.5);
    gestures.click(kFrom);
    gestures.primaryOwnerChanged();
    device.advance(1);
    gestures.click(kFrom);
    gestures.click({110, 100});
    gestures.primaryOwnerChanged();
    device.advance(1);
    gestures.press(kFrom, 3);
    gestures.release(kTo, 3);
    gestures.primaryOwnerChanged();
    gestures.primaryOwnerChanged();
    device.runUntilIdle();
    EXPECT_FALSE(shown());
    EXPECT_TRUE(sent().empty());
}

TEST_F(SelectionItemTest, EmptyAndUnreadableSelections) {
    host.setPrimarySelection("");
    selectByDrag();
    EXPECT_FALSE(shown()) << "nothing selected";

    // Unreadable: the item sends the sentence (an owner that never answers
    // is proven end to end).
    host.setPrimarySelection(std::nullopt);
    selectByDrag();
    clickItem();
    EXPECT_EQ(sent(), (std::vector<std::string>{kSelectionFallbackSentence}));
}

TEST_F(SelectionItemTest, ItGoesAfterThreeSecondsTwoHundredPointsOrAKey) {
    selectByDrag();
    ASSERT_TRUE(item().text());
    device.advance(2.9);
    EXPECT_TRUE(shown());
    device.advance(0.1);
    EXPECT_FALSE(shown());
    EXPECT_FALSE(item().text()) << "the text goes with the item";
    EXPECT_FALSE(gestures.tracking());

    selectByDrag();
    gestures.move({kTo.x + 150, kTo.y + 100});
    EXPECT_TRUE(shown());
    gestures.move({kTo.x + 160, kTo.y + 120});
    EXPECT_FALSE(shown()) << "200 points away";
    EXPECT_FALSE(item().text());

    selectByDrag();
    gestures.key();
    EXPECT_FALSE(shown());
    EXPECT_TRUE(sent().empty());
}

TEST_F(SelectionItemTest, SettingsTitleImageAndPlacement) {
    // Kept inside the work area of the monitor.
    host.setWorkArea(ui::Rect(0, 30, 375, 600));
    set("customMenuName", Value("Words"));
    item();
    gestures.drag({300, 600}, {370, 620});
    gestures.primaryOwnerChanged();
    device.runUntilIdle();
    ASSERT_TRUE(shown());
    EXPECT_EQ(shown()->title, "Words");
    EXPECT_EQ(shown()->image, "");
    EXPECT_EQ(shown()->frame.maxX(), 375);
    EXPECT_EQ(shown()->frame.maxY(), 630);

    // The master switch counts at once; the start settings until the next start.
    set("customMenuName", Value("Other"));
    set("enabled", Value(false), true);
    selectByDrag();
    EXPECT_FALSE(shown());
    set("enabled", Value(true), true);
    selectByDrag();
    ASSERT_TRUE(shown());
    EXPECT_EQ(shown()->title, "Words");
    item_.reset();
    EXPECT_FALSE(shown());

    // The image forms, each from its own folder; a missing picture keeps the title.
    const auto picture = device.imageCodec().encode(
        *ui::Image::fromPixels(ui::PixelBuffer{90, 90, std::vector<std::uint32_t>(90 * 90)}, 3),
        ui::ImageFormat::png);
    ASSERT_TRUE(picture);
    const auto quill = device.bundleDirectory().parent_path() / "QuillPrefs.bundle";
    std::filesystem::create_directories(quill);
    std::ofstream(quill / "Splode@3x.png", std::ios::binary)
        .write(reinterpret_cast<const char*>(picture->data()),
               static_cast<std::streamsize>(picture->size()));
    set("menuType", Value(std::int64_t{1}));
    selectByDrag();
    EXPECT_EQ(shown().value().image, "") << "KernovaPrefs.bundle has no picture";
    item_.reset();
    set("menuType", Value(std::int64_t{2}));
    selectByDrag();
    EXPECT_EQ(shown().value().image, (quill / "Splode@3x.png").string());
    item_.reset();

    // "systemMenu" NO as it starts: the gestures are not even asked for.
    set("systemMenu", Value(false));
    sim::SimSelectionGestures quiet;
    SelectionItem off(context, host, device.server().messageSender(), quiet, primaryReaderOf(host));
    EXPECT_FALSE(off.start());
    EXPECT_FALSE(quiet.started());
}

}  // namespace
}  // namespace kernova::capture
