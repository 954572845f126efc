#include "desktop/ui/x11_typing.h"

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <QChar>
#include <QObject>
#include <QTimer>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/text.h"

namespace kernova::desktop {

namespace {

constexpr std::uint32_t kReturnKeysym = 0xff0d;
constexpr std::uint32_t kTabKeysym = 0xff09;
constexpr std::size_t kAllKeycodes = 256;

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename T>
using Reply = std::unique_ptr<T, FreeReply>;

// The length of the longest prefix of `text` of at most `limit` bytes that
// ends at a character boundary.
std::size_t cutAtCharacter(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) return text.size();
    std::size_t end = limit;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80)
        --end;
    return end;
}

// The code point a Latin-1 or Unicode keysym stands for; 0 for other keysyms.
char32_t codePointOfKeysym(std::uint32_t keysym) {
    if ((keysym >= 0x20 && keysym <= 0x7e) || (keysym >= 0xa0 && keysym <= 0xff)) return keysym;
    if ((keysym & 0xff000000u) == 0x01000000u) return keysym & 0x00ffffffu;
    return 0;
}

std::string count(std::size_t n, const char* what) {
    return std::to_string(n) + " " + what;
}

}  // namespace

std::uint32_t keysymForCodePoint(char32_t codePoint) {
    if (codePoint == U'\n' || codePoint == U'\r') return kReturnKeysym;
    if (codePoint == U'\t') return kTabKeysym;
    if (codePoint < 0x20 || (codePoint >= 0x7f && codePoint < 0xa0)) return 0;
    if (codePoint <= 0xff) return codePoint;
    if ((codePoint >= 0xd800 && codePoint <= 0xdfff) || codePoint > 0x10ffff) return 0;
    return 0x01000000u | codePoint;
}

struct X11Keyboard::State {
    struct Key {
        xcb_keycode_t keycode = 0;
        bool shift = false;
    };

    explicit State(const Logger* logger) : log(logger) {
        settle.setSingleShot(true);
        settle.setInterval(kSettleMilliseconds);
        QObject::connect(&settle, &QTimer::timeout, &receiver, [this] { settled(); });
    }

