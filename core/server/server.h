// The server: the process that owns the message center and everything that
// floats above other applications. It registers the message table in its
// order, keeps the re-entry flags, answers each message with its handler, and
// reaches the desktop only through its ServerHost.
//
// "notifySplode" checks its gates at once (master switch, re-entry flags, the
// caller) and, when it needs the clipboard, finishes when the host's answer
// arrives; while such a read is in flight a further "notifySplode" is dropped
// as if a panel were shown. One panel is shown at a time. "doOCR" recognises
// an image with the OCR activity and puts the words on the clipboard, or with
// {"screen": YES} lets the user pick a region of the screen and opens the
// panel on its words. Messages
// whose features do not exist yet are registered and logged at info as not
// available.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/context.h"
#include "base/messaging.h"
#include "floating/reentry_flags.h"
#include "floating/region_picker.h"
#include "floating/splode_button.h"
#include "panel/tag_flow_container.h"
#include "server/host.h"
#include "share/kernova_activity.h"
#include "ui/image.h"

namespace kernova {

class GTagFlowContainer;
class TagFeed;

class Server {
  public:
    // How many messages the server remembers for the debug interface.
    static constexpr std::size_t kRecentMessageLimit = 100;
    // How long `showing` stays set after every "popButton".
    static constexpr double kShowingSeconds = 2.5;
    // The panel's card on a monitor: at most this wide and tall, kept this far
    // from the work area's height, and the whole height when it is shorter
    // than kShortWorkArea.
    static constexpr double kPanelMaxWidth = 430.0;
    static constexpr double kPanelMaxHeight = 932.0;
    static constexpr double kPanelMargin = 40.0;
    static constexpr double kShortWorkArea = 520.0;

    // Names, sizes and outcomes of a message; never its text.
    struct MessageRecord {
        std::uint64_t serial = 0;  // 1 for the first message received
        std::string name;
        std::optional<std::size_t> keys;  // absent without a dictionary
        std::string outcome;
    };

