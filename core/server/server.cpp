#include "server/server.h"

#include <algorithm>
#include <utility>
#include <variant>

#include "base/desktop_entries.h"
#include "base/message_dispatcher.h"
#include "base/text.h"
#include "board/tag_flow_item.h"
#include "floating/region_picker.h"
#include "floating/splode_button.h"
#include "floating/splode_running_view.h"
#include "floating/toast.h"
#include "panel/tag_flow_container.h"
#include "segment/splode_box.h"
#include "server/message_names.h"
#include "server/settings.h"
#include "server/share_activities.h"
#include "server/tag_feed.h"
#include "support/base64_categories.h"
#include "ui/activity.h"
#include "ui/alert.h"
#include "ui/gestures.h"

namespace kernova {
namespace {

// The toasts of "notifySplode", with their timeouts.
constexpr const char* kSwitchedOffTitle = "Please turn on tweak switch to use it!";
constexpr double kSwitchedOffTimeout = 1.0;
constexpr const char* kNoTextTitle =
    "There is no text in the pasteboard, so copy the text to use it!";
constexpr double kNoTextTimeout = 0.7;
constexpr const char* kTranslationResultTitle = "Translation result";
constexpr double kShareNoticeTimeout = 1.5;

// The tags of a request in its style ("style": 0 plain, 1 outlined, 2 plain
// with grey symbols), the settings read once; null for another style. The
// tags of a request share one store and one appearance per kind of tag.
TagFeed::MakeTag tagMaker(const Context& context, const ui::TextMeasurer& measurer,
                          std::int64_t style) {
    GTagFlowStore store(measurer);
    if (style == 0 || style == 2) {
        auto word = GTagFlowAppearance::create(context);
        word->borderWidth = 1.0;
        word->borderColor = ui::Color::white(1.0);
        word->selectBorderColor = ui::Color::rgb255(74, 150, 247);
        auto symbol = word;
        if (style == 2) {
            symbol = std::make_shared<GTagFlowAppearance>(*word);
            symbol->backgroundColor = ui::Color::white(0.5);
            symbol->textColor = ui::Color::black();
            symbol->borderColor = ui::Color::white(0.5);
        }
        return [store, word, symbol](const GSplodeItem& segment) mutable {
            return store.add(segment.text, segment.isSymbolOrEmoji ? symbol : word);
        };
    }
    if (style == 1) {
        auto look = std::make_shared<GTagFlowAppearance>(*GTagFlowAppearance::create(context));
        look->borderColor = ui::Color::black();
        look->textColor = ui::Color::black();
        look->borderWidth = 1.0;
        look->backgroundColor = ui::Color::white(1.0);
        look->selectTextColor = ui::Color{1, 0, 0, 1};
        look->selectBorderColor = ui::Color{1, 0, 0, 1};
        look->selectBackgroundColor = ui::Color::white(1.0);
        return [store, look](const GSplodeItem& segment) mutable {
            return store.add(segment.text, look);
        };
    }
    return nullptr;
}

std::string describeKeys(const std::optional<std::size_t>& keys) {
    if (!keys) return "no dictionary";
    return std::to_string(*keys) + (*keys == 1 ? " key" : " keys");
}

}  // namespace

Server::Server(Context& context, MessageCenter& center, ServerHost& host)
    : context_(context), center_(center), host_(host), alive_(std::make_shared<bool>(true)) {}

Server::~Server() {
    // The center may outlive the server: nothing it delivers later reaches here.
    if (started_) {
        for (std::string_view name : kMessageTable)
            center_.registerForMessageName(std::string(name), {});
        if (auto* dispatching = dynamic_cast<DispatchingMessageCenter*>(&center_))
            dispatching->dispatcher().setDropObserver({});
    }
    context_.systemNotifications().removeObservers(this);
    context_.notifications().removeObservers(this);
    context_.runLoop().cancelAll(this);
    context_.runLoop().cancelAll(&flags_);
    for (const auto& recognition : recognitions_)
        recognition->cancel();
    if (picker_) {
        host_.grabInput(nullptr);
        picker_.reset();
    }
    releasePanel();
}

void Server::start() {
    if (started_) return;
    started_ = true;
    // The settings: now, on the reload notification, and whenever the folder
    // changes (a file written without the notification).
    startReloadPrefs(context_, this);
    startLoadSettings(context_, this);
    host_.watchSettingsFolder(context_.paths().preferences, [this, alive = std::weak_ptr(alive_)] {
        if (alive.expired()) return;
        context_.log().debug("server", "settings folder changed; settings read again");
        ReloadPrefs(context_);
        LoadSettings(context_);
    });

    if (auto* dispatching = dynamic_cast<DispatchingMessageCenter*>(&center_)) {
        dispatching->dispatcher().setDropObserver(
            [this](const Message& message, const std::string& reason) {
                ++received_;
                remember(message, reason);
            });
    }
    const std::pair<const char*, Handler> handlers[] = {
        {message_name::kNotifySplode, &Server::notifySplode},
        {message_name::kOpenPrefs, &Server::openPrefs},
        {message_name::kAlertTrans, &Server::alertTrans},
        {message_name::kOpenUrl, &Server::openUrl},
        {message_name::kShareText, &Server::shareText},
        {message_name::kPopButton, &Server::popButton},
        {message_name::kShowRunning, &Server::showRunning},
        {message_name::kCopyText, &Server::noHandler},
        {message_name::kShowHistory, &Server::showHistory},
        {message_name::kInsertText, &Server::insertText},
        {message_name::kDoOCR, &Server::doOCR},
    };
    for (std::string_view name : kMessageTable) {
        Handler handler = &Server::notAvailableYet;
        for (const auto& [known, method] : handlers)
            if (name == known) handler = method;
        handlers_.emplace_back(std::string(name), handler);
        center_.registerForMessageName(std::string(name),
                                       [this, handler](const Message& m) { serve(m, handler); });
    }
    checkNotification();
}

std::string Server::noticeUrl() {
    std::string url = KERNOVA_NOTICE_URL;
    if (const EnvironmentLookup env = host_.environment(); env && env("KERNOVA_DEBUG") == "1") {
        if (std::optional<std::string> debugUrl = env("KERNOVA_NOTICE_URL")) url = *debugUrl;
    }
    return url;
}

void Server::checkNotification() {
    const std::string url = noticeUrl();
    if (url.empty()) return;
    notice_ = context_.http().send(httpGet(url), [this](HttpResult result) {
        notice_.reset();
        const auto* response = std::get_if<HttpResponse>(&result);
        if (response == nullptr || !isValidUtf8(response->data)) {
            context_.log().info("server", "notice: none read");
            return;
        }
        const std::string& text = response->data;
        const SettingsSnapshot settings = readSettings(context_);
        const std::string* known = settings.dictionary()["notification"].asString();
        if (known != nullptr && *known == text) return;
        SaveResult saved = updateSettings(context_, [&text](Dictionary& file) {
            file["notification"] = Value(text);
            file["notifyFlag"] = Value(true);
        });
        context_.log().info("server", "notice of " + std::to_string(text.size()) + " bytes " +
                                          (saved ? "kept" : "not kept: " + saved.error));
    });
}

void Server::LoopbackSender::sendMessageName(const std::string& name, const Value& userInfo) {
    Message message{name, userInfo.asDictionary() ? userInfo : Value()};
    server_.context_.runLoop().after(0, &server_, [this, message = std::move(message)] {
        for (const auto& [known, handler] : server_.handlers_) {
            if (known == message.name) {
                server_.serve(message, handler);
                return;
            }
        }
    });
}

void Server::noteOwnClipboardWrite() {
    flags_.usingSplode = true;
    context_.runLoop().after(ServerFlags::kOwnWriteSeconds, &flags_, [this] { clearUsingFlag(); });
}

void Server::timerFiredQLN() {
    const std::string front = host_.frontmostApplicationId();
    const auto& enabledApps = context_.settings().applistWhite;
    // Desktop-entry ids match with or without their ".desktop".
    context_.settings().availableInApp =
        enabledApps &&
        std::any_of(enabledApps->begin(), enabledApps->end(),
                    [&](const std::string& id) { return sameDesktopEntryId(id, front); });
}

std::shared_ptr<const ui::Image> Server::decodeBase64ToImage(const std::string& text) const {
    std::optional<Bytes> bytes = platformBase64Decode(text, true);
    if (!bytes || bytes->empty()) return nullptr;
    return host_.application().platform().imageCodec.decode(*bytes);
}

ui::Rect Server::panelScreenFrame(const ui::Rect& workArea) {
    const ui::Size area = workArea.size;
    const double width = std::max(0.0, std::min(area.width, kPanelMaxWidth));
    double height = std::max(0.0, area.height);
    if (height >= kShortWorkArea) height = std::min(height - kPanelMargin, kPanelMaxHeight);
    return ui::Rect(workArea.origin.x + (area.width - width) / 2,
                    workArea.origin.y + (area.height - height) / 2, width, height);
}

void Server::toast(const std::string& title, double timeout) {
    showToastMessage(host_.application(), "", title, timeout, host_.monitorUnderPointer().frame);
}

void Server::serve(const Message& message, Handler handler) {
    ++received_;
    current_ = remember(message, "");
    finish(current_, (this->*handler)(message));
}

std::uint64_t Server::remember(const Message& message, std::string outcome) {
    MessageRecord record;
    record.serial = ++serial_;
    record.name = message.name;
    if (const Dictionary* info = message.userInfo.asDictionary()) record.keys = info->size();
    record.outcome = std::move(outcome);
    if (!record.outcome.empty()) {
        context_.log().info(
            "server", record.name + " (" + describeKeys(record.keys) + "): " + record.outcome);
    }
    recent_.push_back(std::move(record));
    while (recent_.size() > kRecentMessageLimit)
        recent_.pop_front();
    return serial_;
}

void Server::finish(std::uint64_t serial, const std::string& outcome) {
    auto it = std::find_if(recent_.rbegin(), recent_.rend(),
                           [serial](const MessageRecord& r) { return r.serial == serial; });
    if (it == recent_.rend()) return;
    it->outcome = outcome;
    context_.log().info("server", it->name + " (" + describeKeys(it->keys) + "): " + outcome);
}

std::string Server::notifySplode(const Message& message) {
    context_.notifications().post(kHideRunningNotification);
    const Value& info = message.userInfo;
    const bool callFromCC = info["callFromCC"].boolValue();
    const bool callFromResponder = info["callFromResponder"].boolValue();

    if (!context_.settings().tweakEnabled) {
        toast(kSwitchedOffTitle, kSwitchedOffTimeout);
        return "refused: Kernova is switched off (\"enabled\" is not YES)";
    }
    if (flags_.usingSplode) return "dropped: the system's own clipboard write";
    if (flags_.popSplode) return "dropped: a panel has just popped up";
    if (panel_ && panel_->isShown()) return "dropped: a panel is already shown";
    if (readInFlight_) return "dropped: a clipboard read is in flight";
    if (opening()) return "dropped: a panel is opening";

    timerFiredQLN();
    if (!callFromResponder && !callFromCC && !context_.settings().availableInApp)
        return "dropped: the application in front is not enabled";

    std::shared_ptr<const ui::Image> image;
    if (!info["image"].isAbsent()) {
        image = decodeBase64ToImage(info["image"].stringValue().value_or(""));
        if (!image) context_.log().info("server", "notifySplode: the image could not be read");
    }
    if (callFromResponder) return openPanel(info["selection"].stringValue(), image);

    readInFlight_ = true;
    const std::uint64_t serial = current_;
    host_.readSelection(
        SelectionKind::clipboard,
        [this, serial, image, alive = std::weak_ptr(alive_)](std::optional<std::string> text) {
            if (alive.expired()) return;
            readInFlight_ = false;
            finish(serial, openPanel(text, image));
        });
    return "waiting for the clipboard";
}

std::shared_ptr<GTagFlowContainer> Server::makePanel(const Monitor& monitor) {
    auto window = GSplodeWindow::initWithFrame(host_.application(), monitor.frame);
    ui::Rect card = panelScreenFrame(monitor.workArea);
    card.origin.x -= monitor.frame.origin.x;
    card.origin.y -= monitor.frame.origin.y;
    auto panel = GTagFlowContainer::initWithFrame(
        host_.application(), {flags_, loopback_, host_.environment(), &translation_}, card);
    panel->setKeyWindow(window);
    if (monitor.scale > 0) panel->setScreenScale(monitor.scale);
    return panel;
}

std::string Server::openPanel(const std::optional<std::string>& text,
                              std::shared_ptr<const ui::Image> image, bool emptyOpens,
                              std::function<void(GTagFlowContainer&)> shown) {
    if (!emptyOpens && (!text || text->empty())) {
        toast(kNoTextTitle, kNoTextTimeout);
        return "refused: no text";
    }
    if (flags_.popSplode || (panel_ && panel_->isShown()))
        return "dropped: a panel is already shown";
    if (opening()) return "dropped: a panel is opening";
    if (translation_) {
        // A new panel ends a translation still waiting (the busy service's
        // repeats included) and its indicator.
        translation_.reset();
        context_.notifications().post(kHideRunningNotification);
        context_.log().info("server", "the translation under way was cancelled by a new panel");
    }
    releasePanel();
    static const std::string kNoText;
    const std::string& body = text ? *text : kNoText;
    const std::int64_t style = readSettings(context_).get(settings_key::kStyle);
    panel_ = makePanel(host_.monitorUnderPointer());
    if (image) panel_->setImage(std::move(image));
    panel_->flowView()->configTagCollectionViewLayout();

    const Context& context = context_;
    const ui::TextMeasurer& measurer = host_.application().platform().textMeasurer;
    TagFeed::MakeTag make = tagMaker(context, measurer, style);
    if (make && body.size() >= TagFeed::kSlicedBytes) {
        // A large text arrives in slices; the panel shows with the first.
        std::weak_ptr<GTagFlowContainer> weak = panel_;
        auto deliver = [this, weak, shown](std::vector<GTagFlowItemRef> tags, bool first) {
            auto panel = weak.lock();
            if (!panel || panel != panel_) return;
            if (!first) {
                panel->flowView()->appendFlowDatas(std::move(tags));
                return;
            }
            const std::size_t count = tags.size();
            panel->configDatas(std::move(tags));
            panel->setDetachedBlock([this] { panelDetached(); });
            panel->show();
            if (shown) shown(*panel);
            host_.windowsChanged();
            context_.log().info("server", "large text: panel shown with the first " +
                                              std::to_string(count) + " tags");
        };
        panel_->setCompleteBlock([this] {
            if (feed_) feed_->finishNow();
        });
        panel_->setHistoryText(body);
        feed_ = std::make_unique<TagFeed>(
            context_, body, std::move(make), std::move(deliver),
            [this](std::size_t) {
                if (panel_) panel_->setCompleteBlock({});
            },
            [this](WorkerStep step) { return host_.startJob(std::move(step)); });
        feed_->setWanted([this, weak] {
            auto panel = weak.lock();
            return panel && panel == panel_ &&
                   (panel->isShown() || panel->state() == GTagFlowContainer::State::parked);
        });
        return "panel opening: " + std::to_string(body.size()) +
               " bytes arriving in slices, style " + std::to_string(style);
    }
    std::size_t tags = 0;
    if (make) {
        std::vector<GSplodeItem> segments = GSplodeBox::splode(body, context.locale());
        std::vector<GTagFlowItemRef> items;
        items.reserve(segments.size());
        for (const GSplodeItem& segment : segments)
            items.push_back(make(segment));
        tags = items.size();
        panel_->configDatas(std::move(items));
    }
    panel_->setDetachedBlock([this] { panelDetached(); });
    panel_->show();
    if (shown) shown(*panel_);
    host_.windowsChanged();
    return "panel opened: " + std::to_string(tags) + " tags from " + std::to_string(body.size()) +
           " bytes, style " + std::to_string(style);
}

void Server::releasePanel() {
    feed_.reset();
    if (!panel_) return;
    std::shared_ptr<GTagFlowContainer> panel = std::move(panel_);
    panel->setDetachedBlock({});
    panel->removeFromKeyWindow();
}

void Server::panelDetached() {
    // Not from inside the panel's own call: released on the next turn.
    // Tags still arriving for it stop now.
    if (panel_ && panel_->state() == GTagFlowContainer::State::detached) feed_.reset();
    context_.runLoop().after(0, this, [this] {
        if (panel_ && panel_->state() == GTagFlowContainer::State::detached) panel_.reset();
    });
    host_.windowsChanged();
}

std::string Server::openPrefs(const Message& message) {
    if (message.userInfo.isAbsent()) return "ignored: no dictionary";
    std::string path = message.userInfo["prefsPath"].stringValue().value_or("");
    if (path.empty()) path = std::string(kPreferencesRootUrl);
    const std::size_t colon = path.find(':');
    std::string scheme = path.substr(0, colon == std::string::npos ? 0 : colon);
    for (char& c : scheme) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    if (scheme != kPreferencesUrlScheme) {
        host_.openUrl(path);
        return "URL of " + std::to_string(path.size()) + " bytes opened";
    }
    // `kernova prefs` raises a window that is already open and shows the page.
    host_.launch({"kernova", "prefs", path}, [this](bool started) {
        if (!started) context_.log().warn("server", "kernova prefs could not be started");
    });
    return "preferences window asked for";
}

std::string Server::alertTrans(const Message& message) {
    context_.notifications().post(kHideRunningNotification);
    if (message.userInfo.isAbsent()) return "ignored: no dictionary";
    const std::string text = message.userInfo["transResult"].stringValue().value_or("");
    ui::Application& application = host_.application();
    auto window = GSplodeWindow::initWithFrame(application, host_.monitorUnderPointer().frame);
    auto root = std::make_shared<ui::ViewController>();
    window->setRootViewController(root);
    window->makeKeyAndVisible();
    std::weak_ptr<GSplodeWindow> weak = window;
    auto alert = ui::AlertController::alertControllerWithTitle(kTranslationResultTitle, text,
                                                               ui::AlertControllerStyle::alert);
    // The copy is the system's own clipboard write: it opens no panel.
    auto copy = ui::AlertAction::actionWithTitle(
        "Copy", ui::AlertActionStyle::destructive, [this, weak, text](ui::AlertAction&) {
            noteOwnClipboardWrite();
            host_.application().platform().pasteboard.setString(text);
            if (auto shown = weak.lock()) shown->setHidden(true);
        });
    alert->addAction(copy);
    alert->addAction(ui::AlertAction::actionWithTitle("Cancel", ui::AlertActionStyle::cancel,
                                                      [weak](ui::AlertAction&) {
                                                          if (auto shown = weak.lock())
                                                              shown->setHidden(true);
                                                      }));
    // Part of the result, selected in the dialog: copied the same way, the
    // dialog stays.
    alert->setCopyable(copy.get(), [this](const std::string& part) {
        noteOwnClipboardWrite();
        host_.application().platform().pasteboard.setString(part);
    });
    root->presentViewController(alert, true);
    host_.windowsChanged();
    return "result of " + std::to_string(text.size()) + " bytes shown";
}

std::string Server::openUrl(const Message& message) {
    if (message.userInfo.isAbsent()) return "ignored: no dictionary";
    std::optional<std::string> url = message.userInfo["schemeToOpen"].stringValue();
    if (!url) return "ignored: no \"schemeToOpen\"";
    host_.openUrl(*url);
    return "URL of " + std::to_string(url->size()) + " bytes opened";
}

std::string Server::insertText(const Message& message) {
    if (message.userInfo.isAbsent()) return "ignored: no dictionary";
    std::optional<std::string> text = message.userInfo["text"].stringValue();
    if (!text) return "ignored: no \"text\"";
    host_.insertText(*text);
    return std::to_string(text->size()) + " bytes typed";
}

std::string Server::shareText(const Message& message) {
    if (message.userInfo.isAbsent()) return "ignored: no dictionary";
    std::optional<std::string> text = message.userInfo["shareText"].stringValue();
    if (!text) return "ignored: no \"shareText\"";
    ui::Application& application = host_.application();
    auto window = GSplodeWindow::initWithFrame(application, host_.monitorUnderPointer().frame);
    auto root = std::make_shared<ui::ViewController>();
    window->setRootViewController(root);
    window->makeKeyAndVisible();
    // The entries are read again for each sheet: applications come and go.
    auto notice = [this, alive = std::weak_ptr(alive_)](const std::string& title) {
        if (alive.expired()) return;
        toast(title, kShareNoticeTimeout);
        host_.windowsChanged();
    };
    auto activities = makeShareActivities(ShareServices{host_, context_.log(), notice});
    const std::size_t offered = activities.size();
    auto sheet = ui::ActivityViewController::initWithActivityItems(
        application, {ui::ActivityItem::text(*text)}, std::move(activities));
    sheet->setExcludedActivityTypes({});
    // A click outside the sheet, on the window around it, closes it unchosen.
    auto outside = std::make_shared<ui::TapGestureRecognizer>();
    std::weak_ptr<ui::ActivityViewController> weakSheet = sheet;
    outside->addTarget([weakSheet](ui::GestureRecognizer& recognizer) {
        auto shown = weakSheet.lock();
        if (shown && recognizer.state() == ui::kGestureRecognized &&
            shown->presentingViewController())
            shown->cancel();
    });
    root->view()->addGestureRecognizer(outside);
    std::weak_ptr<GSplodeWindow> weak = window;
    sheet->setCompletionWithItemsHandler([this, weak](const std::string&, bool) {
        if (auto shown = weak.lock()) shown->setHidden(true);
        // The panel that asked hid its window for the share: it is done now.
        if (panel_ && !panel_->isShown() && panel_->state() != GTagFlowContainer::State::parked)
            releasePanel();
        host_.windowsChanged();
    });
    root->presentViewController(sheet, true);
    host_.windowsChanged();
    return "share sheet of " + std::to_string(text->size()) + " bytes shown with " +
           std::to_string(offered) + " entries besides Copy";
}

std::string Server::popButton(const Message& message) {
    (void)message;
    context_.notifications().post(kHideRunningNotification);
    timerFiredQLN();
    std::string outcome = "no button: one is up or the application in front is not enabled";
    if (!flags_.showing && context_.settings().availableInApp) {
        ui::Application& application = host_.application();
        const ui::Rect area = host_.monitorUnderPointer().workArea;
        auto window = GSplodeWindow::initWithFrame(application, area);
        window->setPassesTouchesThrough(true);
        auto button = GSplodeButton::init(application, buttonServices(), area);
        button->setKeyWindow(window);
        flags_.showing = true;
        button->addToKeyWindow();
        button->setShowingEndedBlock([this, alive = std::weak_ptr(alive_)] {
            if (alive.expired()) return;
            clearShowing();
            host_.windowsChanged();
        });
        host_.windowsChanged();
        outcome = "button shown";
    }
    context_.runLoop().after(kShowingSeconds, this, [this] { clearShowing(); });
    return outcome;
}

GSplodeButton::Services Server::buttonServices() {
    GSplodeButton::Services services;
    std::weak_ptr<bool> alive = alive_;
    services.readClipboard = [this, alive](GSplodeButton::ClipboardReply reply) {
        if (alive.expired()) return;
        host_.readSelection(SelectionKind::clipboard,
                            [alive, reply = std::move(reply)](std::optional<std::string> text) {
                                if (!alive.expired()) reply(std::move(text));
                            });
    };
    services.sender = &loopback_;
    services.openPanel = [this, alive](const std::string& text, const std::string& operation) {
        if (!alive.expired()) longPressPanel(text, operation);
    };
    return services;
}

void Server::longPressPanel(const std::string& text, const std::string& operation) {
    using Operation = void (GTagFlowContainer::*)(const std::string&);
    static constexpr std::pair<std::string_view, Operation> kOperations[] = {
        {"copyText:", &GTagFlowContainer::copyText},
        {"translateText:", &GTagFlowContainer::translateText},
        {"searchText:", &GTagFlowContainer::searchText},
        {"schemeText:", &GTagFlowContainer::schemeText},
        {"shareText:", &GTagFlowContainer::shareText},
    };
    Operation run = nullptr;
    for (const auto& [name, method] : kOperations)
        if (operation == name) run = method;
    // An operation the panel does not have is ignored; the panel still opens.
    std::string outcome = openPanel(text, nullptr, true, [run, text](GTagFlowContainer& panel) {
        panel.vibrateSplode();
        if (run) (panel.*run)(text);
    });
    context_.log().info("server", "floating button long press: " + outcome + ", operation " +
                                      (run ? operation : "ignored (not a panel operation)"));
}

std::string Server::showRunning(const Message& message) {
    (void)message;
    GSplodeRunningView::init(host_.application(), host_.monitorUnderPointer().workArea)->show();
    host_.windowsChanged();
    return "running indicator shown";
}

std::string Server::showHistory(const Message& message) {
    (void)message;
    // A panel of its own on the monitor under the pointer, never shown (nor
    // its window): the history it lists opens new ones.
    std::shared_ptr<GTagFlowContainer> panel = makePanel(host_.monitorUnderPointer());
    panel->keyWindow()->setHidden(true);
    panel->history();
    host_.windowsChanged();
    return "history shown";
}

std::string Server::doOCR(const Message& message) {
    if (message.userInfo.isAbsent()) return "ignored: no dictionary";
    if (message.userInfo["screen"].boolValue() && message.userInfo["image"].isAbsent())
        return pickRegion();
    std::shared_ptr<const ui::Image> image =
        decodeBase64ToImage(message.userInfo["image"].stringValue().value_or(""));
    if (!image) return "refused: the image could not be read";
    recognise(image, true);
    return "recognising an image of " + pixelSize(*image);
}

std::string Server::pixelSize(const ui::Image& image) {
    const ui::PixelBuffer* pixels = image.pixels();
    return pixels ? std::to_string(pixels->width) + "x" + std::to_string(pixels->height) + " pixels"
                  : std::string("no pixels");
}

void Server::recognise(std::shared_ptr<const ui::Image> image, bool copyFlag) {
    KernovaActivity::Services services;
    services.sender = &loopback_;
    services.codec = &host_.application().platform().imageCodec;
    // The words are the system's own clipboard write: they raise no button.
    services.setPasteboardString = [this](const std::string& text) {
        noteOwnClipboardWrite();
        host_.application().platform().pasteboard.setString(text);
    };
    auto activity = KernovaActivity::make(context_, std::move(services));
    activity->setImage(std::move(image));
    activity->setCopyFlag(copyFlag);
    recognitions_.push_back(activity);
    activity->performActivity([this, copyFlag, done = activity.get()] {
        std::erase_if(recognitions_, [done](const auto& r) { return r.get() == done; });
        if (copyFlag) context_.notifications().post(kHideRunningNotification);
        host_.windowsChanged();
    });
}

std::string Server::pickRegion() {
    if (picker_ && picker_->isShown()) return "ignored: a region is being picked";
    const Monitor monitor = host_.monitorUnderPointer();
    std::shared_ptr<const ui::Image> frozen = host_.copyScreen(monitor);
    if (!frozen || !frozen->pixels()) return "refused: the screen cannot be copied";
    const std::uint64_t serial = current_;
    picker_ = GRegionPicker::show(
        host_.application(), monitor.frame, frozen,
        [this, serial, alive = std::weak_ptr(alive_)](std::shared_ptr<const ui::Image> region) {
            if (alive.expired()) return;
            host_.grabInput(nullptr);
            // Let go of the picker once its callback has returned.
            context_.runLoop().after(0, this, [this, done = picker_.get()] {
                if (picker_.get() == done) picker_.reset();
            });
            if (!region) {
                finish(serial, "region picking cancelled");
                host_.windowsChanged();
                return;
            }
            finish(serial, "recognising a region of " + pixelSize(*region));
            // As an image opened with "OCR & Splode": the panel shows the words.
            recognise(std::move(region), false);
            host_.windowsChanged();
        });
    host_.windowsChanged();
    host_.grabInput(&picker_->window());
    return "picking a region on monitor " + monitor.name + " (" + pixelSize(*frozen) + ")";
}

std::string Server::notAvailableYet(const Message& message) {
    return "not available yet: " + message.name + " has no feature behind it";
}

std::string Server::noHandler(const Message& message) {
    return "ignored: " + message.name + " is registered without a handler";
}

}  // namespace kernova