    // Opens the connection when none is open; false (with a log line) when
    // there is no display or it has no XTest.
    bool connect() {
        if (connection && !xcb_connection_has_error(connection)) return true;
        if (connection) lost();
        int screenNumber = 0;
        xcb_connection_t* opened = xcb_connect(nullptr, &screenNumber);
        if (xcb_connection_has_error(opened)) {
            xcb_disconnect(opened);
            warn("no X display to type into");
            return false;
        }
        const xcb_query_extension_reply_t* xtest = xcb_get_extension_data(opened, &xcb_test_id);
        if (!xtest || !xtest->present) {
            xcb_disconnect(opened);
            warn("the X server has no XTest extension");
            return false;
        }
        xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(opened));
        for (int i = 0; i < screenNumber && screens.rem > 0; ++i)
            xcb_screen_next(&screens);
        root = screens.rem > 0 ? screens.data->root : XCB_NONE;
        connection = opened;
        return true;
    }

    // The connection broke (the server went away): nothing can be given back.
    void lost() {
        warn("the X connection was lost; " + count(pending.size() - next, "characters") +
             " not typed");
        xcb_disconnect(connection);
        connection = nullptr;
        reset();
    }

    void reset() {
        pending.clear();
        next = 0;
        typing = false;
        shiftDown = false;
        waiting = false;
        heldModifiers.clear();
        lockKeycode = 0;
        ours.fill(false);
        borrowed.clear();
        spare.clear();
        lent = 0;
    }

    void disconnect() {
        if (!connection) return;
        xcb_disconnect(connection);
        connection = nullptr;
    }

    void scheduleTurn() {
        if (turnScheduled || waiting) return;
        turnScheduled = true;
        QTimer::singleShot(0, &receiver, [this] { turn(); });
    }

    // Reads the keymap: where each keysym is found, which keycodes are spare,
    // and which modifier keys there are.
    void loadKeymap() {
        const xcb_setup_t* setup = xcb_get_setup(connection);
        minKeycode = setup->min_keycode;
        keycodeCount = setup->max_keycode - setup->min_keycode + 1;
        Reply<xcb_get_keyboard_mapping_reply_t> mapping(xcb_get_keyboard_mapping_reply(
            connection,
            xcb_get_keyboard_mapping(connection, minKeycode,
                                     static_cast<std::uint8_t>(keycodeCount)),
            nullptr));
        keysyms.clear();
        perKeycode = 0;
        if (mapping) {
            perKeycode = mapping->keysyms_per_keycode;
            const xcb_keysym_t* first = xcb_get_keyboard_mapping_keysyms(mapping.get());
            keysyms.assign(first, first + xcb_get_keyboard_mapping_keysyms_length(mapping.get()));
        }
        if (keysyms.size() < static_cast<std::size_t>(keycodeCount) * perKeycode) perKeycode = 0;

        lookup.clear();
        if (perKeycode == 0) return;  // unreadable: nothing is typed
        bool keepSpare = std::find(ours.begin(), ours.end(), true) != ours.end();
        if (!keepSpare) {
            spare.clear();
            borrowed.clear();
            lent = 0;
        }
        for (int i = keycodeCount - 1; i >= 0; --i) {
            auto keycode = static_cast<xcb_keycode_t>(minKeycode + i);
            if (ours[keycode]) continue;
            const xcb_keysym_t* row = &keysyms[static_cast<std::size_t>(i) * perKeycode];
            bool empty = std::all_of(row, row + perKeycode, [](xcb_keysym_t s) { return s == 0; });
            if (empty) {
                if (!keepSpare) spare.push_back(keycode);
                continue;
            }
            if (perKeycode >= 2 && row[1] == 0) {
                // One symbol: the core protocol gives a letter both its cases,
                // the small one without Shift.
                char32_t c = codePointOfKeysym(row[0]);
                auto lower = static_cast<char32_t>(QChar::toLower(static_cast<char32_t>(c)));
                auto upper = static_cast<char32_t>(QChar::toUpper(static_cast<char32_t>(c)));
                if (c && lower != upper) {
                    add(keysymForCodePoint(lower), {keycode, false});
                    add(keysymForCodePoint(upper), {keycode, true});
                    continue;
                }
            }
            add(row[0], {keycode, false});
            if (perKeycode >= 2) add(row[1], {keycode, true});
        }
    }

    // Keeps the key found first (lowest keycode) unless the new one needs no Shift.
    void add(xcb_keysym_t keysym, Key key) {
        if (keysym == 0) return;
        auto found = lookup.find(keysym);
        if (found == lookup.end() || (found->second.shift && !key.shift)) lookup[keysym] = key;
    }

    // A run of text begins: the keymap is read and the modifiers the user
    // holds are released (a locked Caps Lock unlocked).
    void beginTyping() {
        typing = true;
        typed = 0;
        onBorrowedKeys = 0;
        notTypeable = 0;
        loadKeymap();
        auto modifiersCookie = xcb_get_modifier_mapping(connection);
        auto keysDownCookie = xcb_query_keymap(connection);
        auto pointerCookie = xcb_query_pointer(connection, root);
        Reply<xcb_get_modifier_mapping_reply_t> modifiers(
            xcb_get_modifier_mapping_reply(connection, modifiersCookie, nullptr));
        Reply<xcb_query_keymap_reply_t> keysDown(
            xcb_query_keymap_reply(connection, keysDownCookie, nullptr));
        Reply<xcb_query_pointer_reply_t> pointer(
            xcb_query_pointer_reply(connection, pointerCookie, nullptr));
        shiftKeycode = 0;
        heldModifiers.clear();
        lockKeycode = 0;
        const xcb_keycode_t* rows =
            modifiers ? xcb_get_modifier_mapping_keycodes(modifiers.get()) : nullptr;
        int perModifier = modifiers ? modifiers->keycodes_per_modifier : 0;
        for (int modifier = 0; modifier < 8; ++modifier) {
            for (int i = 0; i < perModifier; ++i) {
                xcb_keycode_t keycode = rows[modifier * perModifier + i];
                if (keycode == 0) continue;
                if (modifier == 0 && shiftKeycode == 0) shiftKeycode = keycode;
                if (modifier == 1 && lockKeycode == 0) lockKeycode = keycode;
                bool down = keysDown && (keysDown->keys[keycode / 8] & (1u << (keycode % 8)));
                if (down && std::find(heldModifiers.begin(), heldModifiers.end(), keycode) ==
                                heldModifiers.end()) {
                    heldModifiers.push_back(keycode);
                }
            }
        }
        if (shiftKeycode == 0) {
            // Without a Shift key only the unshifted symbols are reachable.
            std::erase_if(lookup, [](const auto& entry) { return entry.second.shift; });
        }
        for (xcb_keycode_t keycode : heldModifiers)
            fake(XCB_KEY_RELEASE, keycode);
        bool locked = pointer && (pointer->mask & XCB_MOD_MASK_LOCK);
        if (!locked) lockKeycode = 0;
        if (lockKeycode) tap(lockKeycode);
    }

    // The run ends: Shift up, the user's modifiers and lock as they were.
    void endTyping() {
        if (shiftDown) fake(XCB_KEY_RELEASE, shiftKeycode);
        shiftDown = false;
        if (lockKeycode) tap(lockKeycode);
        lockKeycode = 0;
        for (xcb_keycode_t keycode : heldModifiers)
            fake(XCB_KEY_PRESS, keycode);
        heldModifiers.clear();
        typing = false;
        xcb_flush(connection);
        if (log) {
            std::string outcome = "typed " + count(typed, "characters");
            if (onBorrowedKeys)
                outcome += ", " + std::to_string(onBorrowedKeys) + " on borrowed keys";
            if (notTypeable) outcome += ", " + std::to_string(notTypeable) + " not typeable";
            log->info("keyboard", outcome);
        }
    }

    void fake(std::uint8_t type, xcb_keycode_t keycode) {
        xcb_test_fake_input(connection, type, keycode, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    }
    void tap(xcb_keycode_t keycode) {
        fake(XCB_KEY_PRESS, keycode);
        fake(XCB_KEY_RELEASE, keycode);
    }

    // Gives each keycode its keysym (in every column: no modifier changes it)
    // and waits until the server has applied the change. Writes only runs of
    // the given keycodes, never a key in between.
    bool remap(std::vector<std::pair<xcb_keycode_t, xcb_keysym_t>> changes) {
        if (changes.empty()) return true;
        std::sort(changes.begin(), changes.end());
        for (const auto& [keycode, keysym] : changes) {
            std::size_t at = static_cast<std::size_t>(keycode - minKeycode) * perKeycode;
            std::fill_n(keysyms.begin() + static_cast<std::ptrdiff_t>(at), perKeycode, keysym);
            ours[keycode] = keysym != 0;
        }
        std::size_t start = 0;
        while (start < changes.size()) {
            std::size_t end = start + 1;
            while (end < changes.size() && changes[end].first == changes[end - 1].first + 1)
                ++end;
            xcb_keycode_t first = changes[start].first;
            xcb_change_keyboard_mapping(
                connection, static_cast<std::uint8_t>(end - start), first,
                static_cast<std::uint8_t>(perKeycode),
                &keysyms[static_cast<std::size_t>(first - minKeycode) * perKeycode]);
            start = end;
        }
        // The server handles requests in order: its answer shows the new map.
        xcb_keycode_t low = changes.front().first;
        int span = changes.back().first - low + 1;
        Reply<xcb_get_keyboard_mapping_reply_t> check(xcb_get_keyboard_mapping_reply(
            connection, xcb_get_keyboard_mapping(connection, low, static_cast<std::uint8_t>(span)),
            nullptr));
        // The server may store the symbols in its own arrangement: what counts
        // is that the key gives the symbol without modifiers (or, given back,
        // has no symbol at all).
        if (!check) return false;
        std::size_t width = check->keysyms_per_keycode;
        const xcb_keysym_t* applied = xcb_get_keyboard_mapping_keysyms(check.get());
        if (width == 0 || static_cast<std::size_t>(xcb_get_keyboard_mapping_keysyms_length(
                              check.get())) < static_cast<std::size_t>(span) * width) {
            return false;
        }
        for (const auto& [keycode, keysym] : changes) {
            const xcb_keysym_t* row = applied + static_cast<std::size_t>(keycode - low) * width;
            bool applies =
                keysym != 0 ? row[0] == keysym
                            : std::all_of(row, row + width, [](xcb_keysym_t s) { return s == 0; });
            if (!applies) return false;
        }
        return true;
    }

    // Types the next chunk of the queue.
    void turn() {
        turnScheduled = false;
        if (waiting || next >= pending.size()) return;
        if (!connect()) {
            warn(count(pending.size() - next, "characters") + " not typed");
            reset();
            return;
        }
        if (!typing) beginTyping();
        if (perKeycode == 0) {
            warn("the keymap could not be read; " + count(pending.size() - next, "characters") +
                 " not typed");
            pending.clear();
            next = 0;
            endTyping();
            return;
        }

        // Plans the chunk: its keys, borrowing keys for symbols the keymap lacks.
        std::vector<std::pair<xcb_keycode_t, xcb_keysym_t>> changes;
        std::vector<Key> keys;
        int events = 0;
        bool shift = shiftDown;
        bool roundFull = false;
        std::size_t end = next;
        // A character costs at most three events: Shift, press, release.
        for (; end < pending.size() && events + 3 <= kEventsPerTurn; ++end) {
            xcb_keysym_t keysym = pending[end];
            Key key;
            if (auto found = lookup.find(keysym); found != lookup.end()) {
                key = found->second;
            } else if (auto lentOut = borrowed.find(keysym); lentOut != borrowed.end()) {
                key = {lentOut->second, false};
                ++onBorrowedKeys;
            } else if (lent < spare.size()) {
                key = {spare[lent++], false};
                borrowed.emplace(keysym, key.keycode);
                changes.emplace_back(key.keycode, keysym);
                ++onBorrowedKeys;
            } else if (spare.empty()) {
                ++notTypeable;
                keys.push_back({});
                continue;
            } else {
                // Every spare key is lent: they are lent anew once what was
                // typed on them has been read.
                roundFull = true;
                break;
            }
            events += 2 + (key.shift != shift ? 1 : 0);
            shift = key.shift;
            keys.push_back(key);
        }
        if (!remap(std::move(changes))) {
            warn("a key could not be borrowed; " + count(pending.size() - next, "characters") +
                 " not typed");
            pending.clear();
            next = 0;
            endTyping();
            settle.start();
            return;
        }
        for (const Key& key : keys) {
            if (key.keycode == 0) continue;
            if (key.shift != shiftDown) {
                fake(key.shift ? XCB_KEY_PRESS : XCB_KEY_RELEASE, shiftKeycode);
                shiftDown = key.shift;
            }
            tap(key.keycode);
            ++typed;
        }
        next = end;
        xcb_flush(connection);
        drainEvents();
        if (next >= pending.size()) {
            pending.clear();
            next = 0;
            endTyping();
            settle.start();
        } else if (roundFull) {
            waiting = true;
            settle.start();
        } else {
            scheduleTurn();
        }
    }

    // Typing has been quiet for a while: the spare keys are lent anew, or,
    // with nothing left to type, given back and the connection closed.
    void settled() {
        if (!connection) return;
        if (xcb_connection_has_error(connection)) {
            lost();
            return;
        }
        if (waiting) {
            waiting = false;
            borrowed.clear();
            lent = 0;
            turn();
            return;
        }
        if (typing || next < pending.size()) return;
        giveBack();
        disconnect();
    }

    // Empties the borrowed keys again.
    void giveBack() {
        std::vector<std::pair<xcb_keycode_t, xcb_keysym_t>> changes;
        for (std::size_t keycode = 0; keycode < kAllKeycodes; ++keycode) {
            if (ours[keycode]) changes.emplace_back(static_cast<xcb_keycode_t>(keycode), 0);
        }
        if (!changes.empty() && !remap(changes)) warn("a borrowed key could not be given back");
        ours.fill(false);
        borrowed.clear();
        spare.clear();
        lent = 0;
    }

    void drainEvents() {
        while (xcb_generic_event_t* event = xcb_poll_for_event(connection))
            std::free(event);
    }

    void warn(const std::string& what) const {
        if (log) log->warn("keyboard", what);
    }

    const Logger* log = nullptr;
    xcb_connection_t* connection = nullptr;
    xcb_window_t root = XCB_NONE;

    // The keymap as read when the run began, with the borrowed keys' symbols.
    xcb_keycode_t minKeycode = 0;
    int keycodeCount = 0;
    std::size_t perKeycode = 0;
    std::vector<xcb_keysym_t> keysyms;
    std::unordered_map<xcb_keysym_t, Key> lookup;
    xcb_keycode_t shiftKeycode = 0;

    // Keycodes without symbols, highest first; the first `lent` are lent out
    // in this round, as `borrowed` says. `ours` marks keycodes holding a
    // symbol of ours, to be emptied again.
    std::vector<xcb_keycode_t> spare;
    std::size_t lent = 0;
    std::unordered_map<xcb_keysym_t, xcb_keycode_t> borrowed;
    std::array<bool, kAllKeycodes> ours{};

    // The keysyms still to type, from `next` on.
    std::vector<xcb_keysym_t> pending;
    std::size_t next = 0;

    bool typing = false;
    bool shiftDown = false;
    std::vector<xcb_keycode_t> heldModifiers;
    xcb_keycode_t lockKeycode = 0;
    bool waiting = false;  // for the spare keys to be lent anew
    bool turnScheduled = false;
    std::size_t typed = 0;
    std::size_t onBorrowedKeys = 0;
    std::size_t notTypeable = 0;

    QObject receiver;  // scopes the queued turns and the timer's connection
    QTimer settle;
};

