// One toolkit window on the desktop: a frameless, translucent top-level widget
// covering the screen, painting the window's tree and turning mouse, touch,
// wheel and key events into the application's input.
#pragma once

#include <QImage>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

#include "desktop/ui/painter.h"
#include "ui/application.h"
#include "ui/window.h"

namespace kernova::desktop {

class OverlayWidget final : public QWidget {
  public:
    // The mouse is one finger with this id; touch points get ids above it.
    static constexpr ui::TouchId kMouseTouchId = 1;
    static constexpr ui::TouchId kFirstTouchPointId = 1000;
    // Points scrolled per wheel notch (15 degrees).
    static constexpr double kPointsPerWheelStep = 40.0;

    OverlayWidget(ui::Application& application, const std::shared_ptr<ui::Window>& window);

    // Null once the toolkit window has gone away.
    std::shared_ptr<ui::Window> window() const { return window_.lock(); }
    // Where the widget's top-left lies in the toolkit's screen coordinates.
    void setScreenOrigin(QPointF origin) { screenOrigin_ = origin; }
    // A picture of what lies beneath, painted under the window's tree (for
    // screens where translucent windows are not composited); null for none.
    void setBackdrop(QImage backdrop) { backdrop_ = std::move(backdrop); }
    const QImage& backdrop() const { return backdrop_; }
    // Called after every painting.
    void setPaintedHandler(std::function<void()> handler) { onPainted_ = std::move(handler); }

    // True when the last painting showed something in motion.
    bool needsAnimationFrames() const { return painter_.needsAnimationFrames(); }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool event(QEvent* event) override;

  private:
    void touch(ui::TouchId id, ui::TouchPhase phase, QPointF local);
    bool handleTouchEvent(QEvent* event);
    ui::Point toScreen(QPointF local) const;

    ui::Application& application_;
    std::weak_ptr<ui::Window> window_;
    Painter painter_;
    QPointF screenOrigin_;
    QImage backdrop_;
    QImage canvas_;  // the last painting's canvas, reused at the same size
    QSize canvasFor_;
    double canvasScale_ = 0;
    std::function<void()> onPainted_;
    bool mouseDown_ = false;
};

// The toolkit key for a Qt key press; nullopt for keys the toolkit ignores.
std::optional<ui::KeyEvent> toKeyEvent(int qtKey, const QString& text);

}  // namespace kernova::desktop
