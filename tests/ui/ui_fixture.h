// A headless process for toolkit tests: a virtual clock, a context and simple
// stand-ins for the platform services.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/context.h"
#include "base/virtual_run_loop.h"
#include "ui/application.h"
#include "ui/platform.h"

namespace kernova::ui::testing {

struct FixedMeasurer : TextMeasurer {
    Size boundingSize(std::string_view text, const Font& font) const override {
        return Size{static_cast<double>(text.size()) * font.pointSize / 2, font.pointSize};
    }
};

struct NoCodec : ImageCodec {
    std::shared_ptr<const Image> decode(const Bytes&) const override { return nullptr; }
    std::optional<Bytes> encode(const Image&, ImageFormat, double) const override { return {}; }
};

struct MemoryPasteboard : Pasteboard {
    std::optional<std::string> text;
    std::uint64_t count = 0;
    std::optional<std::string> string() const override { return text; }
    void setString(const std::string& s) override {
        text = s;
        ++count;
    }
    std::uint64_t changeCount() const override { return count; }
};

struct RecordingPresenter : Presenter {
    std::vector<std::shared_ptr<ViewController>> shown;
    std::vector<ViewController*> dismissed;
    void present(const std::shared_ptr<ViewController>& c, Window*) override { shown.push_back(c); }
    void dismiss(ViewController& c) override { dismissed.push_back(&c); }
};

// Platform services the toolkit tests never look at.
struct Services : Haptic, Keyboard, Appearance, UrlOpener {
    void playSystemSound(std::uint32_t) override {}
    void insertText(const std::string&) override {}
    int currentState() const override { return 0; }
    void dismiss() override {}
    bool isDarkMode() const override { return false; }
    bool openURL(const std::string&) override { return true; }
    bool canOpenURL(const std::string&) const override { return true; }
};

class Process {
  public:
    Process()
        : loop(clock),
          context(loop, system, Paths{}),
          platform{measurer, codec,    pasteboard, presenter, {},
                   services, services, services,   services,  screen},
          app(context, platform) {}

    // A shown full-screen window at `level`.
    std::shared_ptr<Window> window(double level = kWindowLevelNormal) {
        auto w = std::make_shared<Window>(app, screen.bounds);
        w->setWindowLevel(level);
        w->setHidden(false);
        return w;
    }
    void touch(TouchId id, TouchPhase phase, double x, double y) {
        app.handleTouch(TouchEvent{id, phase, Point{x, y}, clock.now()});
    }
    void tap(double x, double y, TouchId id = 1) {
        touch(id, TouchPhase::began, x, y);
        touch(id, TouchPhase::ended, x, y);
    }
    // Moves in steps of at most 5 points, 10 ms apart.
    void drag(TouchId id, Point from, Point to) {
        touch(id, TouchPhase::began, from.x, from.y);
        double dx = to.x - from.x, dy = to.y - from.y;
        int steps = std::max(1, static_cast<int>(std::max(std::abs(dx), std::abs(dy)) / 5));
        for (int i = 1; i <= steps; ++i) {
            clock.advance(0.01);
            double f = static_cast<double>(i) / steps;
            touch(id, TouchPhase::moved, from.x + dx * f, from.y + dy * f);
        }
        touch(id, TouchPhase::ended, to.x, to.y);
    }

    VirtualClock clock;
    VirtualRunLoop loop;
    InProcessSystemNotifications system;
    Context context;
    FixedMeasurer measurer;
    NoCodec codec;
    MemoryPasteboard pasteboard;
    RecordingPresenter presenter;
    Services services;
    Screen screen;
    Platform platform;
    Application app;
};

}  // namespace kernova::ui::testing