X11Keyboard::X11Keyboard(const Logger* log) : state_(std::make_unique<State>(log)) {}

X11Keyboard::~X11Keyboard() {
    State& s = *state_;
    if (!s.connection) return;
    if (!xcb_connection_has_error(s.connection)) {
        if (s.typing) s.endTyping();
        s.giveBack();
    }
    s.disconnect();
}

void X11Keyboard::insertText(const std::string& text) {
    State& s = *state_;
    if (text.empty()) return;
    std::size_t size = cutAtCharacter(text, kMaxTextBytes);
    if (size < text.size()) {
        if (s.log) {
            s.log->info("keyboard", "text of " + count(text.size(), "bytes") + " cut to " +
                                        count(size, "bytes"));
        }
    }
    if (!s.connect()) {
        s.warn(count(size, "bytes") + " not typed");
        return;
    }
    std::string repaired = repairUtf8(std::string_view(text).substr(0, size));
    std::size_t skipped = 0;
    for (std::size_t i = 0; i < repaired.size();) {
        std::size_t length = 1;
        char32_t c = decodeUtf8At(repaired, i, &length);
        i += length;
        if (c == U'\r' && i < repaired.size() && repaired[i] == '\n') continue;  // one line break
        std::uint32_t keysym = keysymForCodePoint(c);
        if (keysym == 0) {
            ++skipped;
            continue;
        }
        s.pending.push_back(keysym);
    }
    if (skipped && s.log)
        s.log->info("keyboard", count(skipped, "control characters") + " skipped");
    s.scheduleTurn();
}

bool X11Keyboard::busy() const {
    const State& s = *state_;
    return s.next < s.pending.size() || s.typing || s.waiting ||
           std::find(s.ours.begin(), s.ours.end(), true) != s.ours.end();
}

std::size_t X11Keyboard::pendingCharacters() const {
    return state_->pending.size() - state_->next;
}

bool X11Keyboard::connected() const {
    return state_->connection != nullptr;
}

}  // namespace kernova::desktop
