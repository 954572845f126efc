// The X11 selections (CLIPBOARD, PRIMARY) read without ever waiting on their
// owner: ConvertSelection on a window of our own, on an xcb connection of our
// own whose socket a QSocketNotifier watches. A read asks for TARGETS, then
// for the first text target offered (UTF8_STRING, text/plain;charset=utf-8,
// STRING), accepts incremental (INCR) transfers up to 8 MiB, and gives up
// after 500 ms: an owner that never answers gives no text (`read` tells such a
// failure apart from an empty selection). A single-shot timer
// runs only while a read is under way. XFixes reports each new CLIPBOARD
// owner, so nothing polls.
#pragma once

#include <QSocketNotifier>
#include <QTimer>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/log.h"
#include "base/paths.h"

struct xcb_connection_t;

namespace kernova::desktop {

inline constexpr int kSelectionTimeoutMs = 500;
inline constexpr std::size_t kMaxSelectionBytes = std::size_t{8} << 20;

class X11Selections {
  public:
    enum class Which { clipboard, primary };
    using TextReply = std::function<void(std::optional<std::string> text)>;
    // What came of a read: text (not empty), an empty selection (no owner, or
    // an owner with no characters), or a failure (no text target, a refusal,
    // more than 8 MiB, no answer in 500 ms, no display).
    enum class Outcome { text, empty, failed };
    struct Result {
        Outcome outcome = Outcome::failed;
        std::string text;  // only with Outcome::text
    };
    using ResultReply = std::function<void(Result result)>;
    // Called after CLIPBOARD changes owner: the owner window (0 when none).
    using OwnerChanged = std::function<void(std::uint32_t owner)>;

    // Opens `env`'s DISPLAY; without one every read gives no text. The logger
    // must outlive this object.
    X11Selections(const EnvironmentLookup& env, const Logger& log);
    ~X11Selections();
    X11Selections(const X11Selections&) = delete;
    X11Selections& operator=(const X11Selections&) = delete;

    bool connected() const { return connection_ != nullptr; }
    // Reads the selection as UTF-8 text (repaired; STRING is Latin-1). The
    // reply always comes later on the event loop; absent when there is no
    // owner, no text target, a refusal, more than 8 MiB, or no answer in
    // 500 ms. Reads run one after another.
    void readText(Which which, TextReply reply);
    // The same read, telling its outcome.
    void read(Which which, ResultReply reply);
    // From now on reports every new CLIPBOARD owner; false without XFixes.
    bool watchClipboardOwner(OwnerChanged changed);
    // The window this object reads into (0 without a display).
    std::uint32_t window() const { return window_; }

  private:
    // `text` is what readText gives: absent when no text was read, empty
    // when the owner had no characters.
    using Finished = std::function<void(Outcome outcome, std::optional<std::string> text)>;
    struct Read {
        Which which;
        Finished reply;
    };
    enum class Stage { idle, targets, text, incremental };

    void readEvents();
    void startNext();
    void enqueue(Which which, Finished reply);
    void finish(Outcome outcome, std::optional<std::string> text = std::nullopt);
    void finishWith(std::string text);
    bool ownerAnswered();
    void selectionNotified(std::uint32_t requestor, std::uint32_t selection,
                           std::uint32_t property);
    void propertyChanged(std::uint32_t window, std::uint32_t atom, bool newValue);
    void targetsArrived();
    void valueArrived();
    void incrementArrived();
    void makeWindow();
    std::string textOf(const std::string& bytes) const;

    const Logger& log_;
    xcb_connection_t* connection_ = nullptr;
    std::uint32_t root_ = 0, window_ = 0;
    std::uint32_t clipboard_ = 0, targets_ = 0, utf8_ = 0, textPlain_ = 0, incr_ = 0, property_ = 0;
    std::uint8_t xfixesEvent_ = 0;
    bool xfixes_ = false;
    std::unique_ptr<QSocketNotifier> notifier_;
    QTimer timeout_;
    std::deque<Read> queue_;
    Stage stage_ = Stage::idle;
    std::uint32_t target_ = 0;                // the text target asked for
    std::optional<unsigned int> ownerAsked_;  // GetSelectionOwner sent before the read
    std::string received_;                    // an incremental transfer so far
    OwnerChanged ownerChanged_;
};

}  // namespace kernova::desktop
