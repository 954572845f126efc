// One toolkit window on the desktop: a frameless, translucent top-level widget
// at the window's frame (desktop coordinates: Qt's global logical pixels),
// painting the window's tree and turning mouse, touch, wheel and key events
// into the application's input, and resting the pointer into tool tips.
#pragma once

#include <QImage>
#include <QRegion>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

#include "desktop/ui/painter.h"
#include "desktop/ui/screen_behind.h"
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

    // Without `translucent` (for screens that do not composite windows,
    // where only the colours of its pixels show) the widget is opaque.
    OverlayWidget(ui::Application& application, const std::shared_ptr<ui::Window>& window,
                  bool translucent = true);

    // Null once the toolkit window has gone away.
    std::shared_ptr<ui::Window> window() const { return window_.lock(); }
    // Shows `window` from now on, painted afresh as by a new widget; the
    // native window and Qt's backing store are kept (a hidden widget kept for
    // the next window). Null shows none.
    void setWindow(const std::shared_ptr<ui::Window>& window);
    // Lets go of the images it holds (its canvas and the screen beneath), as
    // it hides: the next painting makes them again.
    void releaseImages();
    bool isOpaque() const { return opaque_; }
    // Where the widget's top-left lies in the toolkit's screen coordinates.
    void setScreenOrigin(QPointF origin) { screenOrigin_ = origin; }
    QPointF screenOrigin() const { return screenOrigin_; }
    // A picture of what lies beneath, painted under the window's tree (for
    // screens where translucent windows are not composited); null for none.
    // `origin` is where its top-left lies in desktop coordinates.
    void setBackdrop(QImage backdrop, QPointF origin = {}) {
        backdrop_ = std::move(backdrop);
        backdropOrigin_ = origin;
        pendingBackdrop_.reset();
        ++canvasGeneration_;
    }
    // The same, received when first painted (so that the widget may be
    // mapped while the X server copies the screen).
    void setBackdrop(std::unique_ptr<ScreenGrab> grab, QPointF origin) {
        setBackdrop(QImage(), origin);
        pendingBackdrop_ = std::move(grab);
    }
    const QImage& backdrop() const { return backdrop_; }
    QPointF backdropOrigin() const { return backdropOrigin_; }
    // The part of the widget (its own coordinates) that takes mouse input,
    // set as the X11 input shape: elsewhere clicks go to the windows beneath.
    // Unset, the whole widget takes input.
    void setInputRegion(std::optional<QRegion> region);
    const std::optional<QRegion>& inputRegion() const { return inputRegion_; }
    // Asks for a repaint; `changed` when the window's model changed (not
    // only the time of its animations). Before the widget was first painted
    // the frame is painted at once, while the window is still being mapped,
    // and shown when the X server exposes it.
    void redraw(bool changed);
    // Called after every painting.
    void setPaintedHandler(std::function<void()> handler) { onPainted_ = std::move(handler); }
    // Called when the widget becomes the active window.
    void setActivatedHandler(std::function<void()> handler) { onActivated_ = std::move(handler); }

    // True when the last painting showed something in motion.
    bool needsAnimationFrames() const { return painter_.needsAnimationFrames(); }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool event(QEvent* event) override;

  private:
    void touch(ui::TouchId id, ui::TouchPhase phase, QPointF local);
    bool handleTouchEvent(QEvent* event);
    void showToolTip(QPoint local, QPoint global);
    void applyInputRegion();
    ui::Point toScreen(QPointF local) const;
    // Paints the backdrop and the window's tree into the canvas.
    void paintCanvas();

    ui::Application& application_;
    std::weak_ptr<ui::Window> window_;
    Painter painter_;
    QPointF screenOrigin_;
    QImage backdrop_;
    std::unique_ptr<ScreenGrab> pendingBackdrop_;
    QPointF backdropOrigin_;
    std::optional<QRegion> inputRegion_;
    // The native window and region last given to the X server.
    WId shapedWindow_ = 0;
    std::optional<QRegion> appliedRegion_;
    double appliedScale_ = 0;
    QImage canvas_;  // the last painting's canvas, reused at the same size
    QSize canvasFor_;
    double canvasScale_ = 0;
    // Changes with what the canvas holds before the window is painted on it.
    std::uint64_t canvasGeneration_ = 0;
    QPointF paintedOrigin_;
    bool prepared_ = false;  // the canvas holds the next frame already
    bool painted_ = false;   // painted on screen at least once
    std::function<void()> onPainted_;
    std::function<void()> onActivated_;
    bool mouseDown_ = false;
    bool opaque_ = false;
};

// The toolkit key for a Qt key press; nullopt for keys the toolkit ignores.
// With Control held, a letter or digit key gives its own character (lowercase)
// and `control`, whatever text the keyboard produced; named keys carry Alt.
std::optional<ui::KeyEvent> toKeyEvent(int qtKey, const QString& text,
                                       Qt::KeyboardModifiers modifiers = Qt::NoModifier);

// The tool tip for the view hit at `point` (desktop coordinates) in `window`:
// that of the view or its nearest ancestor that has one; empty for none, and
// where a pass-through window shows no content. `area` receives the frame of
// the view it belongs to, in desktop coordinates.
std::string toolTipAt(ui::Window& window, ui::Point point, ui::Rect* area = nullptr);

}  // namespace kernova::desktop
