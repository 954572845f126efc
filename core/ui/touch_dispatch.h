// Internal: routes one process's touches to recognizers and views.
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "ui/gestures.h"
#include "ui/view.h"

namespace kernova::ui {

class Application;

class TouchDispatch {
  public:
    explicit TouchDispatch(Application& application) : application_(application) {}
    // Detaches every recognizer it attached, so none calls back into it later.
    ~TouchDispatch();
    TouchDispatch(const TouchDispatch&) = delete;
    TouchDispatch& operator=(const TouchDispatch&) = delete;

    void handle(const Touch& touch);

  private:
    struct Tracked {
        Touch last;
        View* view = nullptr;
        std::shared_ptr<View> keep;  // keeps the touched view alive for the sequence
        std::vector<std::shared_ptr<GestureRecognizer>> recognizers;
        std::vector<Touch> delayed;  // held back from the view
        bool taken = false;          // a recognizer began or recognized
        bool viewBegan = false;
    };

    void begin(const Touch& touch);
    void remember(const std::shared_ptr<GestureRecognizer>& recognizer);
    void deliver(Tracked& tracked, const Touch& touch);
    void flush(Tracked& tracked);
    void sendToView(Tracked& tracked, const Touch& touch);
    bool delaying(const Tracked& tracked) const;
    void stateChanged(GestureRecognizer& recognizer);
    void take(Tracked& tracked, GestureRecognizer& winner);
    void finish(TouchId id);

    Application& application_;
    std::map<TouchId, Tracked> touches_;
    std::vector<std::weak_ptr<GestureRecognizer>> attached_;
};

}  // namespace kernova::ui
