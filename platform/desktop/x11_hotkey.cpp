#include "desktop/x11_hotkey.h"

#include <xcb/xcb.h>

#include <QKeySequence>
#include <QObject>
#include <QString>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <utility>

#include "desktop/x11_connection.h"

namespace kernova::desktop {
namespace {

using capture::HotkeyStatus;

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeReply>;

// Keysyms (X11's keysymdef.h) of the keys that are not Latin-1 text.
constexpr std::uint32_t kNumLock = 0xff7f, kScrollLock = 0xff14;
constexpr std::array<std::uint32_t, 4> kAltKeys{0xffe9, 0xffea, 0xffe7, 0xffe8};  // Alt, Meta
constexpr std::array<std::uint32_t, 2> kSuperKeys{0xffeb, 0xffec};

// The keysym of a Qt key: Latin-1 text (letters lower case, as X11 names the
// unshifted key), the function keys and the editing and navigation keys.
std::optional<std::uint32_t> keysymOf(Qt::Key key) {
    const auto k = static_cast<std::uint32_t>(key);
    if (k >= 0x20 && k <= 0x7e) return k >= 'A' && k <= 'Z' ? k + 0x20 : k;
    if (k >= 0xa0 && k <= 0xff) return k >= 0xc0 && k <= 0xde && k != 0xd7 ? k + 0x20 : k;
    if (k >= Qt::Key_F1 && k <= Qt::Key_F35) return 0xffbe + (k - Qt::Key_F1);
    struct Named {
        Qt::Key key;
        std::uint32_t keysym;
    };
    static constexpr std::array<Named, 20> kNamed{{
        {Qt::Key_Escape, 0xff1b},   {Qt::Key_Tab, 0xff09},   {Qt::Key_Backspace, 0xff08},
        {Qt::Key_Return, 0xff0d},   {Qt::Key_Enter, 0xff8d}, {Qt::Key_Insert, 0xff63},
        {Qt::Key_Delete, 0xffff},   {Qt::Key_Pause, 0xff13}, {Qt::Key_Print, 0xff61},
        {Qt::Key_SysReq, 0xff15},   {Qt::Key_Clear, 0xff0b}, {Qt::Key_Home, 0xff50},
        {Qt::Key_End, 0xff57},      {Qt::Key_Left, 0xff51},  {Qt::Key_Up, 0xff52},
        {Qt::Key_Right, 0xff53},    {Qt::Key_Down, 0xff54},  {Qt::Key_PageUp, 0xff55},
        {Qt::Key_PageDown, 0xff56}, {Qt::Key_Menu, 0xff67},
    }};
    for (const Named& named : kNamed) {
        if (named.key == key) return named.keysym;
    }
    return std::nullopt;
}

// The keyboard as the X server maps it now: keysyms by keycode, and which
// modifier mask each of Alt, Super, NumLock and ScrollLock sets.
class Keyboard {
  public:
    explicit Keyboard(xcb_connection_t* connection) {
        const xcb_setup_t* setup = xcb_get_setup(connection);
        first_ = setup->min_keycode;
        const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
        auto mappingCookie = xcb_get_keyboard_mapping(connection, first_, count);
        auto modifiersCookie = xcb_get_modifier_mapping(connection);
        mapping_.reset(xcb_get_keyboard_mapping_reply(connection, mappingCookie, nullptr));
        Reply<xcb_get_modifier_mapping_reply_t> modifiers(
            xcb_get_modifier_mapping_reply(connection, modifiersCookie, nullptr));
        if (!mapping_ || !modifiers) return;
        const xcb_keycode_t* codes = xcb_get_modifier_mapping_keycodes(modifiers.get());
        const int perModifier = modifiers->keycodes_per_modifier;
        for (int modifier = 0; modifier < 8; ++modifier) {
            const auto mask = static_cast<std::uint16_t>(1u << modifier);
            for (int i = 0; i < perModifier; ++i) {
                const xcb_keycode_t code = codes[modifier * perModifier + i];
                if (code == 0) continue;
                for (int column = 0; column < mapping_->keysyms_per_keycode; ++column) {
                    const std::uint32_t sym = keysym(code, column);
                    if (sym == kNumLock) numLock = mask;
                    if (sym == kScrollLock) scrollLock = mask;
                    for (std::uint32_t alt : kAltKeys)
                        if (sym == alt && alt_ == 0) alt_ = mask;
                    for (std::uint32_t super : kSuperKeys)
                        if (sym == super && super_ == 0) super_ = mask;
                }
            }
        }
    }

    bool valid() const { return mapping_ != nullptr; }
    // Mod1 and Mod4 where the keyboard does not say.
    std::uint16_t alt() const { return alt_ != 0 ? alt_ : std::uint16_t{XCB_MOD_MASK_1}; }
    std::uint16_t super() const { return super_ != 0 ? super_ : std::uint16_t{XCB_MOD_MASK_4}; }

