// The toolkit's platform services on the simulated device. Each records what
// the system asked of it, for tests to read, and lets the test driver play the
// user's part (tap an alert's action, finish a page load).
//
// Per process: the presenter, the haptic engine, the URL opener and the web
// view engines. Device-wide (one piece of hardware or one system setting): the
// screen, the keyboard and the appearance; they live in DeviceServices.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/run_loop.h"
#include "ui/platform.h"
#include "ui/services.h"
#include "ui/web_view.h"
#include "ui/window.h"

namespace kernova::ui {
class Application;
}  // namespace kernova::ui

namespace kernova::sim {

class SimProcess;

// Presented controllers of one process, oldest first.
class SimPresenter final : public ui::Presenter {
  public:
    struct Presentation {
        std::shared_ptr<ui::ViewController> controller;
        ui::Window* window = nullptr;  // the presenting controller's window
        double time = 0;
    };

    explicit SimPresenter(RunLoop& loop) : loop_(loop) {}
    void present(const std::shared_ptr<ui::ViewController>& controller,
                 ui::Window* window) override;
    void dismiss(ui::ViewController& controller) override;

    // What is on screen now, oldest first.
    const std::vector<Presentation>& presented() const { return presented_; }
    // Everything ever presented, dismissed ones included.
    const std::vector<Presentation>& history() const { return history_; }
    std::size_t dismissCount() const { return dismissCount_; }

  private:
    RunLoop& loop_;
    std::vector<Presentation> presented_;
    std::vector<Presentation> history_;
    std::size_t dismissCount_ = 0;
};

class SimHaptic final : public ui::Haptic {
  public:
    void playSystemSound(std::uint32_t soundId) override { sounds_.push_back(soundId); }
    const std::vector<std::uint32_t>& sounds() const { return sounds_; }

  private:
    std::vector<std::uint32_t> sounds_;
};

// One keyboard for the device. A field has focus until dismiss(); text
// inserted without a focused field is not recorded.
class SimKeyboard final : public ui::Keyboard {
  public:
    void insertText(const std::string& text) override;
    int currentState() const override { return state_; }
    void dismiss() override;

    void setCurrentState(int state) { state_ = state; }
    void setFieldFocused(bool focused) { focused_ = focused; }
    bool isFieldFocused() const { return focused_; }
    const std::vector<std::string>& insertedTexts() const { return inserted_; }
    std::size_t dismissCount() const { return dismissCount_; }

  private:
    int state_ = 0;
    bool focused_ = true;
    std::vector<std::string> inserted_;
    std::size_t dismissCount_ = 0;
};

class SimAppearance final : public ui::Appearance {
  public:
    bool isDarkMode() const override { return dark_; }
    void setDarkMode(bool dark) { dark_ = dark; }

  private:
    bool dark_ = false;
};

// Opens URLs whose scheme is installed ("http" and "https" from the start).
class SimUrlOpener final : public ui::UrlOpener {
  public:
    SimUrlOpener() : schemes_{"http", "https"} {}
    bool openURL(const std::string& url) override;
    bool canOpenURL(const std::string& url) const override;

    void installScheme(const std::string& scheme) { schemes_.insert(scheme); }
    // URLs opened, and those refused for want of a handler, in order.
    const std::vector<std::string>& openedURLs() const { return opened_; }
    const std::vector<std::string>& refusedURLs() const { return refused_; }

  private:
    std::set<std::string> schemes_;
    std::vector<std::string> opened_;
    std::vector<std::string> refused_;
};

// The engine behind one web view: it records loads and does nothing until the
// driver finishes, fails or opens a new window.
class SimWebViewBacking final : public ui::WebViewBacking {
  public:
    using Registry = std::vector<SimWebViewBacking*>;
    SimWebViewBacking(ui::WebView& view, std::shared_ptr<Registry> registry);
    ~SimWebViewBacking() override;
    SimWebViewBacking(const SimWebViewBacking&) = delete;
    SimWebViewBacking& operator=(const SimWebViewBacking&) = delete;

    void load(const std::string& url) override;
    void stopLoading() override { ++stops_; }
    std::string selectedText() const override { return selectedText_; }
    void goBack() override { history_.push_back("back"); }
    void goForward() override { history_.push_back("forward"); }
    void showFindBar() override { findBarShown_ = true; }
    void hideFindBar() override { findBarShown_ = false; }
    void enterFullScreen(const ui::Rect& monitor) override { fullScreen_ = monitor; }
    void exitFullScreen() override { fullScreen_.reset(); }

    ui::WebView& view() { return view_; }
    // The monitor the page fills while it is full screen.
    const std::optional<ui::Rect>& fullScreen() const { return fullScreen_; }
    // "back" and "forward", in the order asked.
    const std::vector<std::string>& historySteps() const { return history_; }
    bool findBarShown() const { return findBarShown_; }
    const std::vector<std::string>& loads() const { return loads_; }
    std::size_t stopCount() const { return stops_; }
    void setSelectedText(std::string text) { selectedText_ = std::move(text); }

    void start() { view_.backingDidStartNavigation(); }
    void finish() { view_.backingDidFinishNavigation(); }
    void fail(const std::string& error) { view_.backingDidFailNavigation(error); }
    std::shared_ptr<ui::WebView> openNewWindow(const std::string& url) {
        return view_.backingRequestsNewWindow(url);
    }
    // The page's full-screen button, or its way out; whether it was let.
    bool requestFullScreen(bool on) { return view_.backingRequestsFullScreen(on); }

  private:
    ui::WebView& view_;
    // Shared, as a web view may outlive the process services that made it.
    std::shared_ptr<Registry> registry_;
    std::vector<std::string> loads_;
    std::size_t stops_ = 0;
    std::string selectedText_;
    std::vector<std::string> history_;
    bool findBarShown_ = false;
    std::optional<ui::Rect> fullScreen_;
};

// The device-wide services.
struct DeviceServices {
    ui::Screen screen;
    SimKeyboard keyboard;
    SimAppearance appearance;
};

// Every service of one process, and the ui::Platform that bundles them.
class ProcessServices {
  public:
    explicit ProcessServices(SimProcess& process);
    ~ProcessServices();
    ProcessServices(const ProcessServices&) = delete;
    ProcessServices& operator=(const ProcessServices&) = delete;

    ui::Platform& platform() { return platform_; }
    std::shared_ptr<ui::Application> makeApplication();

    SimPresenter& presenter() { return presenter_; }
    SimHaptic& haptic() { return haptic_; }
    SimUrlOpener& urlOpener() { return urlOpener_; }
    // Live web view engines, oldest first.
    const std::vector<SimWebViewBacking*>& webViews() const { return *webViews_; }

  private:
    SimProcess& process_;
    SimPresenter presenter_;
    SimHaptic haptic_;
    SimUrlOpener urlOpener_;
    std::shared_ptr<SimWebViewBacking::Registry> webViews_ =
        std::make_shared<SimWebViewBacking::Registry>();
    ui::Platform platform_;
};

}  // namespace kernova::sim
