// The small platform services on Qt: URL handlers, the clipboard (and the X11
// primary selection), the colour scheme, the click sound and the keyboard of
// the focused field.
#pragma once

#include <QString>
#include <QStringList>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/context.h"
#include "base/log.h"
#include "ui/pasteboard.h"
#include "ui/services.h"

class QObject;

namespace kernova::desktop {

// Opens URLs through the desktop's handlers (QDesktopServices).
class DesktopUrlOpener final : public ui::UrlOpener {
  public:
    bool openURL(const std::string& url) override;
    // Web, mail and file URLs always; other schemes when a desktop entry
    // handles "x-scheme-handler/<scheme>" (in mimeapps.list or mimeinfo.cache).
    bool canOpenURL(const std::string& url) const override;
};

// The general pasteboard over the system clipboard. Every change, from this
// process or another, counts once and posts kPasteboardChangedNotification in
// the process's notification center, on its run loop.
class DesktopPasteboard final : public ui::Pasteboard {
  public:
    explicit DesktopPasteboard(Context& context);
    ~DesktopPasteboard() override;
    DesktopPasteboard(const DesktopPasteboard&) = delete;
    DesktopPasteboard& operator=(const DesktopPasteboard&) = delete;

    std::optional<std::string> string() const override;
    void setString(const std::string& text) override;
    std::uint64_t changeCount() const override { return changeCount_; }

    // The X11 primary selection (the text last selected anywhere); absent where
    // the window system has none or it holds no text.
    std::optional<std::string> primarySelection() const;
    bool hasPrimarySelection() const;

  private:
    void changed();

    Context& context_;
    std::unique_ptr<QObject> receiver_;  // scopes the clipboard connection
    std::uint64_t changeCount_ = 0;
};

// Dark when the palette's window colour is darker than its text.
class PaletteAppearance final : public ui::Appearance {
  public:
    bool isDarkMode() const override;
};

// The click of taps and shows when enabled: the sound theme's "button-pressed"
// event through libcanberra (the sound id is not used on the desktop). The
// library is loaded, and its context made, when the first sound plays; where
// it is missing or there is no sound device, it stays silent from then on
// with one debug line in the log. Counts what it was asked to play.
class DesktopHaptic final : public ui::Haptic {
  public:
    explicit DesktopHaptic(bool sound, const Logger* log = nullptr);
    ~DesktopHaptic() override;
    DesktopHaptic(const DesktopHaptic&) = delete;
    DesktopHaptic& operator=(const DesktopHaptic&) = delete;

    void playSystemSound(std::uint32_t soundId) override;
    std::size_t playCount() const { return plays_; }
    // True once a sound was asked for while enabled (the library was tried).
    bool triedSound() const { return tried_; }
    // True when sounds are off, or the library or a sound device is missing.
    bool isSilent() const { return !sound_ || silenced_; }

  private:
    struct Canberra;
    bool open();
    void silence(const char* why);

    bool sound_;
    const Logger* log_;
    std::unique_ptr<Canberra> canberra_;
    bool tried_ = false;
    bool silenced_ = false;
    std::size_t plays_ = 0;
};

// Types text into whatever window has focus by running a helper program
// (wtype on Wayland), detached; or, where none is usable, drops the text with
// a line in the process's log. The keyboard's own state is not visible to
// another process on the desktop: currentState answers 0 and dismiss does nothing.
class CommandKeyboard final : public ui::Keyboard {
  public:
    // An empty program means no helper.
    CommandKeyboard(QString program, QStringList argumentsBeforeText)
        : program_(std::move(program)), arguments_(std::move(argumentsBeforeText)) {}
    void insertText(const std::string& text) override;
    int currentState() const override { return 0; }
    void dismiss() override {}

    const QString& program() const { return program_; }
    // Where dropped text and failed starts are reported; none by default.
    void setLog(const Logger* log) { log_ = log; }

  private:
    QString program_;
    QStringList arguments_;
    const Logger* log_ = nullptr;
};

// The keyboard for the Qt platform plugin in use: on "xcb" an X11Keyboard
// (XTest), on Wayland the wtype helper when installed, else one that drops
// the text with a log line. `log` receives its outcomes.
std::unique_ptr<ui::Keyboard> makeKeyboard(const QString& platformName, const Logger* log);

}  // namespace kernova::desktop
