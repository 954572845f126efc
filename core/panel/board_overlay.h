// The tag board of one text alone, filling a window of its own: what
// `kernova render` paints. A height of 0 or less fits the content's height,
// but at most `maxFittedHeight`: only the cells in the window are ever made,
// so a still rendering of a huge board makes only what it draws.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "board/tag_flow_view.h"
#include "floating/splode_window.h"
#include "panel/screen_report.h"
#include "ui/application.h"

namespace kernova {

class BoardOverlay {
  public:
    static constexpr double kNoFittedLimit = 1e300;

    // Splits `text` into tags and shows them on a new window of `frame`.
    static std::shared_ptr<BoardOverlay> show(ui::Application& application, std::string_view text,
                                              const ui::Rect& frame,
                                              double maxFittedHeight = kNoFittedLimit);

    explicit BoardOverlay(ui::Application& application) : application_(application) {}
    ~BoardOverlay();
    BoardOverlay(const BoardOverlay&) = delete;
    BoardOverlay& operator=(const BoardOverlay&) = delete;

    // Hides the window.
    void close();

    GSplodeWindow& window() const { return *window_; }
    GTagFlowView& board() const { return *board_; }
    std::vector<TagState> tagStates() const { return tagStatesOf(*board_); }

  private:
    void build(std::string_view text, const ui::Rect& frame, double maxFittedHeight);

    ui::Application& application_;
    std::shared_ptr<GSplodeWindow> window_;
    std::shared_ptr<GTagFlowView> board_;
};

}  // namespace kernova
