// What a process shows, as plain data: the panel (its card, tags and
// buttons), floating buttons, the selection item, running indicators, and the alerts and notices on
// screen. The daemon's debug interface reports it; tests read it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "board/tag_flow_view.h"
#include "ui/application.h"

namespace kernova {

class GTagFlowContainer;

// One tag: its text, its frame in screen coordinates (the layout's frame,
// even when scrolled out of view) and its place in the pick order (0 when
// not picked).
struct TagState {
    std::string text;
    ui::Rect frame;
    std::int64_t selectionIndex = 0;
};

struct ButtonState {
    std::string name;  // the action's name, or the button's title or tool tip
    ui::Rect frame;    // in screen coordinates
    bool hidden = false;
};

// The panel in browser mode: the page asked for or shown, whether it is
// loading, and where the web view, the close caption and the open-in-browser
// button are (screen coordinates).
struct BrowserReport {
    std::string url;
    bool loading = false;
    bool spinning = false;  // the activity indicator animates
    bool findBar = false;
    bool fullScreen = false;  // the page fills a window of its own
    ui::Rect webView;
    std::string caption;
    ui::Rect captionFrame;
    ButtonState openUrl;
};

struct PanelReport {
    bool shown = false;
    bool parked = false;
    ui::Rect card;   // the panel's frame in screen coordinates
    ui::Rect board;  // the board's frame in screen coordinates
    bool orderCopy = false;
    std::vector<TagState> tags;
    std::vector<std::string> picked;   // the picked texts, in pick order
    std::vector<ButtonState> actions;  // the action bar, left to right
    std::vector<ButtonState> buttons;  // close, select all, inverse
    std::vector<std::string> tips;     // the tip labels shown
    std::optional<BrowserReport> browser;
};

struct AlertReport {
    std::string title;
    std::string message;
    std::vector<std::string> buttons;
    double windowLevel = 0;
};

// The selection item: its frame in screen coordinates and what it shows (its
// title, and the picture's file in the image form).
struct SelectionItemReport {
    ui::Rect frame;
    std::string title;
    std::string image;  // empty in the title form
};

struct ScreenReport {
    std::optional<PanelReport> panel;
    std::vector<ui::Rect> runningIndicators;  // in screen coordinates
    std::vector<ui::Rect> floatingButtons;    // in screen coordinates, as they move
    std::optional<SelectionItemReport> selectionItem;
    std::vector<AlertReport> alerts;  // toasts are alerts without buttons
};

std::vector<TagState> tagStatesOf(const GTagFlowView& board);
PanelReport reportPanel(const GTagFlowContainer& panel);
// Every shown window of `application`, back to front, and a parked panel.
ScreenReport reportScreen(const ui::Application& application);

}  // namespace kernova
