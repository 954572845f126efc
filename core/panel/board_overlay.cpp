#include "panel/board_overlay.h"

#include <algorithm>

#include "board/tag_flow_item.h"
#include "board/tag_flow_pass.h"
#include "segment/splode_box.h"

namespace kernova {
namespace {

double contentHeightOf(const std::vector<GTagFlowItemRef>& items, double width) {
    TagLineMetrics metrics = GTagFlowView::defaultLineMetrics(width);
    auto sizeAt = [&](std::int64_t i) { return items[static_cast<std::size_t>(i)]->itemSize(); };
    auto content = layoutTagLines(static_cast<std::int64_t>(items.size()), metrics, sizeAt,
                                  [](std::int64_t, const ui::Rect&) {});
    const ui::EdgeInsets& insets = GTagFlowView::kDefaultEdgeInsets;
    return content ? content->height : insets.top + insets.bottom;
}

}  // namespace

std::shared_ptr<BoardOverlay> BoardOverlay::show(ui::Application& application,
                                                 std::string_view text, const ui::Rect& frame,
                                                 double maxFittedHeight) {
    auto overlay = std::make_shared<BoardOverlay>(application);
    overlay->build(text, frame, maxFittedHeight);
    return overlay;
}

BoardOverlay::~BoardOverlay() {
    close();
}

void BoardOverlay::build(std::string_view text, const ui::Rect& frame, double maxFittedHeight) {
    Context& context = application_.context();
    const ui::TextMeasurer& measurer = application_.platform().textMeasurer;
    std::vector<GSplodeItem> segments = GSplodeBox::splode(text, context.locale());
    std::vector<GTagFlowItemRef> items =
        GTagFlowItem::factoryFolwLayoutWithItems(context, measurer, segments, nullptr);

    ui::Rect windowFrame = frame;
    if (windowFrame.size.height <= 0) {
        windowFrame.size.height =
            std::min(contentHeightOf(items, frame.size.width), maxFittedHeight);
    }
    window_ = GSplodeWindow::initWithFrame(application_, windowFrame);
    // Tags are white: the surface stays a shade off so that unselected tags show.
    window_->setBackgroundColor(application_.platform().appearance.isDarkMode()
                                    ? ui::Color::white(0.17)
                                    : ui::Color::white(0.93));
    board_ = GTagFlowView::initWithFrame(application_, ui::Rect(ui::Point{}, windowFrame.size));
    board_->configTagCollectionViewLayout();
    board_->setFlowDatas(std::move(items));
    board_->reloadDatas();
    window_->addSubview(board_);
    window_->makeKeyAndVisible();
}

void BoardOverlay::close() {
    if (window_) window_->setHidden(true);
}

}  // namespace kernova
