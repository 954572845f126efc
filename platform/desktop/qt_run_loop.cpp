#include "desktop/qt_run_loop.h"

#include <QMetaObject>
#include <QObject>
#include <QTimer>
#include <climits>
#include <cmath>

namespace kernova::desktop {

namespace {

// A repeating timer of 0 ms would fire whenever the loop is idle and starve it.
constexpr double kMinimumInterval = 0.001;

}  // namespace

int timerMilliseconds(double seconds) {
    if (!(seconds > 0)) return 0;
    double ms = std::ceil(seconds * 1000.0);
    if (ms >= static_cast<double>(INT_MAX)) return INT_MAX;
    return static_cast<int>(ms);
}

QtRunLoop::QtRunLoop()
    : origin_(std::chrono::steady_clock::now()), context_(std::make_unique<QObject>()) {}

QtRunLoop::~QtRunLoop() {
    for (auto& [id, t] : timers_)
        t.timer->stop();
    timers_.clear();
    context_.reset();  // deletes the timers and drops the queued work
}

double QtRunLoop::now() const {
    std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - origin_;
    return elapsed.count();
}

void QtRunLoop::post(std::function<void()> fn) {
    if (!fn) return;
    QMetaObject::invokeMethod(context_.get(), std::move(fn), Qt::QueuedConnection);
}

TimerId QtRunLoop::after(double delay, Owner owner, std::function<void()> fn) {
    return start(delay, false, owner, std::move(fn));
}

TimerId QtRunLoop::every(double interval, Owner owner, std::function<void()> fn) {
    double step = std::isnan(interval) ? kMinimumInterval : std::max(interval, kMinimumInterval);
    return start(step, true, owner, std::move(fn));
}

TimerId QtRunLoop::start(double seconds, bool repeating, Owner owner, std::function<void()> fn) {
    TimerId id = nextId_++;
    auto* timer = new QTimer(context_.get());
    timer->setTimerType(Qt::PreciseTimer);
    timer->setSingleShot(!repeating);
    timer->setInterval(timerMilliseconds(seconds));
    QObject::connect(timer, &QTimer::timeout, context_.get(), [this, id] { fire(id); });
    timers_.emplace(
        id, Timer{timer, owner, repeating, std::make_shared<std::function<void()>>(std::move(fn))});
    timer->start();
    return id;
}

void QtRunLoop::fire(TimerId id) {
    auto it = timers_.find(id);
    if (it == timers_.end()) return;
    // Holding the function keeps it alive even when it cancels its own timer.
    std::shared_ptr<std::function<void()>> fn = it->second.fn;
    if (!it->second.repeating) release(it);
    if (*fn) (*fn)();
}

void QtRunLoop::release(std::map<TimerId, Timer>::iterator it) {
    it->second.timer->stop();
    // The timer may be the one whose signal is being delivered right now.
    it->second.timer->deleteLater();
    timers_.erase(it);
}

void QtRunLoop::cancel(TimerId id) {
    auto it = timers_.find(id);
    if (it != timers_.end()) release(it);
}

void QtRunLoop::cancelAll(Owner owner) {
    for (auto it = timers_.begin(); it != timers_.end();) {
        auto next = std::next(it);
        if (it->second.owner == owner) release(it);
        it = next;
    }
}

}  // namespace kernova::desktop
