// Shows a process's toolkit windows on the desktop: one overlay widget per
// visible window, stacked by window level, the key window focused. The host
// follows the model by looking at it on every frame: at the display rate while
// something animates, otherwise at a slow poll that repaints only on change.
#pragma once

#include <QRect>
#include <memory>
#include <vector>

#include "desktop/ui/overlay_widget.h"
#include "desktop/ui/web_view_backing.h"
#include "ui/application.h"

class QTimer;

namespace kernova::desktop {

class OverlayWindowHost {
  public:
    // How often a still model is checked for changes.
    static constexpr int kIdlePollMilliseconds = 50;

    // `webViews` (optional) are placed inside the overlays of their windows.
    explicit OverlayWindowHost(ui::Application& application,
                               std::shared_ptr<WebViewRegistry> webViews = nullptr);
    ~OverlayWindowHost();
    OverlayWindowHost(const OverlayWindowHost&) = delete;
    OverlayWindowHost& operator=(const OverlayWindowHost&) = delete;

    // Follows the model from Qt's event loop until stopped; input on the
    // overlays brings the next look forward.
    void start();
    void stop();
    // Brings the overlays in line with the model now, and schedules a repaint
    // of those whose windows changed or move.
    void sync();

    // The overlay showing `window`, or null when it shows none.
    OverlayWidget* widgetFor(const ui::Window& window) const;
    std::size_t overlayCount() const { return entries_.size(); }
    // True while the last sync saw something move (frames run at the display rate).
    bool isAnimating() const { return animating_; }

  private:
    struct Entry {
        ui::Window* window = nullptr;
        std::unique_ptr<OverlayWidget> widget;
    };

    void tick();
    void requestSync();
    // Removes the overlays of windows no longer visible; `now` deletes them at
    // once rather than from the event loop.
    void removeStale(const std::vector<ui::Window*>& visible, bool now = false);
    Entry& entryFor(ui::Window& window);
    void configure(Entry& entry, const QRect& screen);
    void restack(const std::vector<ui::Window*>& visible);
    void focusKeyWindow();
    void repaintChanged();
    void placeWebViews();
    int frameInterval() const;

    ui::Application& application_;
    std::shared_ptr<WebViewRegistry> webViews_;
    std::vector<Entry> entries_;
    std::vector<ui::Window*> stacking_;  // back to front, as last raised
    std::unique_ptr<QTimer> timer_;
    ui::Window* focused_ = nullptr;
    bool animating_ = false;
};

}  // namespace kernova::desktop
