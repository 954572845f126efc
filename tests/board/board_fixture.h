// A tag board in an overlay window of the simulated device's server process,
// with helpers to fill it, find its tags on screen and write settings.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "board/tag_flow_cell.h"
#include "board/tag_flow_item.h"
#include "board/tag_flow_view.h"
#include "floating/splode_window.h"
#include "server/settings.h"
#include "sim/device.h"
#include "sim/driver.h"

namespace kernova::testing {

class BoardTest : public ::testing::Test {
  protected:
    static constexpr double kBoardWidth = 375;
    static constexpr double kBoardHeight = 600;

    sim::Device device;
    sim::Driver driver{device};
    sim::SimProcess& server = device.server();
    Context& context = server.context();
    ui::Application& app = server.application();
    const ui::TextMeasurer& measurer = device.textMeasurer();
    std::shared_ptr<GSplodeWindow> window = GSplodeWindow::initWithFrame(app, app.screen().bounds);
    std::shared_ptr<GTagFlowView> board = makeBoard();

    std::shared_ptr<GTagFlowView> makeBoard() {
        auto made = GTagFlowView::initWithFrame(app, ui::Rect(0, 0, kBoardWidth, kBoardHeight));
        made->configTagCollectionViewLayout();
        window->addSubview(made);
        return made;
    }

    void setSetting(const std::string& key, Value value) {
        (void)updateSettings(context, [&](Dictionary& d) { d[key] = value; });
    }

    GTagFlowItemRef item(const std::string& text) {
        return GTagFlowItem::tagFlowItemWithText(context, measurer, text);
    }

    // Shows one tag per text and lets the board lay out.
    void show(const std::vector<std::string>& texts) {
        std::vector<GTagFlowItemRef> items;
        for (const auto& text : texts)
            items.push_back(item(text));
        showItems(std::move(items));
    }
    void showItems(std::vector<GTagFlowItemRef> items) {
        board->setFlowDatas(std::move(items));
        board->reloadDatas();
        settle();
    }
    // Tags "t0", "t1", ... all `width` wide, so positions are easy to predict.
    void showUniform(std::size_t count, double width = 60) {
        std::vector<GTagFlowItemRef> items;
        for (std::size_t i = 0; i < count; ++i) {
            items.push_back(item("t" + std::to_string(i)));
            items.back()->setItemSize(ui::Size{width, 30});
        }
        showItems(std::move(items));
    }
    void settle() {
        device.runUntilIdle();
        app.layoutIfNeeded();
    }

    ui::Rect frameOf(std::int64_t i) const {
        auto attributes = board->collectionView()->layoutAttributesForItemAtIndexPath({0, i});
        return attributes ? attributes->frame : ui::Rect();
    }
    // A point inside tag i, in screen coordinates; `fraction` runs across its width.
    ui::Point on(std::int64_t i, double fraction = 0.5) const {
        ui::Rect f = frameOf(i);
        ui::Point p{f.origin.x + f.size.width * fraction, f.midY()};
        return board->collectionView()->convertPointToScreen(p);
    }
    GTagCollectionViewLayout& tagLayout() const {
        return dynamic_cast<GTagCollectionViewLayout&>(
            *board->collectionView()->collectionViewLayout());
    }
    std::vector<ui::Rect> laidOutFrames() const {
        std::vector<ui::Rect> frames;
        for (const auto& a : tagLayout().arrayItemAtts())
            frames.push_back(a.frame);
        return frames;
    }
    GTagFlowCell* cellOf(std::int64_t i) const {
        return dynamic_cast<GTagFlowCell*>(board->collectionView()->cellForItemAtIndexPath({0, i}));
    }
    std::vector<bool> selection() const {
        std::vector<bool> states;
        for (const auto& each : board->flowDatas())
            states.push_back(each->isSelected());
        return states;
    }
    std::vector<std::int64_t> indexes() const {
        std::vector<std::int64_t> numbers;
        for (const auto& each : board->flowDatas())
            numbers.push_back(each->index());
        return numbers;
    }

    // A slide: down at the first point, through the others, up at the last.
    void slide(const std::vector<ui::Point>& path) {
        ui::TouchId id = driver.touchDown(path.front());
        for (std::size_t i = 1; i < path.size(); ++i)
            driver.touchMove(id, path[i]);
        driver.touchUp(id, path.back());
        settle();
    }
};

}  // namespace kernova::testing
