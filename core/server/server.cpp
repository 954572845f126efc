#include "server/server.h"

#include <algorithm>
#include <utility>

#include "base/message_dispatcher.h"
#include "board/tag_flow_cell.h"
#include "panel/board_overlay.h"
#include "server/message_names.h"
#include "server/settings.h"
#include "server/toast.h"

namespace kernova {
namespace {

// The toasts of "notifySplode", with their timeouts.
constexpr const char* kSwitchedOffTitle = "Please turn on tweak switch to use it!";
constexpr double kSwitchedOffTimeout = 1.0;
constexpr const char* kNoTextTitle =
    "There is no text in the pasteboard, so copy the text to use it!";
constexpr double kNoTextTimeout = 0.7;

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
    if (board_) board_->setClosedBlock({});
    board_.reset();
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

    // The board's notices: the tag editor and a playing video park the board,
    // and it comes back when they are done.
    context_.notifications().addObserver(kHideNotification, this, [this](const Notification&) {
        if (!board_) return;
        board_->park();
        host_.windowsChanged();
    });
    context_.notifications().addObserver(kNotifyReloadNotification, this,
                                         [this](const Notification&) {
                                             if (!board_) return;
                                             board_->restore();
                                             host_.windowsChanged();
                                         });

    if (auto* dispatching = dynamic_cast<DispatchingMessageCenter*>(&center_)) {
        dispatching->dispatcher().setDropObserver(
            [this](const Message& message, const std::string& reason) {
                ++received_;
                remember(message, reason);
            });
    }
    for (std::string_view name : kMessageTable) {
        Handler handler = &Server::notAvailableYet;
        if (name == message_name::kNotifySplode) handler = &Server::notifySplode;
        if (name == message_name::kOpenUrl) handler = &Server::openUrl;
        if (name == message_name::kInsertText) handler = &Server::insertText;
        if (name == message_name::kShareText) handler = &Server::shareText;
        if (name == message_name::kCopyText) handler = &Server::noHandler;
        center_.registerForMessageName(std::string(name),
                                       [this, handler](const Message& m) { serve(m, handler); });
    }
}

void Server::noteOwnClipboardWrite() {
    flags_.usingSplode = true;
    context_.runLoop().after(kOwnWriteSeconds, this, [this] { flags_.usingSplode = false; });
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
        showToastMessage(host_.application(), "", kSwitchedOffTitle, kSwitchedOffTimeout);
        return "refused: Kernova is switched off (\"enabled\" is not YES)";
    }
    if (flags_.usingSplode) return "dropped: the system's own clipboard write";
    if (flags_.popSplode) return "dropped: a board is already shown";
    if (readInFlight_) return "dropped: a clipboard read is in flight";

    const std::string front = host_.frontmostApplicationId();
    const auto& enabledApps = context_.settings().applistWhite;
    const bool available = enabledApps && std::find(enabledApps->begin(), enabledApps->end(),
                                                    front) != enabledApps->end();
    context_.settings().availableInApp = available;
    if (!callFromResponder && !callFromCC && !available)
        return "dropped: the application in front is not enabled";

    if (info["image"].isAbsent() == false)
        context_.log().info("server",
                            "notifySplode: the board shows no picture yet; image ignored");
    if (callFromResponder) return openBoard(info["selection"].stringValue());

    readInFlight_ = true;
    const std::uint64_t serial = current_;
    host_.readSelection(SelectionKind::clipboard, [this, serial, alive = std::weak_ptr(alive_)](
                                                      std::optional<std::string> text) {
        if (alive.expired()) return;
        readInFlight_ = false;
        finish(serial, openBoard(text));
    });
    return "waiting for the clipboard";
}

std::string Server::openBoard(const std::optional<std::string>& text) {
    if (!text || text->empty()) {
        showToastMessage(host_.application(), "", kNoTextTitle, kNoTextTimeout);
        return "refused: no text";
    }
    if (flags_.popSplode) return "dropped: a board is already shown";
    const std::int64_t style = readSettings(context_).get(settings_key::kStyle);
    const Monitor monitor = host_.monitorUnderPointer();
    if (board_) board_->setClosedBlock({});
    board_ = BoardOverlay::show(host_.application(), *text, monitor.frame);
    flags_.popSplode = true;
    board_->setClosedBlock([this] { boardClosed(); });
    host_.windowsChanged();
    return "board opened: " + std::to_string(board_->board().flowDatas().size()) + " tags from " +
           std::to_string(text->size()) + " bytes, style " + std::to_string(style);
}

void Server::boardClosed() {
    flags_.popSplode = false;
    // Not from inside the board's own callback: released on the next turn.
    context_.runLoop().after(0, this, [this] {
        if (board_ && !board_->isShown()) board_.reset();
    });
    host_.windowsChanged();
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
    if (!host_.shareText(*text)) return "refused: no sharing on this desktop";
    return std::to_string(text->size()) + " bytes shared";
}

std::string Server::notAvailableYet(const Message& message) {
    return "not available yet: " + message.name + " has no feature behind it";
}

std::string Server::noHandler(const Message& message) {
    return "ignored: " + message.name + " is registered without a handler";
}

}  // namespace kernova
