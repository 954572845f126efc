#include "floating/splode_button.h"

#include <utility>

#include "ui/animation.h"
#include "ui/application.h"
#include "ui/image_view.h"

namespace kernova {
namespace {

constexpr const char* kNotifySplode = "notifySplode";

}  // namespace

GSplodeButton::Geometry GSplodeButton::geometryFor(const SettingsSnapshot& settings,
                                                   const ui::Size& screen) {
    const std::int64_t edge = settings.get(settings_key::kPopButton);
    const std::int64_t size = settings.get(settings_key::kButtonSize);
    const std::int64_t travel = settings.get(settings_key::kEdgeDistance) + size;
    const double s = static_cast<double>(size);
    const double W = screen.width;
    const double H = screen.height;
    Geometry geometry;
    if (edge == 1) {  // bottom: only the horizontal shift applies
        const double h = static_cast<double>(settings.get(settings_key::kHorizontalPosition));
        geometry.start = ui::Rect(h + (W - s) / 2, H, s, s);
        geometry.offsetY = -static_cast<double>(travel);
        return geometry;
    }
    const double v = static_cast<double>(settings.get(settings_key::kVerticalPosition));
    if (edge == 2) {  // right
        geometry.start = ui::Rect(W, v + (H - s) / 2, s, s);
        geometry.offsetX = -static_cast<double>(travel);
    } else {  // left
        geometry.start = ui::Rect(-s, v + (H - s) / 2, s, s);
        geometry.offsetX = static_cast<double>(travel);
    }
    return geometry;
}

std::shared_ptr<GSplodeButton> GSplodeButton::init(ui::Application& application, Services services,
                                                   const ui::Rect& screen) {
    const Geometry geometry = geometryFor(readSettings(application.context()), screen.size);
    return std::make_shared<GSplodeButton>(application, std::move(services), geometry);
}

GSplodeButton::GSplodeButton(ui::Application& application, Services services,
                             const Geometry& geometry)
    : ui::Button(geometry.start, ui::ButtonType::custom),
      application_(application),
      services_(std::move(services)),
      offsetX_(geometry.offsetX),
      offsetY_(geometry.offsetY) {
    imageView().setContentMode(ui::ContentMode::scaleAspectFit);
    setImage(application.platform().imageCodec.imageWithContentsOfFile(
        application.context().paths().bundle / kImageName));
    setToolTip("Kernova: open the copied text (hold to run the long-press action)");
    addTarget([this](ui::Control&) { actionBtnClick(); }, ui::kControlEventTouchUpInside);
    auto press = std::make_shared<ui::LongPressGestureRecognizer>();
    press->addTarget([this](ui::GestureRecognizer& recognizer) { longPress(recognizer); });
    addGestureRecognizer(press);
}

GSplodeButton::~GSplodeButton() {
    application_.runLoop().cancelAll(this);
    // A second call after a removal: the server's block only clears a flag.
    if (showingEnded_) showingEnded_();
}

void GSplodeButton::addToKeyWindow() {
    std::shared_ptr<GSplodeWindow> window = keyWindow();
    if (!window) return;
    window->addSubview(shared_from_this());
    window->setHidden(false);
    application_.animator().animate(kSlideSeconds, [this] {
        ui::Rect moved = frame();
        moved.origin.x += offsetX_;
        moved.origin.y += offsetY_;
        setFrame(moved);
    });
    application_.runLoop().cancelAll(this);
    application_.runLoop().after(kRestSeconds, this,
                                 [this] { removeFromKeyWindowWithAnimetion(); });
}

void GSplodeButton::removeFromKeyWindowWithAnimetion() {
    application_.animator().animate(kSlideSeconds, [this] {
        ui::Rect moved = frame();
        moved.origin.x -= offsetX_;
        moved.origin.y -= offsetY_;
        setFrame(moved);
    });
    application_.runLoop().after(kSlideSeconds, this, [this] { removeFromKeyWindow(); });
}

void GSplodeButton::removeFromKeyWindow() {
    // Its timers stop with it: a button that has gone leaves nothing running.
    application_.runLoop().cancelAll(this);
    if (!superview()) return;
    // The window holds the button: keep it for the rest of this call.
    auto self = shared_from_this();
    removeFromSuperview();
    if (auto window = keyWindow()) window->setHidden(true);
    if (showingEnded_) showingEnded_();
}

bool GSplodeButton::isShown() const {
    std::shared_ptr<GSplodeWindow> window = keyWindow();
    return window && !window->isHidden() && superview() == window.get();
}

void GSplodeButton::actionBtnClick() {
    auto self = shared_from_this();
    removeFromKeyWindow();
    if (!services_.readClipboard) return;
    MessageSender* sender = services_.sender;
    services_.readClipboard([sender](std::optional<std::string> text) {
        if (sender && text && !text->empty()) sender->sendMessageName(kNotifySplode);
    });
}

void GSplodeButton::longPress(ui::GestureRecognizer& recognizer) {
    if (recognizer.state() != ui::GestureState::began) return;
    auto self = shared_from_this();
    removeFromKeyWindow();
    const std::string operation =
        readSettings(application_.context()).get(settings_key::kLongPress);
    if (!services_.readClipboard || !services_.openPanel) return;
    // The reply may come after the button has gone: it keeps what it needs.
    services_.readClipboard(
        [open = services_.openPanel, operation](std::optional<std::string> text) {
            open(text.value_or(""), operation);
        });
}

}  // namespace kernova
