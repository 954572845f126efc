#include "floating/region_picker.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ui/platform.h"
#include "ui/text_measurer.h"

namespace kernova {

// Takes the mouse for the picker; what it holds only paints.
class GRegionPicker::Canvas final : public ui::View {
  public:
    Canvas(GRegionPicker& picker, ui::Rect frame) : ui::View(frame), picker_(picker) {}

    void touchesBegan(const ui::Touch& touch) override {
        if (touch_) return;  // one finger draws
        touch_ = touch.id;
        picker_.dragBegan(touch.locationInView(this));
    }
    void touchesMoved(const ui::Touch& touch) override {
        if (touch_ == touch.id) picker_.dragMoved(touch.locationInView(this));
    }
    void touchesEnded(const ui::Touch& touch) override {
        if (touch_ != touch.id) return;
        touch_.reset();
        picker_.dragEnded(touch.locationInView(this));
    }
    void touchesCancelled(const ui::Touch& touch) override {
        if (touch_ != touch.id) return;
        touch_.reset();
        picker_.anchor_.reset();
        picker_.setRectangle(std::nullopt);
    }

  private:
    GRegionPicker& picker_;
    std::optional<ui::TouchId> touch_;
};

namespace {

ui::Rect spanning(ui::Point a, ui::Point b) {
    return ui::Rect(std::min(a.x, b.x), std::min(a.y, b.y), std::abs(b.x - a.x),
                    std::abs(b.y - a.y));
}

std::shared_ptr<ui::View> paintOnly(ui::Rect frame = {}) {
    auto view = std::make_shared<ui::View>(frame);
    view->setUserInteractionEnabled(false);
    return view;
}

}  // namespace

std::shared_ptr<GRegionPicker> GRegionPicker::show(ui::Application& application,
                                                   const ui::Rect& monitorFrame,
                                                   std::shared_ptr<const ui::Image> frozen,
                                                   Done done) {
    auto picker = std::make_shared<GRegionPicker>(application, monitorFrame, std::move(frozen),
                                                  std::move(done));
    std::weak_ptr<GRegionPicker> weak = picker;
    picker->window_->setKeyHandler([weak](const ui::KeyEvent& event) {
        auto self = weak.lock();
        return self && self->handleKey(event);
    });
    picker->window_->makeKeyAndVisible();
    return picker;
}

GRegionPicker::GRegionPicker(ui::Application& application, const ui::Rect& monitorFrame,
                             std::shared_ptr<const ui::Image> frozen, Done done)
    : application_(application),
      monitor_(monitorFrame),
      frozen_(std::move(frozen)),
      done_(std::move(done)),
      window_(std::make_shared<GSplodeWindow>(application, monitorFrame)) {
    const ui::Rect bounds(0, 0, monitorFrame.width(), monitorFrame.height());
    window_->setBackgroundColor(ui::Color::black());
    canvas_ = std::make_shared<Canvas>(*this, bounds);
    auto image = std::make_shared<ui::ImageView>(bounds);
    image->setImage(frozen_);
    image->setUserInteractionEnabled(false);
    canvas_->addSubview(image);
    for (auto& dim : dims_) {
        dim = paintOnly();
        dim->setBackgroundColor(ui::Color::black().withAlpha(kDimAlpha));
        canvas_->addSubview(dim);
    }
    border_ = paintOnly();
    border_->setBorderWidth(kBorderWidth);
    border_->setBorderColor(ui::Color::rgb255(255, 149, 0));
    canvas_->addSubview(border_);
    label_ = std::make_shared<ui::Label>();
    label_->setUserInteractionEnabled(false);
    label_->setFont(ui::Font::systemFont(kLabelFontSize));
    label_->setTextColor(ui::Color::white(1));
    label_->setTextAlignment(ui::TextAlignment::center);
    label_->setBackgroundColor(ui::Color::black().withAlpha(0.7));
    label_->setCornerRadius(3);
    canvas_->addSubview(label_);
    window_->addSubview(canvas_);
    layout();
}

GRegionPicker::~GRegionPicker() {
    if (window_) window_->setHidden(true);
}

std::string GRegionPicker::sizeText() const {
    if (!rect_) return {};
    std::shared_ptr<const ui::Image> region = cut(*rect_);
    const ui::PixelBuffer* pixels = region ? region->pixels() : nullptr;
    if (!pixels) return {};
    return std::to_string(pixels->width) + " × " + std::to_string(pixels->height);
}

void GRegionPicker::dragBegan(ui::Point at) {
    if (finished_) return;
    anchor_ = at;
    pointer_ = at;
    cornerShift_ = {};
    setRectangle(std::nullopt);
}

void GRegionPicker::dragMoved(ui::Point at) {
    if (finished_ || !anchor_) return;
    pointer_ = at;
    const ui::Rect drawn = spanning(*anchor_, {at.x + cornerShift_.x, at.y + cornerShift_.y});
    if (rect_ || (drawn.width() >= kMinimumSide && drawn.height() >= kMinimumSide))
        setRectangle(drawn);
}

void GRegionPicker::dragEnded(ui::Point at) {
    if (finished_ || !anchor_) return;
    dragMoved(at);
    anchor_.reset();
    if (rect_ && rect_->width() >= kMinimumSide && rect_->height() >= kMinimumSide) {
        finish(true);
    } else {
        setRectangle(std::nullopt);  // a click: nothing drawn
    }
}

bool GRegionPicker::handleKey(const ui::KeyEvent& event) {
    if (finished_) return false;
    switch (event.key) {
        case ui::Key::escape:
            finish(false);
            return true;
        case ui::Key::enter:
            finish(true);
            return true;
        case ui::Key::left:
        case ui::Key::right:
        case ui::Key::up:
        case ui::Key::down:
            break;
        default:
            return false;
    }
    const double dx = event.key == ui::Key::left ? -1 : event.key == ui::Key::right ? 1 : 0;
    const double dy = event.key == ui::Key::up ? -1 : event.key == ui::Key::down ? 1 : 0;
    if (anchor_) {
        // The rectangle being drawn: Shift moves the dragged corner, else both.
        if (!event.shift) anchor_ = ui::Point{anchor_->x + dx, anchor_->y + dy};
        cornerShift_ = {cornerShift_.x + dx, cornerShift_.y + dy};
        const ui::Point corner{pointer_.x + cornerShift_.x, pointer_.y + cornerShift_.y};
        setRectangle(spanning(*anchor_, corner));
        return true;
    }
    ui::Rect rect = rect_.value_or(ui::Rect(0, 0, monitor_.width(), monitor_.height()));
    if (event.shift) {
        rect.size.width = std::max(kMinimumSide, rect.size.width + dx);
        rect.size.height = std::max(kMinimumSide, rect.size.height + dy);
    } else {
        rect = rect.offsetBy(dx, dy);
    }
    setRectangle(rect);
    return true;
}

void GRegionPicker::setRectangle(std::optional<ui::Rect> rect) {
    if (rect) {
        // Inside the monitor: a moved rectangle keeps its size, a larger one is cut.
        const double width = std::min(rect->width(), monitor_.width());
        const double height = std::min(rect->height(), monitor_.height());
        const double x = std::clamp(rect->minX(), 0.0, monitor_.width() - width);
        const double y = std::clamp(rect->minY(), 0.0, monitor_.height() - height);
        rect = ui::Rect(x, y, width, height);
    }
    if (rect == rect_) return;
    rect_ = rect;
    layout();
}

void GRegionPicker::layout() {
    const double w = monitor_.width(), h = monitor_.height();
    if (!rect_) {
        // Nothing drawn yet: the whole monitor dimmed.
        dims_[0]->setFrame(ui::Rect(0, 0, w, h));
        for (int i = 1; i < 4; ++i)
            dims_[i]->setFrame({});
        border_->setHidden(true);
        label_->setHidden(true);
        return;
    }
    const ui::Rect& r = *rect_;
    dims_[0]->setFrame(ui::Rect(0, 0, w, r.minY()));
    dims_[1]->setFrame(ui::Rect(0, r.maxY(), w, h - r.maxY()));
    dims_[2]->setFrame(ui::Rect(0, r.minY(), r.minX(), r.height()));
    dims_[3]->setFrame(ui::Rect(r.maxX(), r.minY(), w - r.maxX(), r.height()));
    border_->setHidden(false);
    border_->setFrame(r.insetBy({-kBorderWidth, -kBorderWidth, -kBorderWidth, -kBorderWidth}));
    label_->setHidden(false);
    label_->setText(sizeText());
    const ui::Size text =
        application_.platform().textMeasurer.boundingSize(label_->text(), label_->font());
    const double lw = std::ceil(text.width) + 10, lh = std::ceil(text.height) + 4;
    // Above the rectangle's top-left corner, or inside it when there is no room.
    const double ly = r.minY() - lh - 4 >= 0 ? r.minY() - lh - 4 : r.minY() + 4;
    label_->setFrame(ui::Rect(std::clamp(r.minX(), 0.0, std::max(0.0, w - lw)), ly, lw, lh));
}

std::shared_ptr<const ui::Image> GRegionPicker::cut(const ui::Rect& rect) const {
    const ui::PixelBuffer* pixels = frozen_ ? frozen_->pixels() : nullptr;
    if (!pixels || pixels->width <= 0 || pixels->height <= 0 || monitor_.isEmpty() ||
        pixels->argb.size() <
            static_cast<std::size_t>(pixels->width) * static_cast<std::size_t>(pixels->height))
        return nullptr;
    // The copy's own pixels per point, however the monitor is scaled.
    const double sx = pixels->width / monitor_.width();
    const double sy = pixels->height / monitor_.height();
    auto edge = [](double v, int limit) {
        return std::clamp(static_cast<int>(std::lround(v)), 0, limit);
    };
    const int x0 = edge(rect.minX() * sx, pixels->width),
              x1 = edge(rect.maxX() * sx, pixels->width);
    const int y0 = edge(rect.minY() * sy, pixels->height),
              y1 = edge(rect.maxY() * sy, pixels->height);
    if (x1 <= x0 || y1 <= y0) return nullptr;
    ui::PixelBuffer region{x1 - x0, y1 - y0, {}};
    region.argb.reserve(static_cast<std::size_t>(region.width) *
                        static_cast<std::size_t>(region.height));
    for (int y = y0; y < y1; ++y) {
        const auto row = pixels->argb.begin() + static_cast<std::ptrdiff_t>(y) * pixels->width;
        region.argb.insert(region.argb.end(), row + x0, row + x1);
    }
    return ui::Image::fromPixels(std::move(region), frozen_->scale());
}

void GRegionPicker::finish(bool take) {
    if (finished_) return;
    finished_ = true;
    anchor_.reset();
    std::shared_ptr<const ui::Image> region;
    if (take) region = cut(rect_.value_or(ui::Rect(0, 0, monitor_.width(), monitor_.height())));
    window_->setHidden(true);
    // The caller may let go of the picker from inside `done`.
    auto self = shared_from_this();
    if (auto done = std::exchange(done_, nullptr)) done(std::move(region));
}

}  // namespace kernova
