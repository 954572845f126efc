#include "capture/selection_item.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "floating/selection_item_view.h"
#include "floating/splode_window.h"
#include "server/settings.h"

namespace kernova::capture {
namespace {

constexpr const char* kNotifySplode = "notifySplode";
constexpr int kLeftButton = 1;

double distance(ui::Point a, ui::Point b) {
    return std::hypot(a.x - b.x, a.y - b.y);
}

// `size` at `wanted` (its top left), moved inside `area` as far as it fits.
ui::Rect placedInside(ui::Point wanted, ui::Size size, const ui::Rect& area) {
    const double x = std::max(area.minX(), std::min(wanted.x, area.maxX() - size.width));
    const double y = std::max(area.minY(), std::min(wanted.y, area.maxY() - size.height));
    return ui::Rect(ui::Point{x, y}, size);
}

}  // namespace

PrimaryReader primaryReaderOf(ServerHost& host) {
    return [&host](PrimaryReply reply) {
        host.readSelection(
            SelectionKind::primary, [reply = std::move(reply)](std::optional<std::string> text) {
                reply(text ? PrimaryText::of(std::move(*text)) : PrimaryText::failure());
            });
    };
}

SelectionItem::SelectionItem(Context& context, ServerHost& host, MessageSender& sender,
                             SelectionGestures& gestures, PrimaryReader readPrimary)
    : context_(context),
      host_(host),
      sender_(sender),
      gestures_(gestures),
      readPrimary_(std::move(readPrimary)) {}

SelectionItem::~SelectionItem() {
    context_.runLoop().cancelAll(this);
    if (window_) {
        window_->setHidden(true);
        host_.windowsChanged();
    }
}

bool SelectionItem::start() {
    if (listening_) return true;
    const SettingsSnapshot settings = readSettings(context_);
    if (settings.has(settings_key::kSystemMenu) && !settings.get(settings_key::kSystemMenu)) {
        context_.log().info("selection", "the selection item stays off: systemMenu is NO");
        return false;
    }
    title_ = settings.generalMenuTitle();
    const std::int64_t menuType = settings.get(settings_key::kMenuType);
    if (menuType == 1) imagePath_ = (context_.paths().bundle / kImageName).string();
    if (menuType == 2)
        imagePath_ =
            (context_.paths().bundle.parent_path() / "QuillPrefs.bundle" / kImageName).string();
    listening_ = gestures_.start(*this);
    context_.log().info("selection", listening_ ? "the selection item listens"
                                                : "this desktop cannot report mouse selections");
    return listening_;
}

bool SelectionItem::isShown() const {
    return window_ && !window_->isHidden() && button_ && button_->superview() == window_.get();
}

ui::Rect SelectionItem::frame() const {
    if (!isShown()) return {};
    return button_->frame().offsetBy(window_->frame().origin.x, window_->frame().origin.y);
}

void SelectionItem::buttonPressed(int button, ui::Point where) {
    if (isShown() && frame().contains(where)) {
        // The item's own window takes this click.
        pressOnItem_ = true;
        return;
    }
    pressOnItem_ = false;
    dismiss();
    pendingRead_ = 0;  // a new gesture: the selection before is not shown
    releasedAt_.reset();
    if (button != kLeftButton) {
        pressed_ = false;
        clicks_ = 0;
        return;
    }
    const double now = context_.runLoop().now();
    const bool again = clicks_ > 0 && now - lastClickTime_ <= kMultiClickSeconds &&
                       distance(where, firstClickAt_) <= kMultiClickPoints;
    if (!again) {
        clicks_ = 0;
        firstClickAt_ = where;
    }
    lastClickTime_ = now;
    pressed_ = true;
    pressAt_ = where;
    pressTime_ = now;
    ownerChangedSincePress_ = false;
}

void SelectionItem::buttonReleased(int button, ui::Point where) {
    if (button != kLeftButton) return;
    if (pressOnItem_) {
        pressOnItem_ = false;
        return;
    }
    if (!pressed_) return;
    pressed_ = false;
    const bool drag = distance(pressAt_, where) >= kDragPoints;
    if (drag) {
        clicks_ = 0;
    } else {
        ++clicks_;
    }
    if (!drag && clicks_ < 2) return;
    if (ownerChangedSincePress_) {
        finished(where);
        return;
    }
    // Many toolkits take PRIMARY only once the button is up.
    releasedAt_ = where;
    releaseTime_ = context_.runLoop().now();
}

void SelectionItem::primaryOwnerChanged() {
    if (pressed_) {
        ownerChangedSincePress_ = true;
        return;
    }
    if (releasedAt_ && context_.runLoop().now() - releaseTime_ <= kOwnerChangeSeconds) {
        const ui::Point where = *releasedAt_;
        releasedAt_.reset();
        finished(where);
        return;
    }
    // A selection made without the mouse (the keyboard): no item.
    releasedAt_.reset();
}

void SelectionItem::pointerMoved(ui::Point where) {
    if (isShown() && distance(where, anchor_) >= kAwayPoints) dismiss();
}

void SelectionItem::keyPressed() {
    dismiss();
}

void SelectionItem::finished(ui::Point where) {
    if (!context_.settings().enabled) {
        context_.log().debug("selection", "no item: Kernova is switched off");
        return;
    }
    dismiss();
    anchor_ = where;
    workArea_ = host_.monitorUnderPointer().workArea;
    const std::uint64_t read = ++reads_;
    pendingRead_ = read;
    readTimer_ = context_.runLoop().after(
        kReadTimeoutSeconds, this, [this, read] { readArrived(read, PrimaryText::failure()); });
    readPrimary_([this, read, alive = std::weak_ptr(alive_)](PrimaryText result) {
        if (!alive.expired()) readArrived(read, std::move(result));
    });
}

void SelectionItem::readArrived(std::uint64_t read, PrimaryText result) {
    if (read != pendingRead_) return;  // too late, or a newer gesture began
    pendingRead_ = 0;
    context_.runLoop().cancel(readTimer_);  // nothing waits once the answer is in
    switch (result.status) {
        case PrimaryText::Status::empty:
            context_.log().debug("selection", "no item: the selection is empty");
            return;
        case PrimaryText::Status::failed:
            context_.log().info("selection", "the selection could not be read; item shown");
            show(kSelectionFallbackSentence);
            return;
        case PrimaryText::Status::text:
            context_.log().debug("selection", "selection of " + std::to_string(result.text.size()) +
                                                  " bytes; item shown");
            show(std::move(result.text));
            return;
    }
}

void SelectionItem::show(std::string text) {
    ui::Application& application = host_.application();
    auto button =
        std::make_shared<GSelectionItemView>(application, title_, imagePath_.value_or(""));
    const ui::Rect onScreen =
        placedInside(ui::Point{anchor_.x + kOffsetPoints, anchor_.y + kOffsetPoints},
                     button->frame().size, workArea_);
    button->setFrame(onScreen.offsetBy(-workArea_.origin.x, -workArea_.origin.y));
    button->addTarget([this](ui::Control&) { click(); }, ui::kControlEventTouchUpInside);

    window_ = GSplodeWindow::initWithFrame(application, workArea_);
    window_->setPassesTouchesThrough(true);
    window_->addSubview(button);
    button_ = std::move(button);
    text_ = std::move(text);
    gestures_.setTracking(true);
    context_.runLoop().after(kShownSeconds, this, [this] { dismiss(); });
    host_.windowsChanged();
}

void SelectionItem::click() {
    if (!isShown() || !text_) return;
    const std::string text = std::move(*text_);
    dismiss();
    sender_.sendMessageName(kNotifySplode, Value(Dictionary{{"callFromResponder", Value(true)},
                                                            {"selection", Value(text)}}));
    context_.log().info("selection",
                        "item clicked: " + std::to_string(text.size()) + " bytes sent");
}

void SelectionItem::dismiss() {
    if (!window_) return;
    context_.runLoop().cancelAll(this);
    pendingRead_ = 0;
    // The text goes with the item: nothing of it stays behind.
    text_.reset();
    // The window holds the button; keep both for the rest of this call (a
    // click dismisses from inside the button's own handler).
    auto window = std::move(window_);
    auto button = std::move(button_);
    button->removeFromSuperview();
    window->setHidden(true);
    gestures_.setTracking(false);
    host_.windowsChanged();
}

}  // namespace kernova::capture
