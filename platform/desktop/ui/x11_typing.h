// Typing into the focused window of whichever application is in front, on
// X11, through the XTest extension: no helper program. The keyboard opens an
// xcb connection of its own the first time it types (idle, it costs nothing)
// and sends key presses and releases for each character. A character that no
// key of the current keymap produces is typed on a borrowed key: a keycode
// without symbols, given the character's keysym for a while and given back
// (emptied again) once typing has settled.
//
// Typing runs on Qt's event loop in turns of at most kEventsPerTurn key
// events; text asked for while typing goes on after what is already queued.
// Modifier keys the user holds are released while typing and pressed again
// afterwards; a locked Caps Lock is unlocked and locked again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "base/log.h"
#include "ui/services.h"

namespace kernova::desktop {

// The X keysym that types `codePoint`: the code point itself for Latin-1,
// 0x01000000 | code point for the rest of Unicode, Return for a newline or a
// carriage return, Tab for a tab; 0 for other control characters, surrogates
// and values beyond Unicode.
std::uint32_t keysymForCodePoint(char32_t codePoint);

class X11Keyboard final : public ui::Keyboard {
  public:
    // Text longer than this is cut (at a character boundary) with a log line.
    static constexpr std::size_t kMaxTextBytes = 64 * 1024;
    // Key events sent in one turn of the event loop.
    static constexpr int kEventsPerTurn = 256;
    // How long borrowed keys keep their symbols after the last key sent, so
    // that applications have read the keymap they were typed with.
    static constexpr int kSettleMilliseconds = 300;

    // Reports sizes and outcomes (never the text) to `log`, when given.
    explicit X11Keyboard(const Logger* log = nullptr);
    ~X11Keyboard() override;
    X11Keyboard(const X11Keyboard&) = delete;
    X11Keyboard& operator=(const X11Keyboard&) = delete;

    // Queues the text and returns; typing starts on the next turn of the event
    // loop. Without an X display or the XTest extension the text is dropped
    // with a log line.
    void insertText(const std::string& text) override;
    // The state of another application's keyboard is not visible on X11.
    int currentState() const override { return 0; }
    void dismiss() override {}

    // True while text waits to be typed or borrowed keys wait to be given back.
    bool busy() const;
    // Characters queued and not yet sent.
    std::size_t pendingCharacters() const;
    // True while its own X connection is open: from the first text until
    // typing has settled and the borrowed keys are given back.
    bool connected() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace kernova::desktop
