#include "sim/driver.h"

#include <algorithm>
#include <cmath>

#include "ui/activity.h"

namespace kernova::sim {
namespace {

double distance(ui::Point a, ui::Point b) {
    return std::hypot(b.x - a.x, b.y - a.y);
}

std::size_t stepsFor(double length) {
    return std::max<std::size_t>(1, static_cast<std::size_t>(std::ceil(length / Driver::kMaxStep)));
}

}  // namespace

Driver& Driver::on(SimProcess& process) {
    target_ = &process;
    return *this;
}

void Driver::send(ui::TouchId id, ui::TouchPhase phase, ui::Point at) {
    application().handleTouch(ui::TouchEvent{id, phase, at, device_.now()});
}

ui::TouchId Driver::touchDown(ui::Point at) {
    // Pending layout and posted work settle before the finger lands.
    device_.runUntilIdle();
    ui::TouchId id = nextTouch_++;
    send(id, ui::TouchPhase::began, at);
    return id;
}

void Driver::touchMove(ui::TouchId id, ui::Point to) {
    send(id, ui::TouchPhase::moved, to);
}

void Driver::touchUp(ui::TouchId id, ui::Point at) {
    send(id, ui::TouchPhase::ended, at);
    device_.runUntilIdle();
}

void Driver::tap(ui::Point at) {
    ui::TouchId id = touchDown(at);
    device_.advance(kTapHold);
    touchUp(id, at);
}

void Driver::longPress(ui::Point at, double duration) {
    ui::TouchId id = touchDown(at);
    device_.advance(duration);
    touchUp(id, at);
}

void Driver::glide(ui::TouchId id, ui::Point from, ui::Point to, double duration) {
    std::size_t steps = stepsFor(distance(from, to));
    double interval = std::max(0.0, duration) / static_cast<double>(steps);
    for (std::size_t i = 1; i <= steps; ++i) {
        double t = static_cast<double>(i) / static_cast<double>(steps);
        device_.advance(interval);
        touchMove(id, ui::Point{from.x + (to.x - from.x) * t, from.y + (to.y - from.y) * t});
    }
}

void Driver::pan(const std::vector<ui::Point>& path, double duration) {
    if (path.empty()) return;
    double total = 0;
    for (std::size_t i = 1; i < path.size(); ++i)
        total += distance(path[i - 1], path[i]);
    ui::TouchId id = touchDown(path.front());
    for (std::size_t i = 1; i < path.size(); ++i) {
        // Each leg gets its share of the time by length (evenly when all are 0).
        double share = total > 0 ? distance(path[i - 1], path[i]) / total
                                 : 1.0 / static_cast<double>(path.size() - 1);
        glide(id, path[i - 1], path[i], duration * share);
    }
    if (path.size() == 1) device_.advance(duration);
    touchUp(id, path.back());
}

void Driver::swipe(ui::Point from, Direction direction, double length) {
    ui::Point to = from;
    switch (direction) {
        case Direction::up:
            to.y -= length;
            break;
        case Direction::down:
            to.y += length;
            break;
        case Direction::left:
            to.x -= length;
            break;
        case Direction::right:
            to.x += length;
            break;
    }
    pan({from, to}, kSwipeDuration);
}

void Driver::wheel(ui::Point at, double dx, double dy) {
    device_.runUntilIdle();
    application().handleScroll(ui::ScrollEvent{at, dx, dy});
    device_.runUntilIdle();
}

bool Driver::key(ui::KeyEvent event) {
    device_.runUntilIdle();
    bool handled = application().handleKey(event);
    device_.runUntilIdle();
    return handled;
}

std::vector<std::shared_ptr<ui::ViewController>> Driver::presentedControllers() {
    std::vector<std::shared_ptr<ui::ViewController>> out;
    for (const auto& p : target_->services().presenter().presented())
        out.push_back(p.controller);
    return out;
}

template <typename T>
std::shared_ptr<T> Driver::newest() {
    const auto& presented = target_->services().presenter().presented();
    for (auto it = presented.rbegin(); it != presented.rend(); ++it) {
        if (auto c = std::dynamic_pointer_cast<T>(it->controller)) return c;
    }
    return nullptr;
}

std::shared_ptr<ui::AlertController> Driver::topAlert() {
    return newest<ui::AlertController>();
}

bool Driver::tapAlertAction(const std::string& title) {
    auto alert = topAlert();
    if (!alert) return false;
    const auto& actions = alert->actions();
    for (std::size_t i = 0; i < actions.size(); ++i) {
        if (actions[i]->title() == title && actions[i]->isEnabled()) {
            bool tapped = alert->tapAction(i);
            device_.runUntilIdle();
            return tapped;
        }
    }
    return false;
}

bool Driver::fillTextField(std::size_t index, const std::string& text) {
    auto alert = topAlert();
    if (!alert || index >= alert->textFields().size()) return false;
    alert->textFields()[index]->setText(text);
    return true;
}

bool Driver::chooseActivity(const std::string& activityType) {
    auto sheet = newest<ui::ActivityViewController>();
    if (!sheet) return false;
    bool chosen = sheet->chooseActivity(activityType);
    device_.runUntilIdle();
    return chosen;
}

bool Driver::cancelShareSheet() {
    auto sheet = newest<ui::ActivityViewController>();
    if (!sheet) return false;
    sheet->cancel();
    device_.runUntilIdle();
    return true;
}

SimWebViewBacking* Driver::webView(std::optional<std::size_t> index) {
    const auto& views = target_->services().webViews();
    if (views.empty()) return nullptr;
    std::size_t i = index.value_or(views.size() - 1);
    return i < views.size() ? views[i] : nullptr;
}

bool Driver::finishLoading(std::optional<std::size_t> index) {
    SimWebViewBacking* backing = webView(index);
    if (backing == nullptr) return false;
    backing->finish();
    device_.runUntilIdle();
    return true;
}

bool Driver::failLoading(const std::string& error, std::optional<std::size_t> index) {
    SimWebViewBacking* backing = webView(index);
    if (backing == nullptr) return false;
    backing->fail(error);
    device_.runUntilIdle();
    return true;
}

std::shared_ptr<ui::WebView> Driver::openNewWindow(const std::string& url,
                                                   std::optional<std::size_t> index) {
    SimWebViewBacking* backing = webView(index);
    if (backing == nullptr) return nullptr;
    auto created = backing->openNewWindow(url);
    device_.runUntilIdle();
    return created;
}

void Driver::setFrontmostApplication(const std::string& bundleIdentifier) {
    device_.setFrontmostApplication(bundleIdentifier);
    device_.runUntilIdle();
}

void Driver::writeClipboard(SimProcess& process, const std::string& text) {
    // Written from that process's loop, as its code would write it.
    process.runLoop().post([this, text] { device_.pasteboard().setString(text); });
    device_.runUntilIdle();
}

}  // namespace kernova::sim
