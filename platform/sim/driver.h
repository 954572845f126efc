// The test driver: plays the user on the simulated device. Input goes to one
// process's application object (the server's unless on() picks another), in
// screen coordinates, with timestamps from the device clock; the driver moves
// the clock between events, so timers (long presses, animations, layout) run
// as they would between real events.
//
// Timing: a tap holds the finger kTapHold seconds; pans and swipes move in
// steps of at most kMaxStep points, spread evenly over their duration, so
// movement thresholds are crossed part-way, as by a finger.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sim/device.h"
#include "ui/alert.h"
#include "ui/application.h"

namespace kernova::sim {

enum class Direction { up, down, left, right };

class Driver {
  public:
    static constexpr double kTapHold = 0.02;
    static constexpr double kMaxStep = 4.0;
    static constexpr double kSwipeDistance = 120.0;
    static constexpr double kSwipeDuration = 0.15;

    explicit Driver(Device& device) : device_(device), target_(&device.server()) {}

    Device& device() { return device_; }
    // The process that receives input from now on.
    Driver& on(SimProcess& process);
    SimProcess& target() { return *target_; }
    ui::Application& application() { return target_->application(); }

    // Time.
    void advance(double seconds) { device_.advance(seconds); }
    void runUntilIdle() { device_.runUntilIdle(); }

    // Touch input. Each ends with whatever the lift made due having run.
    void tap(ui::Point at);
    void longPress(ui::Point at, double duration);
    // Down at the first point, through the others, up at the last one.
    void pan(const std::vector<ui::Point>& path, double duration);
    void swipe(ui::Point from, Direction direction, double distance = kSwipeDistance);
    // Finger down or up on its own, for gestures the helpers above do not cover.
    ui::TouchId touchDown(ui::Point at);
    void touchMove(ui::TouchId id, ui::Point to);
    void touchUp(ui::TouchId id, ui::Point at);
    void wheel(ui::Point at, double dx, double dy);
    bool key(ui::KeyEvent event);

    // Presented controllers of the target process, oldest first.
    std::vector<std::shared_ptr<ui::ViewController>> presentedControllers();
    // The newest presented alert or action sheet, or null.
    std::shared_ptr<ui::AlertController> topAlert();
    // Taps the newest alert's enabled action with that title; false when none.
    bool tapAlertAction(const std::string& title);
    // Types into the newest alert's text field at `index`; false when none.
    bool fillTextField(std::size_t index, const std::string& text);
    // Picks an activity on the newest share sheet, or closes it.
    bool chooseActivity(const std::string& activityType);
    bool cancelShareSheet();

    // Web views of the target process: the newest one when `index` is absent.
    SimWebViewBacking* webView(std::optional<std::size_t> index = std::nullopt);
    bool finishLoading(std::optional<std::size_t> index = std::nullopt);
    bool failLoading(const std::string& error, std::optional<std::size_t> index = std::nullopt);
    std::shared_ptr<ui::WebView> openNewWindow(const std::string& url,
                                               std::optional<std::size_t> index = std::nullopt);

    // Device state.
    void setFrontmostApplication(const std::string& bundleIdentifier);
    // Writes the clipboard from `process` (an app copying text), then lets the
    // change notifications arrive.
    void writeClipboard(SimProcess& process, const std::string& text);

  private:
    void send(ui::TouchId id, ui::TouchPhase phase, ui::Point at);
    // Moves the finger from `from` to `to` in steps over `duration`.
    void glide(ui::TouchId id, ui::Point from, ui::Point to, double duration);
    template <typename T>
    std::shared_ptr<T> newest();

    Device& device_;
    SimProcess* target_;
    ui::TouchId nextTouch_ = 1;
};

}  // namespace kernova::sim
