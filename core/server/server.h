// The server: the process that owns the message center and everything that
// floats above other applications. It registers the message table in its
// order, keeps the re-entry flags, answers each message with its handler, and
// reaches the desktop only through its ServerHost.
//
// "notifySplode" checks its gates at once (master switch, re-entry flags, the
// caller) and, when it needs the clipboard, finishes when the host's answer
// arrives; while such a read is in flight a further "notifySplode" is dropped
// as if a board were shown. Messages whose features do not exist yet are
// registered and logged at info as not available.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "base/context.h"
#include "base/messaging.h"
#include "server/host.h"

namespace kernova {

class BoardOverlay;

// The re-entry flags of one server process.
struct ServerFlags {
    bool showing = false;      // a floating button is up
    bool usingSplode = false;  // the system itself wrote the clipboard less than 0.5 s ago
    bool popSplode = false;    // a board is open (shown or parked)
    bool longPressFlag = false;
};

class Server {
  public:
    // How many messages the server remembers for the debug interface.
    static constexpr std::size_t kRecentMessageLimit = 100;
    // How long usingSplode stays set after the system's own clipboard write.
    static constexpr double kOwnWriteSeconds = 0.5;

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
    // The board now open, or null.
    BoardOverlay* board() const { return board_.get(); }
    // The last kRecentMessageLimit messages, oldest first.
    const std::deque<MessageRecord>& recentMessages() const { return recent_; }
    std::uint64_t receivedCount() const { return received_; }

    // Called right before the system writes the clipboard itself: requests are
    // ignored until kOwnWriteSeconds later, so that the write raises nothing.
    void noteOwnClipboardWrite();

  private:
    using Handler = std::string (Server::*)(const Message&);
    void serve(const Message& message, Handler handler);
    // Keeps a record of `message`; returns its serial. A non-empty outcome is logged.
    std::uint64_t remember(const Message& message, std::string outcome);
    // Sets the outcome of the message `serial` (when still remembered) and logs it.
    void finish(std::uint64_t serial, const std::string& outcome);

    std::string notifySplode(const Message& message);
    std::string openUrl(const Message& message);
    std::string insertText(const Message& message);
    std::string shareText(const Message& message);
    std::string notAvailableYet(const Message& message);
    std::string noHandler(const Message& message);

    // Steps 7 to 12 of "notifySplode", once the text is known.
    std::string openBoard(const std::optional<std::string>& text);
    void boardClosed();

    Context& context_;
    MessageCenter& center_;
    ServerHost& host_;
    ServerFlags flags_;
    std::shared_ptr<BoardOverlay> board_;
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