    // All three must outlive the server.
    Server(Context& context, MessageCenter& center, ServerHost& host);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Starts the settings readers (on the reload notification and on changes
    // of the settings folder), observes the board's notices and registers the
    // message table.
    void start();

    ServerFlags& flags() { return flags_; }
    const ServerFlags& flags() const { return flags_; }
    // Sends to this server's own handlers, one turn of the run loop later, as
    // if the message had come through the message center.
    MessageSender& loopback() { return loopback_; }
    // The panel of the last request while it is in its window, or null.
    GTagFlowContainer* panel() const { return panel_.get(); }
    // The region picker while it is up, or null.
    const GRegionPicker* regionPicker() const {
        return picker_ && picker_->isShown() ? picker_.get() : nullptr;
    }
    // The tags of a large text still arriving for the panel, or null.
    const TagFeed* feed() const { return feed_.get(); }
    // The last kRecentMessageLimit messages, oldest first.
    const std::deque<MessageRecord>& recentMessages() const { return recent_; }
    std::uint64_t receivedCount() const { return received_; }

    // Called right before the system writes the clipboard itself: requests are
    // ignored until kOwnWriteSeconds later, so that the write raises nothing.
    void noteOwnClipboardWrite();

    // Recomputes availableInApp: whether the application in front is enabled.
    void timerFiredQLN();
    // Asks the notice service (the build's KERNOVA_NOTICE_URL; with
    // KERNOVA_DEBUG=1 the variable of that name overrides it) for its notice
    // once, at start: a new text goes into "notification" with "notifyFlag"
    // set; the same text, a failure or a body that is not UTF-8 writes nothing.
    void checkNotification();
    void clearShowing() { flags_.showing = false; }
    void clearUsingFlag() { flags_.usingSplode = false; }
    // Standard base64 (unknown characters ignored) decoded as an image; null
    // when either step fails.
    std::shared_ptr<const ui::Image> decodeBase64ToImage(const std::string& text) const;
    // The panel's card in screen coordinates for a monitor's work area.
    static ui::Rect panelScreenFrame(const ui::Rect& workArea);

  private:
    std::string noticeUrl();
    using Handler = std::string (Server::*)(const Message&);
    void serve(const Message& message, Handler handler);
    // Keeps a record of `message`; returns its serial. A non-empty outcome is logged.
    std::uint64_t remember(const Message& message, std::string outcome);
    // Sets the outcome of the message `serial` (when still remembered) and logs it.
    void finish(std::uint64_t serial, const std::string& outcome);

    std::string notifySplode(const Message& message);
    std::string openPrefs(const Message& message);
    std::string alertTrans(const Message& message);
    std::string openUrl(const Message& message);
    std::string shareText(const Message& message);
    std::string popButton(const Message& message);
    std::string showRunning(const Message& message);
    std::string showHistory(const Message& message);
    std::string insertText(const Message& message);
    std::string doOCR(const Message& message);
    // "doOCR" {"screen": YES}: the region picker on the monitor under the
    // pointer, whose region is recognised as a shared image is.
    std::string pickRegion();
    // Runs the OCR activity on `image` in this process.
    void recognise(std::shared_ptr<const ui::Image> image, bool copyFlag);
    static std::string pixelSize(const ui::Image& image);
    std::string notAvailableYet(const Message& message);
    std::string noHandler(const Message& message);

    // The rest of "notifySplode" once the text is known. No text or an empty
    // one shows the no-text toast unless `emptyOpens`; `shown` runs once the
    // panel shows.
    std::string openPanel(const std::optional<std::string>& text,
                          std::shared_ptr<const ui::Image> image, bool emptyOpens = false,
                          std::function<void(GTagFlowContainer&)> shown = {});
    // What the floating button asks of the server.
    GSplodeButton::Services buttonServices();
    // The button's long press: a panel on `text` (empty too) that runs the
    // panel operation `operation` ("translateText:" and kin) on it.
    void longPressPanel(const std::string& text, const std::string& operation);
    // A new panel of the monitor under the pointer, in a new overlay window.
    std::shared_ptr<GTagFlowContainer> makePanel(const Monitor& monitor);
    // Lets go of a panel that is no longer shown.
    void releasePanel();
    void panelDetached();
    // A large text's panel waits for its first slice.
    bool opening() const {
        return feed_ && panel_ && panel_->state() == GTagFlowContainer::State::detached;
    }
    void toast(const std::string& title, double timeout);

    // Sends to this server's own handlers, one turn of the run loop later.
    class LoopbackSender final : public MessageSender {
      public:
        explicit LoopbackSender(Server& server) : server_(server) {}
        void sendMessageName(const std::string& name, const Value& userInfo) override;

      private:
        Server& server_;
    };

    Context& context_;
    MessageCenter& center_;
    ServerHost& host_;
    ServerFlags flags_;
    LoopbackSender loopback_{*this};
    std::vector<std::pair<std::string, Handler>> handlers_;
    std::shared_ptr<GTagFlowContainer> panel_;
    std::unique_ptr<TagFeed> feed_;
    // The translation request under way, cancelled by a new panel.
    std::unique_ptr<HttpTask> translation_;
    std::unique_ptr<HttpTask> notice_;
    // The recognitions of "doOCR" under way, cancelled when the server goes.
    std::vector<std::shared_ptr<KernovaActivity>> recognitions_;
    // The region picker while it is up.
    std::shared_ptr<GRegionPicker> picker_;
    bool readInFlight_ = false;
    std::uint64_t received_ = 0;
    std::uint64_t serial_ = 0;   // of the last record
    std::uint64_t current_ = 0;  // of the message being handled
    std::deque<MessageRecord> recent_;
    bool started_ = false;
    // Expires with the server: callbacks that the host may call late check it.
    std::shared_ptr<bool> alive_;
};

}  // namespace kernova
