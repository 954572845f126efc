// Shows a process's toolkit windows on the desktop: one overlay widget per
// visible window at the window's frame (desktop coordinates, on the monitor
// that shows most of it), stacked by window level, the key window focused.
// A window that passes touches through never takes the focus, and takes
// mouse input only over its content. Changes are
// pushed: the application calls the host when a window needs display or the
// shown windows change, and the host brings the overlays in line on its next
// frame. Frames run at the display rate only while something animates; a still
// model leaves no timer running.
//
// Stacking does not rely on a window manager (there may be none, or one that
// ignores the overlays' level): when the shown windows change, only the
// overlays that must come above others are raised, and the presenter's dialogs
// are then raised above the overlays (each marked transient for the overlay of
// the window it belongs to), so that a dialog is never hidden under an overlay.
// On X11 the overlays are not managed (override-redirect), so mapping one
// waits on no window manager; the dialogs that take the keyboard are, and
// are stacked by it below every unmanaged window: while one shows, the
// overlays go directly beneath its frame (again once it is framed and
// shown), back to front, and the unmanaged dialogs above all. As a dialog
// that has the keyboard goes, the key overlay takes it back first.
#pragma once

#include <QEvent>
#include <QObject>
#include <QRect>
#include <QRegion>
#include <functional>
#include <memory>
#include <vector>

#include "desktop/ui/overlay_widget.h"
#include "desktop/ui/web_view_backing.h"
#include "ui/application.h"

class QDialog;
class QTimer;

namespace kernova::desktop {

class QtPresenter;

// The union of the frames of a window's visible content (its subviews, and
// those of its root controller's view) in its overlay's coordinates: where a
// pass-through window takes clicks.
QRegion contentRegion(const ui::Window& window);

// Calls a function for every event of one type that reaches the objects it
// is installed on (it never takes the event).
class EventWatch final : public QObject {
  public:
    EventWatch(QEvent::Type type, std::function<void()> seen)
        : type_(type), seen_(std::move(seen)) {}

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == type_) seen_();
        return QObject::eventFilter(watched, event);
    }

  private:
    QEvent::Type type_;
    std::function<void()> seen_;
};

class OverlayWindowHost {
  public:
    // `webViews` (optional) are placed inside the overlays of their windows;
    // the dialogs of `presenter` (optional) are kept above the overlays.
    explicit OverlayWindowHost(ui::Application& application,
                               std::shared_ptr<WebViewRegistry> webViews = nullptr,
                               QtPresenter* presenter = nullptr);
    ~OverlayWindowHost();
    OverlayWindowHost(const OverlayWindowHost&) = delete;
    OverlayWindowHost& operator=(const OverlayWindowHost&) = delete;

    // Follows the model's display requests from Qt's event loop until stopped.
    void start();
    void stop();
    // Brings the overlays in line with the model now, and schedules a repaint
    // of those whose windows need display or move.
    void sync();
    // True while a frame is scheduled (a display request, or an animation).
    bool hasFrameScheduled() const;

    // The overlay showing `window`, or null when it shows none.
    OverlayWidget* widgetFor(const ui::Window& window) const;
    std::size_t overlayCount() const { return entries_.size(); }
    // Called after an overlay painted its window (for measuring and tests).
    void setPaintedObserver(std::function<void(const ui::Window&)> observer) {
        paintedObserver_ = std::move(observer);
    }
    // True while the last sync saw something move (frames run at the display rate).
    bool isAnimating() const { return animating_; }

  private:
    struct Entry {
        ui::Window* window = nullptr;
        std::unique_ptr<OverlayWidget> widget;
        bool grabsScreen = false;  // paints the screen beneath, not yet copied
    };

    void tick();
    void requestSync();
    void requestAnimationFrame();
    // Removes the overlays of windows no longer visible, keeping the largest
    // as the spare; `now` deletes them at once rather than from the event loop.
    void removeStale(const std::vector<ui::Window*>& visible, bool now = false);
    Entry& entryFor(ui::Window& window);
    void configure(Entry& entry);
    // True when it raised any overlay.
    bool restack(const std::vector<ui::Window*>& visible);
    // True when it raised any dialog.
    bool raiseDialogs(bool overlaysRaised);
    // Raises the unmanaged overlays above the topmost managed one, then the
    // unmanaged dialogs.
    void raiseUnmanaged();
    // True when it activated an overlay.
    bool focusKeyWindow();
    // Gives the keyboard to the key overlay as the dialog that has it goes.
    void handKeyboardBack();
    void repaintChanged();
    void placeWebViews();
    int frameInterval() const;

    ui::Application& application_;
    std::shared_ptr<WebViewRegistry> webViews_;
    QtPresenter* presenter_ = nullptr;
    std::vector<QDialog*> raisedDialogs_;  // bottom to top, as last raised
    std::vector<Entry> entries_;
    // The largest overlay hidden last, kept for the next window (a new native
    // window and backing store cost milliseconds on the way to its frame).
    std::unique_ptr<OverlayWidget> spare_;
    std::vector<ui::Window*> stacking_;  // back to front, as last raised
    std::unique_ptr<QTimer> timer_;
    ui::Window* focused_ = nullptr;
    bool animating_ = false;
    std::function<void(const ui::Window&)> paintedObserver_;
    bool syncing_ = false;  // changes made while syncing are taken by it
    std::unique_ptr<EventWatch> exposeWatch_;
    bool restackPending_ = false;  // a managed dialog showed since the last sync
};

}  // namespace kernova::desktop
