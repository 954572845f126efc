// The global hotkey ("hotkey", "Ctrl+Alt+S" unless set; "none" for no key):
// pressed anywhere, it opens the panel on the text the user selected last
// (PRIMARY), or on the clipboard when nothing is selected. The desktop grabs
// the key (HotkeyGrabs); this side chooses the key from the settings, grabs it
// again when ReloadPreferences changes it, and chooses the text.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/context.h"
#include "base/messaging.h"

namespace kernova::capture {

inline constexpr const char* kNotifySplodeMessage = "notifySplode";
// The setting's value that grabs no key (any case).
inline constexpr std::string_view kNoHotkey = "none";

// What came of grabbing a key: grabbed; refused because another program holds
// it; not one key with modifiers; no display to grab it on.
enum class HotkeyStatus { ok, refused, invalid, noDisplay };
std::string_view hotkeyStatusName(HotkeyStatus status);

// The desktop's key grab (on the X11 root window).
class HotkeyGrabs {
  public:
    virtual ~HotkeyGrabs() = default;
    // Lets go of the key grabbed before, then grabs `sequence` (Qt's portable
    // text of one key with its modifiers). Unless the outcome is `ok`, nothing
    // is grabbed. Each press of the key calls `pressed` on the run loop.
    virtual HotkeyStatus grab(const std::string& sequence, std::function<void()> pressed) = 0;
    // Lets go of the key, if one is grabbed.
    virtual void release() = 0;
};

// The selections' texts, read without waiting on their owner: the reply comes
// later on the run loop, absent when the selection holds no text.
class SelectionTexts {
  public:
    enum class Which { primary, clipboard };
    using Reply = std::function<void(std::optional<std::string> text)>;
    virtual ~SelectionTexts() = default;
    virtual void readText(Which which, Reply reply) = 0;
};

class Hotkey {
  public:
    // All four must outlive the hotkey.
    Hotkey(Context& context, MessageSender& sender, HotkeyGrabs& grabs, SelectionTexts& texts);
    ~Hotkey();
    Hotkey(const Hotkey&) = delete;
    Hotkey& operator=(const Hotkey&) = delete;

    // Grabs the key of the settings now, and again on each ReloadPreferences
    // that changes it (or finds it refused before).
    void start();

    // The key as the settings name it ("none" when off).
    const std::string& sequence() const { return sequence_; }
    // The outcome of its grab; absent while no key is wanted.
    std::optional<HotkeyStatus> status() const { return status_; }
    // "<key>: <outcome>", for the debug interface: "Ctrl+Alt+S: grabbed".
    std::string report() const;

    // The key was pressed: reads PRIMARY, then, when it holds no text, the
    // clipboard, and sends "notifySplode" {"callFromResponder": YES,
    // "selection": the text}. When neither holds text the selection is empty,
    // and the server shows its no-text notice. A press while the texts are
    // being read is ignored.
    void pressed();

    // PRIMARY's text unless it is missing or empty, else the clipboard's, else "".
    static std::string chooseText(const std::optional<std::string>& primary,
                                  const std::optional<std::string>& clipboard);

  private:
    void reload();
    void send(const std::string& text);

    Context& context_;
    MessageSender& sender_;
    HotkeyGrabs& grabs_;
    SelectionTexts& texts_;
    std::string sequence_;
    std::optional<HotkeyStatus> status_;
    std::string warned_;  // the last key whose refusal was logged at warn
    bool reading_ = false;
    bool started_ = false;
    // Expires with the hotkey: replies that come late check it.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace kernova::capture