    // The keys whose unshifted symbol is `sym`; else those whose shifted one
    // is, with `shifted` set.
    std::vector<std::uint8_t> keycodesOf(std::uint32_t sym, bool& shifted) const {
        std::vector<std::uint8_t> plain, shift;
        const int count =
            static_cast<int>(mapping_->length) / std::max<int>(1, mapping_->keysyms_per_keycode);
        for (int i = 0; i < count; ++i) {
            const auto code = static_cast<std::uint8_t>(first_ + i);
            if (keysym(code, 0) == sym) plain.push_back(code);
            if (mapping_->keysyms_per_keycode > 1 && keysym(code, 1) == sym) shift.push_back(code);
        }
        shifted = plain.empty() && !shift.empty();
        return plain.empty() ? shift : plain;
    }

    std::uint16_t numLock = 0, scrollLock = 0;

  private:
    std::uint32_t keysym(xcb_keycode_t code, int column) const {
        const int index = (code - first_) * mapping_->keysyms_per_keycode + column;
        if (code < first_ || index < 0 || index >= static_cast<int>(mapping_->length)) return 0;
        return xcb_get_keyboard_mapping_keysyms(mapping_.get())[index];
    }

    Reply<xcb_get_keyboard_mapping_reply_t> mapping_;
    xcb_keycode_t first_ = 0;
    std::uint16_t alt_ = 0, super_ = 0;
};

// What grabbing `sequence` means on this keyboard; absent when it is not one
// key with its modifiers, or the keyboard lacks the key.
std::optional<X11Hotkey::Grab> resolve(xcb_connection_t* connection, const std::string& sequence) {
    const QKeySequence keys =
        QKeySequence::fromString(QString::fromUtf8(sequence), QKeySequence::PortableText);
    if (keys.count() != 1) return std::nullopt;
    const QKeyCombination chord = keys[0];
    const Qt::KeyboardModifiers mods = chord.keyboardModifiers();
    const std::optional<std::uint32_t> sym = keysymOf(chord.key());
    if (!sym) return std::nullopt;
    const bool typesText = *sym < 0x100;
    if (typesText && !(mods & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)))
        return std::nullopt;

    const Keyboard keyboard(connection);
    if (!keyboard.valid()) return std::nullopt;
    X11Hotkey::Grab grab;
    bool shifted = false;
    grab.keycodes = keyboard.keycodesOf(*sym, shifted);
    if (grab.keycodes.empty()) return std::nullopt;
    std::uint16_t modifiers = 0;
    if (mods & Qt::ShiftModifier || shifted) modifiers |= XCB_MOD_MASK_SHIFT;
    if (mods & Qt::ControlModifier) modifiers |= XCB_MOD_MASK_CONTROL;
    if (mods & Qt::AltModifier) modifiers |= keyboard.alt();
    if (mods & Qt::MetaModifier) modifiers |= keyboard.super();
    grab.modifiers = modifiers;

