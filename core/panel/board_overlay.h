// The tag board of one text on a full-screen overlay window: a dimmed backdrop
// and, centred on it, a card holding the board. Tapping a tag or sliding
// across tags selects them; Escape, or a tap on the backdrop outside the card,
// closes the overlay. The plain style paints the card alone, filling the
// window, for still renderings of a board.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "board/tag_flow_view.h"
#include "floating/splode_window.h"
#include "panel/screen_report.h"
#include "ui/application.h"
#include "ui/gestures.h"

namespace kernova {

class BoardOverlay {
  public:
    enum class Style { floating, plain };

    // Room kept free around the card on the screen, and the card's largest size.
    static constexpr double kScreenMargin = 24.0;
    static constexpr double kMaxCardWidth = 640.0;
    static constexpr double kMaxCardHeightFraction = 0.7;
    static constexpr double kCardCornerRadius = 12.0;
    static constexpr double kBackdropAlpha = 0.35;

    // Splits `text` into tags and shows them on a new overlay window covering
    // `frame` (the screen's bounds for the floating style). The window becomes
    // the key window. A plain overlay of height 0 or less fits the content's
    // height, but at most `maxFittedHeight`: only the cells in the window are
    // ever made, so a still rendering of a huge board makes only what it draws.
    static std::shared_ptr<BoardOverlay> show(ui::Application& application, std::string_view text,
                                              const ui::Rect& frame, Style style = Style::floating,
                                              double maxFittedHeight = kNoFittedLimit);
    static constexpr double kNoFittedLimit = 1e300;

    BoardOverlay(ui::Application& application, Style style);
    ~BoardOverlay();
    BoardOverlay(const BoardOverlay&) = delete;
    BoardOverlay& operator=(const BoardOverlay&) = delete;

    // Hides the window and calls the closed block once; later calls do nothing.
    void close();
    bool isShown() const { return shown_; }
    // Takes the window off the screen while keeping the board open (the tag
    // editor and a playing video want the screen); restore() brings it back with
    // the board's current data laid out afresh. Both do nothing when closed.
    void park();
    void restore();
    bool isParked() const { return parked_; }
    void setClosedBlock(std::function<void()> block) { closedBlock_ = std::move(block); }

    GSplodeWindow& window() const { return *window_; }
    GTagFlowView& board() const { return *board_; }
    ui::View& card() const { return *card_; }

    std::vector<TagState> tagStates() const { return tagStatesOf(*board_); }
    // The selected tags' texts in the order they were picked.
    std::vector<std::string> selectedTexts() const;

  private:
    void build(std::string_view text, const ui::Rect& frame, double maxFittedHeight);
    // The card's frame inside a window of `size`, for content `contentHeight` tall.
    ui::Rect cardFrame(ui::Size size, double contentHeight) const;

    ui::Application& application_;
    Style style_;
    bool shown_ = false;
    bool parked_ = false;
    std::shared_ptr<GSplodeWindow> window_;
    std::shared_ptr<ui::View> backdrop_;
    std::shared_ptr<ui::View> card_;
    std::shared_ptr<GTagFlowView> board_;
    std::shared_ptr<ui::TapGestureRecognizer> backdropTap_;
    std::function<void()> closedBlock_;
};

}  // namespace kernova
