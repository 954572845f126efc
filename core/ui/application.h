// The per-process application object: its windows, the key window, what the
// platform reports about the front-most application, and the entry points the
// platform calls with input.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/context.h"
#include "ui/animation.h"
#include "ui/platform.h"
#include "ui/window.h"

namespace kernova::ui {

class TouchDispatch;
class Activity;

struct TouchEvent {
    TouchId id = 0;
    TouchPhase phase = TouchPhase::began;
    Point location;  // screen coordinates
    double timestamp = 0;
};

// A wheel or touchpad scroll: (dx, dy) are added to the content offset of the
// scroll view under the point (positive dy shows content further down).
struct ScrollEvent {
    Point location;  // screen coordinates
    double dx = 0;
    double dy = 0;
};

class Application {
  public:
    // The identifier of the process's own application (its main bundle).
    Application(Context& context, const Platform& platform,
                std::string bundleIdentifier = "kernovad");
    ~Application();
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    Context& context() const { return context_; }
    const Platform& platform() const { return platform_; }
    RunLoop& runLoop() const { return context_.runLoop(); }
    Animator& animator() { return animator_; }
    const Screen& screen() const { return platform_.screen; }
    const std::string& bundleIdentifier() const { return bundleIdentifier_; }

    // Shown windows, back to front (by level, ties by order of showing);
    // internal windows are left out.
    std::vector<Window*> windows() const;
    // Every window including internal ones, optionally only the visible ones.
    std::vector<Window*> allWindowsIncludingInternalWindows(bool onlyVisible) const;
    Window* keyWindow() const { return keyWindow_; }

    // Reported by the platform: the front-most application's identifier (empty
    // for the home screen) and orientation.
    const std::string& frontmostApplicationIdentifier() const { return frontmostId_; }
    Orientation frontmostAppOrientation() const { return frontmostOrientation_; }
    void setFrontmostApplication(std::string identifier, Orientation orientation);

    bool openURL(const std::string& url) { return platform_.urlOpener.openURL(url); }
    bool canOpenURL(const std::string& url) const { return platform_.urlOpener.canOpenURL(url); }

    // Input from the platform. Touches go to the topmost window that a hit
    // test finds a view in; scrolls to the scroll view under the point; keys
    // to the key window (Escape first picks the cancel action of an alert the
    // key window presents). Each first lays out what needs it.
    void handleTouch(const TouchEvent& event);
    void handleScroll(const ScrollEvent& event);
    bool handleKey(const KeyEvent& event);

    // Display. The platform's window host sets a handler that runs whenever a
    // shown window needs painting or the shown windows, their order or the key
    // window changed; the host coalesces the calls into its next frame. No
    // handler: nothing is shown and the calls are dropped.
    void setDisplayHandler(std::function<void()> handler) { displayHandler_ = std::move(handler); }
    void requestDisplay() {
        if (displayHandler_) displayHandler_();
    }

    // Lays out every window now (the painter calls it before painting).
    void layoutIfNeeded();
    bool isAnimating() const { return animator_.isAnimating(); }

    // Changes applied to every new share sheet's application activities (the
    // share-sheet extension appends its activity here).
    using ActivitiesHook = std::function<std::vector<std::shared_ptr<Activity>>(
        std::vector<std::shared_ptr<Activity>>)>;
    void setActivityViewControllerHook(ActivitiesHook hook) { activitiesHook_ = std::move(hook); }
    const ActivitiesHook& activityViewControllerHook() const { return activitiesHook_; }

    // Called by windows and views.
    void registerWindow(Window& window);
    void unregisterWindow(Window& window);
    void windowVisibilityChanged(Window& window);
    void makeKey(Window* window);
    void scheduleLayout();

  private:
    std::vector<Window*> ordered(bool includeInternal, bool onlyVisible) const;

    Context& context_;
    Platform platform_;
    std::string bundleIdentifier_;
    Animator animator_;
    std::vector<Window*> registered_;
    std::vector<std::shared_ptr<Window>> shown_;  // keeps visible windows alive
    Window* keyWindow_ = nullptr;
    std::uint64_t nextShowOrder_ = 1;
    std::string frontmostId_;
    Orientation frontmostOrientation_ = Orientation::portrait;
    bool layoutScheduled_ = false;
    std::unique_ptr<TouchDispatch> touches_;
    ActivitiesHook activitiesHook_;
    std::function<void()> displayHandler_;
};

}  // namespace kernova::ui