    std::vector<std::uint16_t> locks{XCB_MOD_MASK_LOCK};
    for (std::uint16_t lock : {keyboard.numLock, keyboard.scrollLock})
        if (lock != 0 && (lock & modifiers) == 0) locks.push_back(lock);
    for (std::size_t subset = 0; subset < (std::size_t{1} << locks.size()); ++subset) {
        std::uint16_t mask = 0;
        for (std::size_t i = 0; i < locks.size(); ++i)
            if (subset & (std::size_t{1} << i)) mask |= locks[i];
        grab.lockMasks.push_back(mask);
    }
    return grab;
}

void ungrab(xcb_connection_t* connection, xcb_window_t root, const X11Hotkey::Grab& grab) {
    for (std::uint8_t code : grab.keycodes)
        for (std::uint16_t locks : grab.lockMasks)
            xcb_ungrab_key(connection, code, root,
                           static_cast<std::uint16_t>(grab.modifiers | locks));
    xcb_flush(connection);
}

// Grabs every combination, checked; on any refusal lets all of them go.
HotkeyStatus takeGrab(xcb_connection_t* connection, xcb_window_t root,
                      const X11Hotkey::Grab& grab) {
    std::vector<xcb_void_cookie_t> cookies;
    for (std::uint8_t code : grab.keycodes)
        for (std::uint16_t locks : grab.lockMasks)
            cookies.push_back(xcb_grab_key_checked(
                connection, 0, root, static_cast<std::uint16_t>(grab.modifiers | locks), code,
                XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    HotkeyStatus status = HotkeyStatus::ok;
    for (xcb_void_cookie_t cookie : cookies) {
        Reply<xcb_generic_error_t> error(xcb_request_check(connection, cookie));
        if (!error) continue;
        if (error->error_code == XCB_ACCESS)
            status = HotkeyStatus::refused;
        else if (status == HotkeyStatus::ok)
            status = HotkeyStatus::invalid;
    }
    if (xcb_connection_has_error(connection) != 0) return HotkeyStatus::noDisplay;
    if (status != HotkeyStatus::ok) ungrab(connection, root, grab);
    return status;
}

}  // namespace

HotkeyStatus checkHotkey(const std::string& sequence, const EnvironmentLookup& env) {
    const Logger quiet("kernova", LogLevel::error);
    const X11Connection opened = openX11Connection(env, quiet, "hotkey", "no hotkey");
    if (opened.connection == nullptr) return HotkeyStatus::noDisplay;
    HotkeyStatus status = HotkeyStatus::invalid;
    if (const std::optional<X11Hotkey::Grab> grab = resolve(opened.connection, sequence)) {
        status = takeGrab(opened.connection, opened.root, *grab);
        if (status == HotkeyStatus::ok) ungrab(opened.connection, opened.root, *grab);
    }
    xcb_disconnect(opened.connection);
    return status;
}

X11Hotkey::X11Hotkey(const EnvironmentLookup& env, const Logger& log) : log_(log) {
    const X11Connection opened = openX11Connection(env, log_, "hotkey", "no hotkey");
    if (opened.connection == nullptr) return;
    connection_ = opened.connection;
    root_ = opened.root;
    notifier_ = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(connection_),
                                                  QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                     [this] { readEvents(); });
}

X11Hotkey::~X11Hotkey() {
    notifier_.reset();
    if (connection_) xcb_disconnect(connection_);
}

HotkeyStatus X11Hotkey::grab(const std::string& sequence, std::function<void()> pressed) {
    release();
    if (connection_ == nullptr || xcb_connection_has_error(connection_) != 0)
        return HotkeyStatus::noDisplay;
    const std::optional<Grab> wanted = resolve(connection_, sequence);
    HotkeyStatus status = wanted ? takeGrab(connection_, root_, *wanted) : HotkeyStatus::invalid;
    if (status == HotkeyStatus::ok) {
        sequence_ = sequence;
        grab_ = *wanted;
        pressed_ = std::move(pressed);
    }
    // The round trips may have queued events that the socket no longer shows.
    QMetaObject::invokeMethod(
        notifier_.get(), [this] { readEvents(); }, Qt::QueuedConnection);
    return status;
}

void X11Hotkey::release() {
    if (sequence_.empty()) return;
    if (connection_ != nullptr) ungrab(connection_, root_, grab_);
    sequence_.clear();
    grab_ = {};
    pressed_ = nullptr;
}

void X11Hotkey::readEvents() {
    if (connection_ == nullptr) return;
    bool mappingChanged = false;
    while (xcb_generic_event_t* event = xcb_poll_for_event(connection_)) {
        const std::uint8_t type = event->response_type & 0x7f;
        if (type == XCB_KEY_RELEASE) {
            lastRelease_ = reinterpret_cast<xcb_key_release_event_t*>(event)->time;
        } else if (type == XCB_KEY_PRESS && pressed_) {
            auto* press = reinterpret_cast<xcb_key_press_event_t*>(event);
            std::uint16_t locks = 0;
            for (std::uint16_t mask : grab_.lockMasks)
                locks |= mask;
            const auto state = static_cast<std::uint16_t>(press->state & 0xff & ~locks);
            bool ours = state == grab_.modifiers;
            bool known = false;
            for (std::uint8_t code : grab_.keycodes)
                known = known || code == press->detail;
            // A held key repeats as a release and a press at the same moment.
            const bool repeated = lastRelease_ && *lastRelease_ == press->time;
            if (ours && known && !repeated) {
                std::free(event);
                // The callback may let go of the key; nothing of it is used after.
                std::function<void()> pressed = pressed_;
                pressed();
                continue;
            }
        } else if (type == XCB_MAPPING_NOTIFY) {
            auto* notify = reinterpret_cast<xcb_mapping_notify_event_t*>(event);
            mappingChanged = mappingChanged || notify->request != XCB_MAPPING_POINTER;
        }
        std::free(event);
    }
    if (xcb_connection_has_error(connection_) != 0) {
        log_.warn("hotkey", "lost the X display; the hotkey does nothing");
        notifier_->setEnabled(false);
        return;
    }
    if (mappingChanged) keyboardChanged();
}

// Another keyboard layout may put the key elsewhere: grab it where it is now.
void X11Hotkey::keyboardChanged() {
    if (sequence_.empty()) return;
    const std::optional<Grab> now = resolve(connection_, sequence_);
    if (now && *now == grab_) return;
    const std::string sequence = sequence_;
    std::function<void()> pressed = pressed_;
    const HotkeyStatus status = grab(sequence, std::move(pressed));
    log_.info("hotkey", "keyboard changed; " + sequence + " " +
                            std::string(capture::hotkeyStatusName(status)) + " again");
}

}  // namespace kernova::desktop
