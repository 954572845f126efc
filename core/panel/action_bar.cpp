// The panel's action bar: the buttons named by the menus file, what each one
// does with the picked text, the select all and inverse shortcuts, and the
// clipboard writes.
#include <algorithm>

#include "base/plist.h"
#include "floating/toast.h"
#include "panel/tag_flow_container.h"
#include "ui/application.h"

namespace kernova {
namespace {

constexpr const char* kDefaultMenus[] = {
    GTagFlowContainer::kCopy,   GTagFlowContainer::kUrlScheme, GTagFlowContainer::kTranslate,
    GTagFlowContainer::kSearch, GTagFlowContainer::kShare,     GTagFlowContainer::kHistory,
};

}  // namespace

std::vector<std::string> GTagFlowContainer::menuItems(const Context& context) {
    const Value file = loadDictionary(context.paths().menusFile());
    const Value& menus = file["menus"];
    if (menus.isAbsent()) return {std::begin(kDefaultMenus), std::end(kDefaultMenus)};
    std::vector<std::string> names;
    if (const Array* enabled = menus["Enabled"].asArray()) {
        names.reserve(enabled->size());
        for (const Value& name : *enabled)
            names.push_back(name.asString() ? *name.asString() : std::string());
    }
    return names;
}

void GTagFlowContainer::setActionBtnItems(std::vector<std::string> items) {
    actionBtnItems_ = std::move(items);
    if (actionBtnItems_.empty()) return;
    for (const auto& button : std::vector<std::shared_ptr<ui::View>>(
             topContentView_->subviews().begin(), topContentView_->subviews().end()))
        button->removeFromSuperview();
    const double slot =
        topContentView_->bounds().width() / static_cast<double>(actionBtnItems_.size());
    const double y = (topContentView_->bounds().height() - kButtonSize) * 0.5;
    for (std::size_t i = 0; i < actionBtnItems_.size(); ++i) {
        if (actionBtnItems_[i].empty()) continue;
        createTopButton(actionBtnItems_[i],
                        ui::Rect(slot * static_cast<double>(i) + (slot - kButtonSize) * 0.5, y,
                                 kButtonSize, kButtonSize));
    }
}

void GTagFlowContainer::createTopButton(const std::string& name, const ui::Rect& frame) {
    if (name.empty()) return;
    auto button = ui::Button::buttonWithType(ui::ButtonType::custom);
    // The title carries the action's name; the picture is what shows.
    button->setTitle(name);
    button->setTitleColor(ui::Color::clear());
    button->imageView().setContentMode(ui::ContentMode::scaleAspectFit);
    button->setImage(application_.platform().imageCodec.imageWithContentsOfFile(
        application_.context().paths().bundle / (name + ".png")));
    button->setFrame(frame);
    button->setToolTip(name);
    button->addTarget(
        [this](ui::Control& control) { actionBtnClick(static_cast<ui::Button&>(control)); },
        ui::kControlEventTouchUpInside);
    if (name == kLongPressCopy) {
        auto press = std::make_shared<ui::LongPressGestureRecognizer>();
        press->addTarget([this](ui::GestureRecognizer& r) { copyLongPress(r); });
        button->addGestureRecognizer(press);
    }
    topContentView_->addSubview(button);
}

void GTagFlowContainer::completeForWholeText() {
    if (!completeBlock_) return;
    const GTagSelection& selection = flowView_->selection();
    if (!selection.picks().empty() && selection.picks().size() != selection.items().size()) return;
    // The block may be replaced from inside: it is taken out first.
    std::function<void()> complete = std::move(completeBlock_);
    completeBlock_ = nullptr;
    complete();
}

std::string GTagFlowContainer::actionText() const {
    std::optional<std::string> text = flowView_->getNewTextOrderByAdding(flowView_->orderCopy());
    if (!text) text = flowView_->getAllTextstring();
    return text.value_or("");
}

void GTagFlowContainer::actionBtnClick(ui::Button& button) {
    // The handlers may hide and release the panel: it stays alive to the end.
    auto self = shared_from_this();
    const std::string title = button.currentTitle().value_or("");
    completeForWholeText();
    const std::string text = actionText();
    if (title == kCopy) {
        hide();
        copyText(text);
    } else if (title == kTranslate) {
        translateText(text);
    } else if (title == kSearch) {
        searchText(text);
    } else if (title == kUrlScheme) {
        schemeText(text);
    } else if (title == kShare) {
        shareText(text);
    } else if (title == kHistory) {
        hide();
        history();
    }
    if (actionBlock_) actionBlock_(title, text);
}

void GTagFlowContainer::selectAll() {
    vibrateSplode();
    flowView_->selectAll();
}

void GTagFlowContainer::inverse() {
    vibrateSplode();
    flowView_->inverse();
}

void GTagFlowContainer::copyToClipboard(const std::string& text) {
    ServerFlags& flags = services_.flags;
    flags.usingSplode = true;
    application_.platform().pasteboard.setString(text);
    // The clearing outlives the panel (a copy hides it first): it is the flags'.
    application_.runLoop().after(ServerFlags::kOwnWriteSeconds, &flags,
                                 [&flags] { flags.usingSplode = false; });
}

void GTagFlowContainer::copyText(const std::string& text) {
    if (text.empty()) return;
    copyToClipboard(text);
}

void GTagFlowContainer::copyLongPress(ui::GestureRecognizer& recognizer) {
    if (recognizer.state() != ui::GestureState::began) return;
    std::optional<std::string> text = flowView_->getNewTextOrderByAdding(flowView_->orderCopy());
    if (!text) {
        toast(kNoSelectionTitle, kNoSelectionTimeout);
        return;
    }
    if (!text->empty()) copyToClipboard(*text);
}

void GTagFlowContainer::clearUsingFlag() {
    services_.flags.usingSplode = false;
}

void GTagFlowContainer::shareText(const std::string& text) {
    if (keyWindow_) keyWindow_->setHidden(true);
    services_.sender.sendMessageName("shareText", Value(Dictionary{{"shareText", Value(text)}}));
}

void GTagFlowContainer::toast(const std::string& title, double timeout) {
    std::optional<ui::Rect> screen;
    if (keyWindow_) screen = keyWindow_->frame();
    showToastMessage(application_, "", title, timeout, screen);
}

}  // namespace kernova
