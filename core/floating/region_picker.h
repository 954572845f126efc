// The region picker of `kernova ocr --screen`: a window over one monitor that
// shows a frozen copy of it, dimmed outside the rectangle the user draws, with
// the rectangle's border and its size in device pixels beside it.
//
// A drag draws the rectangle and its release takes it (a click without a drag
// draws nothing). Enter takes the rectangle, or the whole monitor when none is
// drawn; Escape cancels. The arrow keys move the rectangle one point, Shift
// with an arrow moves its right or bottom edge (an arrow with no rectangle
// starts from the whole monitor); while a drag is under way they act on the
// rectangle being drawn. The rectangle stays inside the monitor.
//
// What is taken is cut from the frozen copy, in its device pixels. The picker
// closes its window before it calls back, once, with the region or null.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "floating/splode_window.h"
#include "ui/application.h"
#include "ui/image.h"
#include "ui/image_view.h"
#include "ui/label.h"

namespace kernova {

class GRegionPicker : public std::enable_shared_from_this<GRegionPicker> {
  public:
    // Null: cancelled.
    using Done = std::function<void(std::shared_ptr<const ui::Image> region)>;

    // The least width and height of a drawn rectangle, in points.
    static constexpr double kMinimumSide = 2;
    static constexpr double kDimAlpha = 0.45;
    static constexpr double kBorderWidth = 1.5;
    static constexpr double kLabelFontSize = 12;

    // A picker on `monitorFrame` (screen points) over `frozen`, its key
    // window shown at once. The application keeps the window alive while it
    // is shown; the caller keeps the picker.
    static std::shared_ptr<GRegionPicker> show(ui::Application& application,
                                               const ui::Rect& monitorFrame,
                                               std::shared_ptr<const ui::Image> frozen, Done done);

    GRegionPicker(ui::Application& application, const ui::Rect& monitorFrame,
                  std::shared_ptr<const ui::Image> frozen, Done done);
    ~GRegionPicker();
    GRegionPicker(const GRegionPicker&) = delete;
    GRegionPicker& operator=(const GRegionPicker&) = delete;

    ui::Window& window() { return *window_; }
    const ui::Window& window() const { return *window_; }
    bool isShown() const { return !finished_; }
    // The rectangle in the monitor's points, when one is drawn.
    const std::optional<ui::Rect>& rectangle() const { return rect_; }
    // The rectangle's size in the frozen copy's pixels ("640 × 480").
    std::string sizeText() const;

    bool handleKey(const ui::KeyEvent& event);
    // Closes without a region (as Escape does).
    void cancel() { finish(false); }

  private:
    class Canvas;
    friend class Canvas;

    void dragBegan(ui::Point at);
    void dragMoved(ui::Point at);
    void dragEnded(ui::Point at);
    // Sets the rectangle (normalised and kept inside the monitor) and lays
    // out the dimming, border and label.
    void setRectangle(std::optional<ui::Rect> rect);
    void layout();
    // The frozen copy's pixels under `rect` (monitor points); null when none.
    std::shared_ptr<const ui::Image> cut(const ui::Rect& rect) const;
    void finish(bool take);

    ui::Application& application_;
    ui::Rect monitor_;
    std::shared_ptr<const ui::Image> frozen_;
    Done done_;
    std::shared_ptr<GSplodeWindow> window_;
    std::shared_ptr<Canvas> canvas_;
    std::shared_ptr<ui::View> dims_[4];
    std::shared_ptr<ui::View> border_;
    std::shared_ptr<ui::Label> label_;
    std::optional<ui::Rect> rect_;
    // A drag under way: where it began, and what the keys added to the
    // dragged corner since.
    std::optional<ui::Point> anchor_;
    ui::Point pointer_;
    ui::Point cornerShift_;
    bool finished_ = false;
};

}  // namespace kernova
