#include "capture/hotkey.h"

#include <utility>

#include "server/settings.h"

namespace kernova::capture {
namespace {

bool isNoKey(std::string_view text) {
    if (text.size() != kNoHotkey.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (c != kNoHotkey[i]) return false;
    }
    return true;
}

// The setting's value for a log line: it names a key, but may be anything.
std::string shown(const std::string& sequence) {
    constexpr std::size_t kLongest = 64;
    if (sequence.size() <= kLongest) return "\"" + sequence + "\"";
    return "a value of " + std::to_string(sequence.size()) + " bytes";
}

}  // namespace

std::string_view hotkeyStatusName(HotkeyStatus status) {
    switch (status) {
        case HotkeyStatus::ok:
            return "grabbed";
        case HotkeyStatus::refused:
            return "refused";
        case HotkeyStatus::invalid:
            return "invalid";
        case HotkeyStatus::noDisplay:
            break;
    }
    return "no display";
}

Hotkey::Hotkey(Context& context, MessageSender& sender, HotkeyGrabs& grabs, SelectionTexts& texts)
    : context_(context), sender_(sender), grabs_(grabs), texts_(texts) {}

Hotkey::~Hotkey() {
    context_.systemNotifications().removeObservers(this);
    if (status_ == HotkeyStatus::ok) grabs_.release();
}

void Hotkey::start() {
    if (started_) return;
    started_ = true;
    reload();
    context_.systemNotifications().observe(kReloadPreferencesNotification, this,
                                           [this] { reload(); });
}

std::string Hotkey::report() const {
    if (!status_) return sequence_ + ": off";
    return sequence_ + ": " + std::string(hotkeyStatusName(*status_));
}

void Hotkey::reload() {
    std::string wanted = readSettings(context_).get(settings_key::kHotkey);
    if (isNoKey(wanted)) wanted = std::string(kNoHotkey);
    // A key refused before is asked for again: its holder may have let go.
    if (wanted == sequence_ && status_ != HotkeyStatus::refused) return;
    if (status_ == HotkeyStatus::ok) grabs_.release();
    sequence_ = std::move(wanted);
    status_.reset();
    if (sequence_ == kNoHotkey) {
        context_.log().info("hotkey", "no hotkey");
        return;
    }
    status_ = grabs_.grab(sequence_, [this] { pressed(); });
    switch (*status_) {
        case HotkeyStatus::ok:
            context_.log().info("hotkey", "grabbed " + sequence_);
            warned_.clear();
            break;
        case HotkeyStatus::refused:
            if (warned_ == sequence_) {
                context_.log().info("hotkey", sequence_ + " is still held by another program");
            } else {
                context_.log().warn("hotkey", sequence_ +
                                                  " is held by another program; the hotkey does "
                                                  "nothing until it is free or changed");
                warned_ = sequence_;
            }
            break;
        case HotkeyStatus::invalid:
            context_.log().warn("hotkey", "\"hotkey\" is " + shown(sequence_) +
                                              ", not one key with its modifiers; no hotkey");
            break;
        case HotkeyStatus::noDisplay:
            context_.log().info("hotkey", "no X display to grab " + sequence_ + " on");
            break;
    }
}

std::string Hotkey::chooseText(const std::optional<std::string>& primary,
                               const std::optional<std::string>& clipboard) {
    if (primary && !primary->empty()) return *primary;
    if (clipboard) return *clipboard;
    return {};
}

void Hotkey::pressed() {
    if (reading_) {
        context_.log().debug("hotkey", "pressed while the selection is read; ignored");
        return;
    }
    reading_ = true;
    std::weak_ptr<bool> alive = alive_;
    texts_.readText(SelectionTexts::Which::primary,
                    [this, alive](std::optional<std::string> primary) {
                        if (alive.expired()) return;
                        if (primary && !primary->empty()) {
                            send(*primary);
                            return;
                        }
                        texts_.readText(SelectionTexts::Which::clipboard,
                                        [this, alive](std::optional<std::string> clipboard) {
                                            if (alive.expired()) return;
                                            send(chooseText(std::nullopt, clipboard));
                                        });
                    });
}

void Hotkey::send(const std::string& text) {
    reading_ = false;
    context_.log().info("hotkey", "pressed: " + std::to_string(text.size()) + " bytes of text");
    sender_.sendMessageName(
        kNotifySplodeMessage,
        Value(Dictionary{{"callFromResponder", Value(true)}, {"selection", Value(text)}}));
}

}  // namespace kernova::capture
