#include "panel/screen_report.h"

#include "floating/selection_item_view.h"
#include "floating/splode_button.h"
#include "floating/splode_running_view.h"
#include "panel/tag_flow_container.h"
#include "ui/alert.h"

namespace kernova {
namespace {

ui::Rect onScreen(const ui::View& view) {
    const ui::Rect frame = view.frame();
    const ui::View* parent = view.superview();
    if (!parent) return frame;
    return ui::Rect(parent->convertPointToScreen(frame.origin), frame.size);
}

ButtonState buttonState(const ui::Button& button, std::string name) {
    return ButtonState{std::move(name), onScreen(button), button.isHidden()};
}

template <class Visit>
void walk(ui::View& view, const Visit& visit) {
    visit(view);
    for (const auto& child : view.subviews())
        walk(*child, visit);
}

}  // namespace

std::vector<TagState> tagStatesOf(const GTagFlowView& board) {
    ui::CollectionView& collection = *board.collectionView();
    collection.layoutIfNeeded();
    std::vector<TagState> states;
    const auto& items = board.flowDatas();
    states.reserve(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        TagState state;
        if (items[i]) {
            state.text = items[i]->text();
            state.selectionIndex = items[i]->isSelected() ? items[i]->index() : 0;
        }
        auto attributes =
            collection.layoutAttributesForItemAtIndexPath({0, static_cast<std::int64_t>(i)});
        if (attributes)
            state.frame = ui::Rect(collection.convertPointToScreen(attributes->frame.origin),
                                   attributes->frame.size);
        states.push_back(std::move(state));
    }
    return states;
}

PanelReport reportPanel(const GTagFlowContainer& panel) {
    PanelReport report;
    report.shown = panel.isShown();
    report.parked = panel.state() == GTagFlowContainer::State::parked;
    report.card = onScreen(panel);
    const GTagFlowView& board = *panel.flowView();
    report.board = onScreen(board);
    report.orderCopy = board.orderCopy();
    report.tags = tagStatesOf(board);
    for (const auto& item : board.selectItems())
        if (item && item->isSelected()) report.picked.push_back(item->text());
    for (const auto& view : panel.topContentView()->subviews()) {
        if (auto* button = dynamic_cast<const ui::Button*>(view.get()))
            report.actions.push_back(buttonState(*button, button->currentTitle().value_or("")));
    }
    report.buttons.push_back(buttonState(*panel.closeBtn(), "close"));
    report.buttons.push_back(buttonState(*panel.selectAllBtn(), "selectAll"));
    report.buttons.push_back(buttonState(*panel.inverseBtn(), "inverse"));
    for (const auto& label : panel.tipLabels())
        if (!label->isHidden() && label->superview()) report.tips.push_back(label->text());
    if (const auto& web = panel.webView()) {
        BrowserReport browser;
        browser.url = web->URL();
        browser.loading = web->isLoading();
        browser.spinning = panel.activityIndicatorView()->isAnimating();
        browser.findBar = web->isFindBarShown();
        browser.fullScreen = web->isFullScreen();
        browser.webView = onScreen(*web);
        browser.caption = panel.closeLabel()->text();
        browser.captionFrame = onScreen(*panel.closeLabel());
        browser.openUrl = buttonState(*panel.openUrlBtn(), "openUrl");
        report.browser = std::move(browser);
    }
    return report;
}

ScreenReport reportScreen(const ui::Application& application) {
    ScreenReport report;
    for (ui::Window* window : application.windows()) {
        if (window->isHidden()) continue;
        walk(*window, [&](ui::View& view) {
            if (auto* panel = dynamic_cast<GTagFlowContainer*>(&view)) {
                if (!report.panel || panel->isShown()) report.panel = reportPanel(*panel);
            } else if (auto* running = dynamic_cast<GSplodeRunningView*>(&view)) {
                if (running->isShown()) report.runningIndicators.push_back(onScreen(*running));
            } else if (auto* button = dynamic_cast<GSplodeButton*>(&view)) {
                if (button->isShown()) report.floatingButtons.push_back(onScreen(*button));
            } else if (auto* item = dynamic_cast<GSelectionItemView*>(&view)) {
                report.selectionItem =
                    SelectionItemReport{onScreen(*item), item->title(), item->imagePath()};
            }
        });
        const auto& root = window->rootViewController();
        for (ui::ViewController* shown = root ? root->presentedViewController() : nullptr; shown;
             shown = shown->presentedViewController()) {
            auto* alert = dynamic_cast<ui::AlertController*>(shown);
            if (!alert) continue;
            AlertReport entry{alert->title().value_or(""),
                              alert->message().value_or(""),
                              {},
                              window->windowLevel()};
            for (const auto& action : alert->actions())
                entry.buttons.push_back(action->title().value_or(""));
            report.alerts.push_back(std::move(entry));
        }
    }
    // A parked panel is off the screen with its window, waiting to come back.
    for (ui::Window* window : application.allWindowsIncludingInternalWindows(false)) {
        if (report.panel || !window->isHidden()) continue;
        walk(*window, [&](ui::View& view) {
            auto* panel = dynamic_cast<GTagFlowContainer*>(&view);
            if (panel && !report.panel && panel->state() == GTagFlowContainer::State::parked)
                report.panel = reportPanel(*panel);
        });
    }
    return report;
}

}  // namespace kernova
