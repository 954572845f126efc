// The web engine behind web views lives in a module of its own
// (libkernova_webengine.so, built from web_engine_module.cpp), loaded with
// dlopen when the first web view loads a page: a process that shows no web
// view never maps QtWebEngine, Qt Quick or a GL library. This header is the
// whole contract between the two sides; it names no QtWebEngine type.
#pragma once

#include <functional>
#include <string>

class QKeyEvent;
class QWidget;

namespace kernova::desktop {

struct WebEngineSettings {
    bool javaScriptEnabled = true;
    bool playbackRequiresUserGesture = true;
};

// What the engine reports, on the main thread.
struct WebEngineEvents {
    std::function<void(const std::string& url)> committedURL;
    std::function<void(bool ok)> finished;
    // A page asked for a new window on `url`.
    std::function<void(const std::string& url)> newWindow;
    // A page began loading (asked for, or a link followed).
    std::function<void()> started;
    // A key pressed in the page, before the page sees it: true keeps it from
    // the page.
    std::function<bool(const QKeyEvent& event)> key;
    // The user closed the find field (Escape in it).
    std::function<void()> findBarClosed;
    // The page asks to go full screen (true) or to leave it: true lets it.
    std::function<bool(bool on)> fullScreen;
};

// One engine view, on a private off-the-record profile of the process (no
// history, cache, cookies or other storage written to disk). `widget()` is a
// top-level until placed; deleting the engine view deletes its widget. The
// mouse's back and forward buttons go back and forward in the page.
class WebEngineView {
  public:
    virtual ~WebEngineView() = default;
    virtual QWidget* widget() = 0;
    virtual void load(const std::string& url) = 0;
    virtual void stop() = 0;
    virtual std::string selectedText() const = 0;
    virtual void back() = 0;
    virtual void forward() = 0;
    // The one-line find field over the top edge: Enter finds the next match,
    // Shift+Enter the previous one, Escape closes it.
    virtual void showFindBar() = 0;
    virtual void hideFindBar() = 0;
    // Asks the page to leave full screen; it answers through `fullScreen`.
    virtual void exitFullScreen() = 0;
};

// The module's entry point: a new engine view (owned by the caller).
using MakeWebEngineViewFunction = WebEngineView* (*)(const WebEngineSettings& settings,
                                                     WebEngineEvents events);
inline constexpr const char* kMakeWebEngineViewSymbol = "kernova_make_web_engine_view";
inline constexpr const char* kWebEngineModuleFile = "libkernova_webengine.so";

}  // namespace kernova::desktop
