// Every platform service in one object, so code takes a single parameter.
// The platform owns the services; they outlive every Application built on them.
#pragma once

#include <functional>
#include <memory>

#include "ui/image.h"
#include "ui/pasteboard.h"
#include "ui/services.h"
#include "ui/text_measurer.h"

namespace kernova::ui {

class WebView;
class WebViewBacking;

// Makes the engine behind one web view.
using WebViewBackingFactory = std::function<std::unique_ptr<WebViewBacking>(WebView& view)>;

struct Platform {
    const TextMeasurer& textMeasurer;
    const ImageCodec& imageCodec;
    Pasteboard& pasteboard;
    Presenter& presenter;
    WebViewBackingFactory webViewBackingFactory;
    Haptic& haptic;
    Keyboard& keyboard;
    const Appearance& appearance;
    UrlOpener& urlOpener;
    const Screen& screen;
};

}  // namespace kernova::ui
