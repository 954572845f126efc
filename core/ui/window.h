// Windows and view controllers. A window is the root of a view tree, placed in
// screen coordinates at a level; the application keeps visible windows alive
// and orders them by level (ties: the one shown last is on top).
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "ui/view.h"

namespace kernova::ui {

class Application;
class ViewController;

inline constexpr double kWindowLevelNormal = 0.0;
inline constexpr double kWindowLevelStatusBar = 1000.0;
inline constexpr double kWindowLevelAlert = 2000.0;

// UIInterfaceOrientation values.
enum class Orientation {
    unknown = 0,
    portrait = 1,
    portraitUpsideDown = 2,
    landscapeRight = 3,
    landscapeLeft = 4,
};

enum class Key { escape, enter, tab, backspace, left, right, up, down, space, other };
struct KeyEvent {
    Key key = Key::other;
    std::string text;      // for Key::other: the key's character, unshifted
    bool control = false;  // Control (or the platform's command key) held
    bool shift = false;
    bool alt = false;
};

class Window : public View {
  public:
    // Windows start hidden, as the toolkit's do. Create them with make_shared.
    Window(Application& application, Rect frame);
    ~Window() override;

    Application& application() const { return application_; }

    double windowLevel() const { return level_; }
    void setWindowLevel(double level);
    void setHidden(bool hidden) override;
    void makeKeyAndVisible();
    void makeKeyWindow();
    bool isKeyWindow() const;

    const std::shared_ptr<ViewController>& rootViewController() const { return root_; }
    // Puts the controller's view in the window, filling it.
    void setRootViewController(std::shared_ptr<ViewController> controller);

    Orientation orientation() const { return orientation_; }
    void rotateToOrientation(Orientation orientation, bool updateStatusBar, double duration,
                             bool skipCallbacks);

    // The platform's class name for this window ("UIWindow" unless set); the
    // platform's own windows (keyboard, text effects) are internal.
    const std::string& className() const { return className_; }
    void setClassName(std::string name) { className_ = std::move(name); }
    bool isInternal() const { return internal_; }
    void setInternal(bool internal) { internal_ = internal; }
    // A window that floats above the others without taking them over (the
    // running indicator, toasts): it never becomes the key window, and a touch
    // that finds none of its content (only the window or its root
    // controller's view) goes to the windows beneath.
    bool passesTouchesThrough() const { return passesTouchesThrough_; }
    void setPassesTouchesThrough(bool passes) { passesTouchesThrough_ = passes; }
    // True when `view`, hit in this window, is content of its own.
    bool isContentHit(const View* view) const;

    // Keys reaching this window while it is key; true when handled.
    void setKeyHandler(std::function<bool(const KeyEvent&)> handler) {
        keyHandler_ = std::move(handler);
    }
    bool handleKey(const KeyEvent& event);

    // True when something in the window changed since the window host last
    // took its changes (see View::setNeedsDisplay).
    bool needsDisplay() const { return needsDisplay_; }
    // Marks the window; the first mark after the host took the changes asks
    // the application for a display.
    void markNeedsDisplay();
    // Called by the window host when it has scheduled the repaint.
    void clearNeedsDisplay() { needsDisplay_ = false; }

    // Order of showing, kept by the application.
    std::uint64_t showOrder() const { return showOrder_; }

    void layoutSubviews() override;

  private:
    friend class Application;
    Application& application_;
    double level_ = kWindowLevelNormal;
    std::shared_ptr<ViewController> root_;
    Orientation orientation_ = Orientation::portrait;
    std::string className_ = "UIWindow";
    bool internal_ = false;
    bool passesTouchesThrough_ = false;
    std::uint64_t showOrder_ = 0;
    bool needsDisplay_ = false;
    std::function<bool(const KeyEvent&)> keyHandler_;
};

class ViewController : public std::enable_shared_from_this<ViewController> {
  public:
    ViewController() = default;
    virtual ~ViewController();
    ViewController(const ViewController&) = delete;
    ViewController& operator=(const ViewController&) = delete;

    // Loaded on first use.
    const std::shared_ptr<View>& view();
    bool isViewLoaded() const { return view_ != nullptr; }

    // Presents through the platform's presenter from this controller's window.
    // Ignored (completion not called) when this controller already presents
    // one or has no window, as the toolkit does. `completion` runs on the run loop.
    void presentViewController(std::shared_ptr<ViewController> controller, bool animated,
                               std::function<void()> completion = {});
    // Dismisses what this controller presents, or this controller when it is
    // itself presented. `completion` runs on the run loop.
    void dismissViewControllerAnimated(bool animated, std::function<void()> completion = {});
    ViewController* presentedViewController() const { return presented_.get(); }
    ViewController* presentingViewController() const { return presenting_; }
    // The window of this controller's view, or of the controller presenting it.
    Window* window() const;

  protected:
    virtual void loadView();
    virtual void viewDidLoad() {}

  private:
    std::shared_ptr<View> view_;
    std::shared_ptr<ViewController> presented_;
    ViewController* presenting_ = nullptr;
};

}  // namespace kernova::ui
