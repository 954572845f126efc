// The selection item: when the user finishes selecting text with the mouse in
// any application, a small item (the title "customMenuName", else "Kernova";
// or, with "menuType" 1 or 2, a picture) appears 12 points right of and below
// the release point, inside that monitor's work area. A click on it opens the
// panel on the text selected ("notifySplode" with "callFromResponder" YES and
// "selection"). It goes after 3 s, when the pointer moves 200 points away from
// where it appeared, at a key press or a click elsewhere; it never takes the
// keyboard, and clicks beside it reach the window below.
//
// A selection is finished by a left-button release that ends a drag of at
// least kDragPoints, or ends a double or triple click (presses at most
// kMultiClickSeconds apart and kMultiClickPoints from the first), together
// with a PRIMARY owner change between the press and kOwnerChangeSeconds after
// the release, in either order. A PRIMARY owner change without such a gesture
// (a keyboard selection) raises nothing.
//
// PRIMARY is read at once; an empty text raises no item, and a read that
// fails or takes longer than kReadTimeoutSeconds raises an item whose click
// sends the fallback sentence. The text lives only as long as the item.
//
// "systemMenu" NO as the item starts keeps it off (the gesture source is not
// even started) until the next start; "customMenuName" and "menuType" are read
// then too. The master switch ("enabled", as LoadSettings last read it) is
// checked at each finished selection.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/context.h"
#include "base/messaging.h"
#include "capture/selection_gestures.h"
#include "server/host.h"
#include "ui/geometry.h"

namespace kernova {
class GSelectionItemView;
class GSplodeWindow;
}  // namespace kernova

namespace kernova::capture {

// What reading PRIMARY gave: its text, an empty text (or no owner), or no
// answer (the owner refused, offered no text, or did not answer in time).
struct PrimaryText {
    enum class Status { text, empty, failed };
    Status status = Status::failed;
    std::string text;  // only with Status::text

    static PrimaryText of(std::string text) {
        return text.empty() ? PrimaryText{Status::empty, {}}
                            : PrimaryText{Status::text, std::move(text)};
    }
    static PrimaryText failure() { return PrimaryText{Status::failed, {}}; }
};

// Reads PRIMARY without waiting on its owner: the reply comes later on the run
// loop, never inside the call.
using PrimaryReply = std::function<void(PrimaryText)>;
using PrimaryReader = std::function<void(PrimaryReply)>;

// PRIMARY read through the host's readSelection: its absent text counts as a
// failed read, an empty one as empty.
PrimaryReader primaryReaderOf(ServerHost& host);

inline constexpr const char* kSelectionFallbackSentence =
    "The item you selected does not yet support extraction, please use another method!";

class SelectionItem final : public SelectionGestures::Listener {
  public:
    static constexpr double kDragPoints = 4;
    static constexpr double kMultiClickSeconds = 0.4;
    static constexpr double kMultiClickPoints = 4;
    static constexpr double kOwnerChangeSeconds = 0.3;
    static constexpr double kReadTimeoutSeconds = 0.5;
    static constexpr double kOffsetPoints = 12;
    static constexpr double kShownSeconds = 3;
    static constexpr double kAwayPoints = 200;
    static constexpr const char* kImageName = "Splode@3x.png";

    // All must outlive the item. `host` gives the toolkit application the
    // item's window lives in, the monitor under the pointer and the screen's
    // refresh; the click sends through `sender`.
    SelectionItem(Context& context, ServerHost& host, MessageSender& sender,
                  SelectionGestures& gestures, PrimaryReader readPrimary);
    ~SelectionItem() override;
    SelectionItem(const SelectionItem&) = delete;
    SelectionItem& operator=(const SelectionItem&) = delete;

    // Call once, after the settings have been read: reads "systemMenu",
    // "customMenuName" and "menuType" and, unless "systemMenu" is NO, starts
    // the gesture source. Returns whether the item listens.
    bool start();
    bool listening() const { return listening_; }

    // Whether the item is on screen, and its frame in the desktop's
    // coordinates (its view, GSelectionItemView, tells what it shows).
    bool isShown() const;
    ui::Rect frame() const;
    // The text a click would send; absent while no item is shown.
    const std::optional<std::string>& text() const { return text_; }

    // The click on the item: sends the text and takes the item away.
    void click();
    // Takes the item away (nothing when none is shown).
    void dismiss();

    // SelectionGestures::Listener
    void buttonPressed(int button, ui::Point where) override;
    void buttonReleased(int button, ui::Point where) override;
    void primaryOwnerChanged() override;
    void pointerMoved(ui::Point where) override;
    void keyPressed() override;

  private:
    void finished(ui::Point where);
    void readArrived(std::uint64_t read, PrimaryText result);
    void show(std::string text);

    Context& context_;
    ServerHost& host_;
    MessageSender& sender_;
    SelectionGestures& gestures_;
    PrimaryReader readPrimary_;
    bool listening_ = false;
    std::string title_;
    std::optional<std::string> imagePath_;

    // The gesture under way.
    bool pressed_ = false;
    bool pressOnItem_ = false;
    ui::Point pressAt_;
    double pressTime_ = 0;
    int clicks_ = 0;
    ui::Point firstClickAt_;
    double lastClickTime_ = -1;
    bool ownerChangedSincePress_ = false;
    // A qualifying release still waiting for the owner change.
    std::optional<ui::Point> releasedAt_;
    double releaseTime_ = 0;

    // The read under way (0: none) and where its item goes.
    std::uint64_t reads_ = 0;
    std::uint64_t pendingRead_ = 0;
    TimerId readTimer_ = 0;
    ui::Point anchor_;
    ui::Rect workArea_;

    std::optional<std::string> text_;
    std::shared_ptr<GSplodeWindow> window_;
    std::shared_ptr<GSelectionItemView> button_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace kernova::capture
