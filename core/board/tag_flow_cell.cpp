#include "board/tag_flow_cell.h"

#include <string>

#include "floating/splode_window.h"
#include "segment/splode_box.h"
#include "server/settings.h"
#include "ui/alert.h"

namespace kernova {

namespace {

// The badge is found again among the label's subviews, as the only place it is kept.
template <class Fn>
void forEachBadge(ui::Label& label, Fn&& fn) {
    for (const auto& subview : label.subviews()) {
        if (auto* badge = dynamic_cast<ui::Label*>(subview.get())) fn(*badge);
    }
}

// What a label shows for a cleared font: the platform's default.
constexpr double kDefaultLabelFontSize = 17.0;

// The keyboard's ring: orange, apart from the blue of picked tags.
constexpr double kFocusRingWidth = 2.0;
const ui::Color kFocusRingColor = ui::Color::rgb255(255, 149, 0);

}  // namespace

GTagFlowCell::GTagFlowCell(ui::Application& application, const ui::Rect& frame)
    : ui::CollectionViewCell(frame), application_(application) {
    tagLabel_ = std::make_shared<ui::Label>();
    tagLabel_->setTextColor(ui::Color::white(0.5));
    tagLabel_->setFont(ui::Font::systemFont(kLabelFontSize));
    tagLabel_->setTextAlignment(ui::TextAlignment::center);
    contentView().addSubview(tagLabel_);

    auto badge = std::make_shared<ui::Label>(ui::Rect(0, 0, kBadgeSize, kBadgeSize));
    badge->setFont(ui::Font::systemFont(kBadgeFontSize));
    badge->setText("");
    badge->setTextColor(ui::Color::black());
    badge->setTextAlignment(ui::TextAlignment::center);
    badge->setBackgroundColor(ui::Color::white(1.0));
    badge->setCornerRadius(kBadgeCornerRadius);
    badge->setClipsToBounds(true);
    badge->setHidden(true);
    tagLabel_->addSubview(badge);

    auto press = std::make_shared<ui::LongPressGestureRecognizer>();
    press->addTarget([this](ui::GestureRecognizer& r) { longPress(r); });
    addGestureRecognizer(press);
}

void GTagFlowCell::layoutSubviews() {
    ui::CollectionViewCell::layoutSubviews();
    tagLabel_->setFrame(bounds());
    if (focusRing_) focusRing_->setFrame(bounds());
}

std::string GTagFlowCell::accessibilityLabel() const {
    if (!flowLayout_) return {};
    // Spaces and line breaks are tags too: say what they are.
    if (GSplodeBox::isEmptAllSapce(flowLayout_->text())) return "space";
    return flowLayout_->text();
}

bool GTagFlowCell::isAccessibilitySelected() const {
    return flowLayout_ && flowLayout_->isSelected();
}

void GTagFlowCell::setFocusRing(bool shown) {
    if (!shown && !focusRing_) return;
    if (!focusRing_) {
        focusRing_ = std::make_shared<ui::View>(bounds());
        focusRing_->setBorderWidth(kFocusRingWidth);
        focusRing_->setBorderColor(kFocusRingColor);
        focusRing_->setUserInteractionEnabled(false);
        addSubview(focusRing_);
    }
    focusRing_->setCornerRadius(cornerRadius());
    focusRing_->setHidden(!shown);
}

void GTagFlowCell::configFlowLayout(GTagFlowItemRef item) {
    flowLayout_ = std::move(item);
    if (!flowLayout_ || !flowLayout_->appearance()) return;
    const GTagFlowAppearance& look = *flowLayout_->appearance();
    if (flowLayout_->isSelected())
        drawSelected(*flowLayout_, look);
    else
        drawUnselected(*flowLayout_, look);
}

void GTagFlowCell::drawUnselected(const GTagFlowItem& item, const GTagFlowAppearance& look) {
    ui::Label& label = *tagLabel_;
    label.setTextColor(look.textColor);
    label.setFont(look.textFont.value_or(ui::Font::systemFont(kDefaultLabelFontSize)));
    label.setBackgroundColor(look.backgroundColor);
    label.setText(item.text());
    label.setBorderWidth(look.borderWidth);
    label.setBorderColor(look.borderColor);
    setCornerRadius(look.cornerRadius);
    setClipsToBounds(true);
    label.setCornerRadius(look.cornerRadius);
    label.setClipsToBounds(true);
    forEachBadge(label, [](ui::Label& badge) {
        badge.setText("");
        badge.setHidden(true);
    });
}

void GTagFlowCell::drawSelected(const GTagFlowItem& item, const GTagFlowAppearance& look) {
    ui::Label& label = *tagLabel_;
    if (look.selectTextColor) label.setTextColor(*look.selectTextColor);
    if (look.selectBackgroundColor) label.setBackgroundColor(*look.selectBackgroundColor);
    if (look.textFont) label.setFont(*look.textFont);
    label.setText(item.text());
    setCornerRadius(look.cornerRadius);
    setClipsToBounds(true);
    // A zero width leaves the border as the cell's previous use left it.
    if (look.borderWidth != 0.0) {
        label.setBorderWidth(look.borderWidth);
        label.setBorderColor(look.selectBorderColor);
    }
    label.setCornerRadius(look.cornerRadius);
    label.setClipsToBounds(true);
    const std::string number = item.index() != 0 ? std::to_string(item.index()) : std::string();
    const bool hidden = !item.orderCopy();
    forEachBadge(label, [&](ui::Label& badge) {
        badge.setText(number);
        badge.setHidden(hidden);
    });
}

void GTagFlowCell::longPress(ui::GestureRecognizer& recognizer) {
    if (recognizer.state() != ui::GestureState::began) return;
    playHaptic();
    application_.context().notifications().post(kHideNotification);
    presentEditor();
}

void GTagFlowCell::playHaptic() {
    SettingsSnapshot settings = readSettings(application_.context());
    if (!settings.get(settings_key::kVibrateSwitch)) return;
    application_.platform().haptic.playSystemSound(
        static_cast<std::uint32_t>(settings.get(settings_key::kVibrate)));
}

void GTagFlowCell::presentEditor() {
    auto window = GSplodeWindow::initWithFrame(application_, application_.screen().bounds);
    auto root = std::make_shared<ui::ViewController>();
    window->setRootViewController(root);

    auto alert =
        ui::AlertController::alertControllerWithTitle("Edit", "", ui::AlertControllerStyle::alert);
    std::shared_ptr<ui::Label> label = tagLabel_;
    alert->addTextFieldWithConfigurationHandler([label](ui::TextField& field) {
        field.setText(label->text());
        field.becomeFirstResponder();
    });
    std::shared_ptr<ui::TextField> field = alert->textFields().back();
    Context& context = application_.context();
    // The overlay window goes when the editor closes; until then the
    // application keeps it (it is shown), so the actions hold it weakly.
    std::weak_ptr<GSplodeWindow> overlay = window;
    auto close = [overlay] {
        if (auto shown = overlay.lock()) shown->setHidden(true);
    };
    GTagFlowItemRef item = flowLayout_;
    alert->addAction(ui::AlertAction::actionWithTitle(
        "OK", ui::AlertActionStyle::destructive, [label, field, item, &context, close](auto&) {
            label->setText(field->text());
            if (item) item->setText(field->text());
            context.notifications().post(kNotifyReloadNotification);
            close();
        }));
    alert->addAction(ui::AlertAction::actionWithTitle(
        "Cancel", ui::AlertActionStyle::cancel, [&context, close](auto&) {
            context.notifications().post(kNotifyReloadNotification);
            close();
        }));
    root->presentViewController(alert, true);
}

}  // namespace kernova
