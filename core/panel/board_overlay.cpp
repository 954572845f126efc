#include "panel/board_overlay.h"

#include <algorithm>

#include "board/tag_flow_item.h"
#include "board/tag_flow_pass.h"
#include "segment/splode_box.h"

namespace kernova {
namespace {

ui::Color cardColor(bool dark) {
    // Tags are white: the card stays a shade off so that unselected tags show.
    return dark ? ui::Color::white(0.17) : ui::Color::white(0.93);
}

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
                                                 Style style, double maxFittedHeight) {
    auto overlay = std::make_shared<BoardOverlay>(application, style);
    overlay->build(text, frame, maxFittedHeight);
    return overlay;
}

BoardOverlay::BoardOverlay(ui::Application& application, Style style)
    : application_(application), style_(style) {}

BoardOverlay::~BoardOverlay() {
    // The application may hold the window a little longer; nothing it keeps
    // may call back here.
    if (window_) window_->setKeyHandler(nullptr);
    if (backdropTap_) backdropTap_->removeAllTargets();
    if (window_) window_->setHidden(true);
}

ui::Rect BoardOverlay::cardFrame(ui::Size size, double contentHeight) const {
    if (style_ == Style::plain) return ui::Rect(0, 0, size.width, size.height);
    double width = std::clamp(size.width - 2 * kScreenMargin, 1.0, kMaxCardWidth);
    double height =
        std::clamp(contentHeight, 1.0, std::max(1.0, size.height * kMaxCardHeightFraction));
    return ui::Rect((size.width - width) / 2, (size.height - height) / 2, width, height);
}

void BoardOverlay::build(std::string_view text, const ui::Rect& frame, double maxFittedHeight) {
    Context& context = application_.context();
    const ui::TextMeasurer& measurer = application_.platform().textMeasurer;
    std::vector<GSplodeItem> segments = GSplodeBox::splode(text, context.locale());
    std::vector<GTagFlowItemRef> items =
        GTagFlowItem::factoryFolwLayoutWithItems(context, measurer, segments, nullptr);

    ui::Rect windowFrame = frame;
    double cardWidth = style_ == Style::plain
                           ? frame.size.width
                           : std::clamp(frame.size.width - 2 * kScreenMargin, 1.0, kMaxCardWidth);
    double contentHeight = contentHeightOf(items, cardWidth);
    if (style_ == Style::plain && windowFrame.size.height <= 0)
        windowFrame.size.height = std::min(contentHeight, maxFittedHeight);

    window_ = GSplodeWindow::initWithFrame(application_, windowFrame);
    const ui::Size size = windowFrame.size;
    if (style_ == Style::floating) {
        backdrop_ = std::make_shared<ui::View>(ui::Rect(0, 0, size.width, size.height));
        backdrop_->setBackgroundColor(ui::Color{0, 0, 0, kBackdropAlpha});
        backdropTap_ = std::make_shared<ui::TapGestureRecognizer>();
        backdropTap_->addTarget([this](ui::GestureRecognizer& tap) {
            if (tap.state() == ui::kGestureRecognized) close();
        });
        backdrop_->addGestureRecognizer(backdropTap_);
        window_->addSubview(backdrop_);
    }

    ui::Rect cardRect = cardFrame(size, contentHeight);
    card_ = std::make_shared<ui::View>(cardRect);
    card_->setBackgroundColor(cardColor(application_.platform().appearance.isDarkMode()));
    if (style_ == Style::floating) card_->setCornerRadius(kCardCornerRadius);
    card_->setClipsToBounds(true);
    board_ = GTagFlowView::initWithFrame(application_,
                                         ui::Rect(0, 0, cardRect.size.width, cardRect.size.height));
    board_->configTagCollectionViewLayout();
    board_->setFlowDatas(std::move(items));
    board_->reloadDatas();
    card_->addSubview(board_);
    window_->addSubview(card_);

    window_->setKeyHandler([this](const ui::KeyEvent& event) {
        if (event.key != ui::Key::escape) return false;
        close();
        return true;
    });
    window_->makeKeyAndVisible();
    shown_ = true;
}

void BoardOverlay::park() {
    if (!shown_ || parked_) return;
    parked_ = true;
    window_->setHidden(true);
}

void BoardOverlay::restore() {
    if (!shown_ || !parked_) return;
    parked_ = false;
    board_->reloadDatas();
    window_->makeKeyAndVisible();
}

void BoardOverlay::close() {
    if (!shown_) return;
    shown_ = false;
    parked_ = false;
    window_->setHidden(true);
    if (closedBlock_) {
        auto block = std::move(closedBlock_);
        closedBlock_ = nullptr;
        block();
    }
}

std::vector<std::string> BoardOverlay::selectedTexts() const {
    std::vector<std::string> texts;
    for (const auto& item : board_->selectItems())
        if (item && item->isSelected()) texts.push_back(item->text());
    return texts;
}

}  // namespace kernova
