#include "panel/tag_flow_container.h"

#include <algorithm>
#include <utility>

#include "board/tag_flow_cell.h"
#include "board/tag_flow_item.h"
#include "segment/splode_box.h"
#include "server/settings.h"
#include "ui/animation.h"
#include "ui/application.h"

namespace kernova {
namespace {

const ui::Color kTipBlue = ui::Color::rgb255(74, 150, 247);
const ui::Color kCloseRed = ui::Color{1.0, 66.0 / 255.0, 35.0 / 255.0, 0.9};
const ui::Color kHairLine = ui::Color{0.83, 0.83, 0.83, 0.2};

struct TipTexts {
    const char* shortText;
    const char* longText;
};
// rightSwip, leftSwip, holdClose, holdScreen; then their descriptions.
constexpr TipTexts kTips[] = {
    {"[Right Swipe ⓧ]", "→Right Swipe ⓧ Inverse selection"},
    {"[Left Swipe ⓧ]", "Left Swipe ⓧ Select all←"},
    {"[Long press ⓧ]", "Long press ⓧ splode again"},
    {"[Long press blank]", "Long press blank to toggle orderly"},
};
constexpr const char* kTipDescriptions[] = {"→Inverse selection", "Select all←", "Splode again",
                                            "Toggle orderly"};
enum TipIndex : std::size_t { kRightSwip = 0, kLeftSwip = 1, kHoldClose = 2, kHoldScreen = 3 };

std::shared_ptr<ui::View> hairLine() {
    auto line = std::make_shared<ui::View>();
    line->setBackgroundColor(kHairLine);
    line->setUserInteractionEnabled(false);
    return line;
}

std::shared_ptr<ui::Button> roundButton(const std::string& title, ui::Color color,
                                        const std::string& toolTip) {
    auto button = std::make_shared<ui::Button>();
    if (!title.empty()) {
        button->setTitle(title);
        button->setTitleColor(ui::Color::white(1.0));
    }
    button->setCornerRadius(GTagFlowContainer::kButtonSize / 2);
    button->setClipsToBounds(true);
    button->setBackgroundColor(color);
    button->setToolTip(toolTip);
    return button;
}

}  // namespace

std::shared_ptr<GTagFlowContainer> GTagFlowContainer::initWithFrame(ui::Application& application,
                                                                    PanelServices services,
                                                                    const ui::Rect& frame) {
    auto panel = std::make_shared<GTagFlowContainer>(application, services, frame);
    panel->loadUI();
    NotificationCenter& notices = application.context().notifications();
    GTagFlowContainer* raw = panel.get();
    notices.addObserver(kHideNotification, raw, [raw](const Notification&) { raw->hideOnce(); });
    notices.addObserver(kNotifyReloadNotification, raw,
                        [raw](const Notification&) { raw->notifyReload(); });
    return panel;
}

GTagFlowContainer::GTagFlowContainer(ui::Application& application, PanelServices services,
                                     const ui::Rect& frame)
    : ui::View(frame), application_(application), services_(services) {}

GTagFlowContainer::~GTagFlowContainer() {
    services_.flags.popSplode = false;
    application_.context().notifications().removeObservers(this);
    application_.runLoop().cancelAll(this);
    if (flowView_) flowView_->setHeightChangedBlock({});
    if (webView_) {
        webView_->setNavigationDelegate(nullptr);
        webView_->setUIDelegate(nullptr);
    }
}

void GTagFlowContainer::loadUI() {
    const Context& context = application_.context();
    const double W = bounds().width();
    const double H = bounds().height();
    SettingsSnapshot settings = readSettings(context);

    maxFlowViewHeight_ = std::max(0.0, H - kBandTop - kBandBottom);

    flowView_ = GTagFlowView::initWithFrame(application_, ui::Rect(0, 75, W, maxFlowViewHeight_));
    std::weak_ptr<GTagFlowContainer> weak =
        std::static_pointer_cast<GTagFlowContainer>(shared_from_this());
    flowView_->setHeightChangedBlock([weak](double, double contentHeight) {
        if (auto panel = weak.lock()) panel->relodLayoutWithCollectionHeight(contentHeight);
    });
    flowView_->setSelectedChangedBlock([](bool) {});

    closeBtn_ = roundButton("", kCloseRed, "Close");
    closeBtn_->setImage(drawCloseImageSize(ui::Size{10, 10}, 1.0, std::nullopt));
    closeBtn_->addTarget([this](ui::Control&) { closeContanier(); },
                         ui::kControlEventTouchUpInside);

    const std::int64_t tips = settings.get(settings_key::kTips);
    buildTips(tips);

    selectAllBtn_ = roundButton("All", kTipBlue, "Select all");
    selectAllBtn_->addTarget([this](ui::Control&) { selectAll(); }, ui::kControlEventTouchUpInside);
    inverseBtn_ = roundButton("反", kTipBlue, "Inverse selection");
    inverseBtn_->addTarget([this](ui::Control&) { inverse(); }, ui::kControlEventTouchUpInside);

    openUrlBtn_ = std::make_shared<ui::Button>();
    openUrlBtn_->imageView().setContentMode(ui::ContentMode::scaleAspectFit);
    openUrlBtn_->setToolTip("Open in the browser");
    openUrlBtn_->setHidden(true);

    auto closeLongPress = std::make_shared<ui::LongPressGestureRecognizer>();
    closeLongPress->addTarget([this](ui::GestureRecognizer& r) { closeBtnLongPress(r); });
    closeBtn_->addGestureRecognizer(closeLongPress);
    auto panelLongPress = std::make_shared<ui::LongPressGestureRecognizer>();
    panelLongPress->addTarget([this](ui::GestureRecognizer& r) { fullLongPress(r); });
    // The backdrop around the card belongs to the panel, but a press there is
    // not a press on the panel's blank space.
    panelLongPress->shouldBegin = [this](ui::GestureRecognizer& r) {
        ui::Point at = r.locationInView(this);
        return View::pointInside(at);
    };
    addGestureRecognizer(panelLongPress);
    auto swipeLeft = std::make_shared<ui::SwipeGestureRecognizer>();
    swipeLeft->setDirection(ui::kSwipeDirectionLeft);
    swipeLeft->addTarget([this](ui::GestureRecognizer& r) {
        if (r.state() == ui::kGestureRecognized) selectAll();
    });
    closeBtn_->addGestureRecognizer(swipeLeft);
    auto swipeRight = std::make_shared<ui::SwipeGestureRecognizer>();
    swipeRight->setDirection(ui::kSwipeDirectionRight);
    swipeRight->addTarget([this](ui::GestureRecognizer& r) {
        if (r.state() == ui::kGestureRecognized) inverse();
    });
    closeBtn_->addGestureRecognizer(swipeRight);

    topHorizontalLine_ = hairLine();
    topHorizontalLine_->setFrame(ui::Rect(0, kBandTop, W, 1));
    midHorizontalLine_ = hairLine();
    midHorizontalLine_->setFrame(ui::Rect(0, H - kBandBottom, W, 1));
    btmHorizontalLine_ = hairLine();
    btmHorizontalLine_->setFrame(ui::Rect(0, H - 75, W, 1));
    btmHorizontalLine_->setHidden(tips == 1 || tips == 2);

    headerView_ = std::make_shared<ui::ImageView>(
        ui::Rect((W - kHeaderSize) / 2, 35, kHeaderSize, kHeaderSize));
    headerView_->setContentMode(ui::ContentMode::scaleAspectFit);
    headerView_->setImage(application_.platform().imageCodec.imageWithContentsOfFile(
        context.paths().bundle / kHeaderImageName));

    topContentView_ = std::make_shared<ui::View>();

    menuBackgroundView();
    addSubview(menuBackgroundView_);
    addSubview(flowView_);
    addSubview(topContentView_);
    addSubview(closeBtn_);
    for (const auto& label : tipLabels_)
        addSubview(label);
    addSubview(topHorizontalLine_);
    addSubview(midHorizontalLine_);
    addSubview(btmHorizontalLine_);
    addSubview(headerView_);
    addSubview(openUrlBtn_);
    addSubview(selectAllBtn_);
    addSubview(inverseBtn_);

    flowView_->setFrame(ui::Rect(0, 75, W, maxFlowViewHeight_));
    closeBtn_->setFrame(ui::Rect((W - kButtonSize) / 2, H - 130, kButtonSize, kButtonSize));
    const double below = flowView_->frame().maxY() + 20;
    selectAllBtn_->setFrame(ui::Rect((W - 130) / 2, below, kButtonSize, kButtonSize));
    inverseBtn_->setFrame(ui::Rect((W + 30) / 2, below, kButtonSize, kButtonSize));
    openUrlBtn_->setFrame(ui::Rect(W - 40, (H - 40) / 2, 40, 40));
    topContentView_->setFrame(ui::Rect(0.1 * W, H - kBandBottom, 0.8 * W, kBarHeight));
    placeTips(tips);

    setActionBtnItems(menuItems(context));

    splodeAllFlag_ = false;
    relodLayoutWithCollectionHeight(maxFlowViewHeight_);
    headerTimer_ =
        application_.runLoop().every(kHeaderBlinkSeconds, this, [this] { animeteHeader(); });
}

void GTagFlowContainer::buildTips(std::int64_t tips) {
    tipLabels_.clear();
    auto make = [&](const std::string& text, bool hidden) {
        auto label = std::make_shared<ui::Label>();
        label->setFont(ui::Font::systemFont(8));
        label->setTextColor(kTipBlue);
        label->setText(text);
        label->setTextAlignment(tips == 0 ? ui::TextAlignment::center : ui::TextAlignment::left);
        label->setHidden(hidden);
        tipLabels_.push_back(label);
    };
    for (const TipTexts& tip : kTips)
        make(tips == 0 ? tip.shortText : tip.longText, tips == 2);
    for (const char* description : kTipDescriptions)
        make(description, tips == 1 || tips == 2);
}

void GTagFlowContainer::placeTips(std::int64_t tips) {
    const double W = bounds().width();
    const double H = bounds().height();
    const ui::Rect c = closeBtn_->frame();
    if (tips == 1) {
        tipLabels_[kRightSwip]->setFrame(ui::Rect(W / 2 + 43, c.origin.y, 130, 35));
        tipLabels_[kLeftSwip]->setFrame(ui::Rect(W / 2 - 43 - 130, c.origin.y, 130, 35));
        tipLabels_[kHoldClose]->setFrame(ui::Rect(W / 2 - 75, c.origin.y - 30, 150, 20));
        tipLabels_[kHoldScreen]->setFrame(ui::Rect(W / 2 - 75, c.origin.y + 35 + 10, 150, 20));
        return;
    }
    // Four equal columns under the bottom hair-line: hold screen, hold close,
    // left swipe, right swipe; the descriptions in a second row.
    const TipIndex columns[] = {kHoldScreen, kHoldClose, kLeftSwip, kRightSwip};
    for (std::size_t column = 0; column < 4; ++column) {
        const double x = W / 4 * static_cast<double>(column);
        tipLabels_[columns[column]]->setFrame(ui::Rect(x, H - 65, W / 4, 20));
        tipLabels_[columns[column] + 4]->setFrame(ui::Rect(x, H - 48, W / 4, 20));
    }
}

ui::View& GTagFlowContainer::menuBackgroundView() {
    if (menuBackgroundView_) return *menuBackgroundView_;
    const Context& context = application_.context();
    menuBackgroundView_ = std::make_shared<ui::View>(bounds());
    ui::BlurEffectStyle style = ui::BlurEffectStyle::regular;
    switch (readSettings(context).get(settings_key::kBackground)) {
        case 0:
            style = ui::BlurEffectStyle::light;
            break;
        case 1:
            style = ui::BlurEffectStyle::dark;
            break;
        default:
            break;
    }
    auto blur = std::make_shared<ui::VisualEffectView>(style, menuBackgroundView_->bounds());
    blur->setTag(1);
    menuBackgroundView_->addSubview(blur);
    // The card's surface: where the panel ends, so that a tap beyond it closes.
    cardSurface_ = std::make_shared<ui::View>(menuBackgroundView_->bounds());
    cardSurface_->setCornerRadius(14);
    cardSurface_->setBackgroundColor(style == ui::BlurEffectStyle::dark ? ui::Color{0, 0, 0, 0.25}
                                                                        : ui::Color{1, 1, 1, 0.3});
    cardSurface_->setUserInteractionEnabled(false);
    blur->contentView().addSubview(cardSurface_);
    auto tap = std::make_shared<ui::TapGestureRecognizer>();
    tap->addTarget([this](ui::GestureRecognizer& r) { backdropTapped(r); });
    menuBackgroundView_->addGestureRecognizer(tap);
    menuBackgroundView_->setAlpha(0);
    return *menuBackgroundView_;
}

void GTagFlowContainer::coverWindow() {
    if (!keyWindow_ || !menuBackgroundView_) return;
    ui::Rect window = keyWindow_->bounds();
    ui::Point origin = convertPointFromView(window.origin, keyWindow_.get());
    menuBackgroundView_->setFrame(ui::Rect(origin, window.size));
    if (auto* blur = menuBackgroundView_->viewWithTag(1))
        blur->setFrame(menuBackgroundView_->bounds());
    cardSurface_->setFrame(ui::Rect(ui::Point{-origin.x, -origin.y}, bounds().size));
}

double GTagFlowContainer::screenScale() const {
    return screenScale_.value_or(application_.screen().scale);
}

bool GTagFlowContainer::pointInside(ui::Point point) const {
    if (View::pointInside(point)) return true;
    const ui::View* parent = superview();
    return parent && parent->pointInside(convertPointToView(point, parent));
}

void GTagFlowContainer::backdropTapped(ui::GestureRecognizer& recognizer) {
    if (recognizer.state() != ui::kGestureRecognized) return;
    const ui::Point at = recognizer.locationInView(this);
    // In browser mode a tap anywhere but on the page closes the panel.
    if (!View::pointInside(at) || (webView_ && closesBrowser(at))) hide();
}

void GTagFlowContainer::configDatas(std::vector<GTagFlowItemRef> items) {
    flowView_->setFlowDatas(std::move(items));
    relodLayoutWithCollectionHeight(maxFlowViewHeight_);
    flowView_->reloadDatas();
    setNeedsLayout();
}

void GTagFlowContainer::relodLayoutWithCollectionHeight(double height) {
    const double W = bounds().width();
    const double H = bounds().height();
    height = std::max(0.0, height);
    const bool pictureMode =
        image_ && readSettings(application_.context()).get(settings_key::kTextCheck);
    if (!pictureMode) {
        if (maxFlowViewHeight_ > height) {
            flowView_->setFrame(
                ui::Rect(0, kBandTop + (H - kBandBottom - kBandTop - height) * 0.5, W, height));
        } else {
            flowView_->setFrame(ui::Rect(0, kBandTop, W, maxFlowViewHeight_));
        }
    } else {
        maxFlowViewHeight_ = std::max(0.0, (H - kBandTop - kBandBottom) * 0.5 - 1);
        if (!photoView_) {
            photoView_ =
                std::make_shared<ui::ScrollView>(ui::Rect(0, kBandTop, W, maxFlowViewHeight_));
            // One pixel of the picture is one pixel of the screen: panned, never scaled.
            std::shared_ptr<const ui::Image> picture = image_;
            if (const ui::PixelBuffer* pixels = image_->pixels())
                picture = ui::Image::fromPixels(*pixels,
                                                screenScale_.value_or(application_.screen().scale));
            const ui::Size size = picture->size();
            const ui::Size view = photoView_->bounds().size;
            auto imageView = std::make_shared<ui::ImageView>(picture);
            imageView->setFrame(
                ui::Rect(size.width < view.width ? (view.width - size.width) * 0.5 : 0,
                         size.height < view.height ? (view.height - size.height) * 0.5 : 0,
                         size.width, size.height));
            photoView_->addSubview(imageView);
            photoView_->setContentSize(size);
            photoView_->setShowsHorizontalScrollIndicator(false);
            photoView_->setShowsVerticalScrollIndicator(false);
            photoView_->setBounces(false);
            insertSubviewAbove(photoView_, flowView_.get());
        }
        if (!tableViewHorizontalLine_) {
            tableViewHorizontalLine_ = hairLine();
            insertSubviewAbove(tableViewHorizontalLine_, photoView_.get());
        }
        tableViewHorizontalLine_->setFrame(ui::Rect(0, kBandTop + maxFlowViewHeight_ + 1, W, 1));
        const double top = kBandTop + maxFlowViewHeight_ + 2;
        if (height < maxFlowViewHeight_) {
            flowView_->setFrame(ui::Rect(0, top + (maxFlowViewHeight_ - height) * 0.5, W, height));
        } else {
            flowView_->setFrame(ui::Rect(0, top, W, maxFlowViewHeight_));
        }
    }
    const double below = flowView_->frame().maxY() + 20;
    selectAllBtn_->setFrame(ui::Rect((W - 130) * 0.5, below, kButtonSize, kButtonSize));
    inverseBtn_->setFrame(ui::Rect((W + 30) * 0.5, below, kButtonSize, kButtonSize));
}

std::shared_ptr<const ui::Image> GTagFlowContainer::drawCloseImageSize(
    ui::Size size, double lineWidth, std::optional<ui::Color> tintColor) {
    ui::StrokedPath first{{{0, 0}, {size.width, size.height}},
                          lineWidth,
                          tintColor.value_or(ui::Color::white(1.0)),
                          true};
    ui::StrokedPath second{{{size.width, 0}, {0, size.height}},
                           lineWidth,
                           tintColor.value_or(ui::Color::white(1.0)),
                           true};
    return ui::Image::fromPaths(size, {first, second});
}

void GTagFlowContainer::show() {
    vibrateSplode();
    services_.flags.popSplode = true;
    if (superview()) {
        setHidden(false);
        if (keyWindow_) {
            keyWindow_->setWindowLevel(GSplodeWindow::kLevel);
            keyWindow_->makeKeyAndVisible();
        }
    } else {
        addToKeyWindow();
    }
    flowView_->reloadDatas();
    application_.runLoop().after(ServerFlags::kPopSeconds, this, [this] { clearPopFlag(); });
    std::weak_ptr<ui::View> weak = weak_from_this();
    showAnimationWithCompletion([weak] {
        // Every shown request goes into the history.
        auto self = std::static_pointer_cast<GTagFlowContainer>(weak.lock());
        if (!self) return;
        std::string joined = self->historyText_
                                 ? std::exchange(self->historyText_, std::nullopt).value()
                                 : self->flowView_->getAllTextstring().value_or("");
        if (!joined.empty()) self->saveHistory(joined);
    });
}

void GTagFlowContainer::clearPopFlag() {
    services_.flags.popSplode = false;
}

void GTagFlowContainer::showAnimationWithCompletion(std::function<void()> completion) {
    fade(1.0, kShowSeconds, std::move(completion));
}

void GTagFlowContainer::fade(double alpha, double seconds, std::function<void()> completion) {
    application_.animator().animate(
        seconds,
        [this, alpha] {
            menuBackgroundView().setAlpha(alpha);
            flowView_->setAlpha(alpha);
        },
        [completion = std::move(completion)](bool) {
            if (completion) completion();
        });
}

void GTagFlowContainer::hide() {
    services_.flags.popSplode = false;
    // Pending work aimed at the panel (the pop flag's clearing) is dropped.
    application_.runLoop().cancelAll(this);
    headerTimer_ = 0;
    if (keyWindow_) keyWindow_->setHidden(true);
    std::weak_ptr<ui::View> weak = weak_from_this();
    hideAnimationWithCompletion([weak] {
        auto self = std::static_pointer_cast<GTagFlowContainer>(weak.lock());
        if (!self) return;
        if (self->webView_) {
            self->webView_->loadRequest("about:blank");
            self->activityIndicatorView_->stopAnimating();
        }
        self->removeFromKeyWindow();
    });
    vibrateSplode();
}

void GTagFlowContainer::hideAnimationWithCompletion(std::function<void()> completion) {
    fade(0.0, kHideSeconds, std::move(completion));
}

void GTagFlowContainer::hideOnce() {
    if (!superview()) return;
    setHidden(true);
    if (keyWindow_) {
        keyWindow_->setWindowLevel(ui::kWindowLevelNormal);
        // An empty overlay would still cover the monitor: it goes too.
        keyWindow_->setHidden(true);
    }
}

void GTagFlowContainer::notifyReload() {
    show();
    configDatas(flowView_->flowDatas());
}

void GTagFlowContainer::addToKeyWindow() {
    if (!keyWindow_) return;
    keyWindow_->addSubview(shared_from_this());
    coverWindow();
    keyWindow_->setKeyHandler([this](const ui::KeyEvent& event) { return handleKey(event); });
    keyWindow_->makeKeyAndVisible();
}

void GTagFlowContainer::removeFromKeyWindow() {
    if (!superview()) return;
    auto self = shared_from_this();
    // A page still full screen goes with its panel.
    if (webView_) webView_->exitFullScreen();
    application_.context().notifications().removeObservers(this);
    application_.runLoop().cancelAll(this);
    headerTimer_ = 0;
    removeFromSuperview();
    if (keyWindow_) {
        keyWindow_->setKeyHandler(nullptr);
        keyWindow_->setHidden(true);
    }
    // The window held the panel and the panel its window: both may go now.
    keyWindow_.reset();
    if (detachedBlock_) {
        auto block = std::move(detachedBlock_);
        detachedBlock_ = nullptr;
        block();
    }
}

GTagFlowContainer::State GTagFlowContainer::state() const {
    if (!superview()) return State::detached;
    return isHidden() ? State::parked : State::shown;
}

bool GTagFlowContainer::isShown() const {
    return state() == State::shown && keyWindow_ && !keyWindow_->isHidden();
}

bool GTagFlowContainer::handleKey(const ui::KeyEvent& event) {
    if (webView_) return browserKey(event);
    if (event.key == ui::Key::escape) {
        hide();
        return true;
    }
    if (event.control) {
        if (event.text == "c") {
            completeForWholeText();
            std::string text = actionText();
            hide();
            copyText(text);
            return true;
        }
        if (event.text == "a") selectAll();
        if (event.text == "i") inverse();
        return event.text == "a" || event.text == "i";
    }
    if (event.key == ui::Key::tab) {
        const std::size_t count = keyButtons().size();
        std::optional<std::size_t> next;
        if (!event.shift) {
            if (!focusedButton_)
                next = 0;
            else if (*focusedButton_ + 1 < count)
                next = *focusedButton_ + 1;
        } else {
            if (!focusedButton_)
                next = count - 1;
            else if (*focusedButton_ > 0)
                next = *focusedButton_ - 1;
        }
        if (count == 0) next.reset();
        focusButton(next);
        return true;
    }
    if (ui::Button* button = focusedButton()) {
        if (event.key != ui::Key::enter && event.key != ui::Key::space) return false;
        auto self = shared_from_this();
        button->sendActionsForControlEvents(ui::kControlEventTouchUpInside);
        return true;
    }
    return flowView_->handleKey(event);
}

std::vector<ui::Button*> GTagFlowContainer::keyButtons() const {
    std::vector<ui::Button*> buttons;
    for (const auto& view : topContentView_->subviews())
        if (auto* button = dynamic_cast<ui::Button*>(view.get())) buttons.push_back(button);
    for (ui::Button* button : {selectAllBtn_.get(), inverseBtn_.get(), closeBtn_.get()})
        buttons.push_back(button);
    return buttons;
}

ui::Button* GTagFlowContainer::focusedButton() const {
    if (!focusedButton_) return nullptr;
    std::vector<ui::Button*> buttons = keyButtons();
    return *focusedButton_ < buttons.size() ? buttons[*focusedButton_] : nullptr;
}

void GTagFlowContainer::focusButton(std::optional<std::size_t> index) {
    if (index && !focusedButton_) {
        // The tags give the keyboard up; they get it back where it was.
        lastFocusedTag_ = flowView_->focusedItem();
        flowView_->setFocusedItem(std::nullopt);
    } else if (!index && focusedButton_) {
        flowView_->setFocusedItem(lastFocusedTag_.value_or(0));
    }
    focusedButton_ = index;
    ui::Button* button = focusedButton();
    if (!button) {
        if (buttonRing_) buttonRing_->setHidden(true);
        return;
    }
    if (!buttonRing_) {
        buttonRing_ = std::make_shared<ui::View>();
        buttonRing_->setBorderWidth(2);
        buttonRing_->setBorderColor(ui::Color::rgb255(255, 149, 0));
        buttonRing_->setUserInteractionEnabled(false);
        addSubview(buttonRing_);
    }
    constexpr double kRingGap = 3;
    const ui::Rect frame = button->convertRectToView(button->bounds(), this);
    buttonRing_->setFrame(ui::Rect(frame.origin.x - kRingGap, frame.origin.y - kRingGap,
                                   frame.size.width + 2 * kRingGap,
                                   frame.size.height + 2 * kRingGap));
    buttonRing_->setCornerRadius(frame.size.width / 2 + kRingGap);
    buttonRing_->setHidden(false);
}

void GTagFlowContainer::vibrateSplode() {
    SettingsSnapshot settings = readSettings(application_.context());
    if (!settings.get(settings_key::kVibrateSwitch)) return;
    std::int64_t sound = settings.get(settings_key::kVibrate);
    if (sound <= 0) sound = kDefaultVibrate;
    application_.platform().haptic.playSystemSound(static_cast<std::uint32_t>(sound));
}

void GTagFlowContainer::closeBtnLongPress(ui::GestureRecognizer& recognizer) {
    if (recognizer.state() != ui::GestureState::began) return;
    splodeAllFlag_ = !splodeAllFlag_;
    vibrateSplode();
    if (completeBlock_) {
        std::function<void()> complete = std::move(completeBlock_);
        completeBlock_ = nullptr;
        complete();
    }
    std::string joined = flowView_->getAllTextstring().value_or("");
    flowView_->setSelectItems({});
    const Context& context = application_.context();
    std::vector<GSplodeItem> segments = splodeAllFlag_
                                            ? GSplodeBox::splodeAll(joined, context.locale())
                                            : GSplodeBox::splode(joined, context.locale());
    configDatas(GTagFlowItem::factoryFolwLayoutWithItems(
        context, application_.platform().textMeasurer, segments, nullptr));
}

void GTagFlowContainer::fullLongPress(ui::GestureRecognizer& recognizer) {
    if (recognizer.state() != ui::GestureState::began) return;
    vibrateSplode();
    flowView_->setOrderCopy(!flowView_->orderCopy());
    flowView_->reloadDatas();
}

void GTagFlowContainer::animeteHeader() {
    application_.animator().animate(
        kHeaderBlinkSeconds, 0, ui::kAnimationOptionCurveLinear,
        [this] { headerView_->setAlpha(headerView_->alpha() == 1.0 ? 0.2 : 1.0); });
}

}  // namespace kernova
