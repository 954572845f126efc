#include "kernovad/board_host.h"

#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QSaveFile>
#include <QScreen>
#include <nlohmann/json.hpp>

#include "desktop/ui/painter.h"

namespace kernova::daemon {

BoardHost::BoardHost(Context& context)
    : context_(context),
      desktop_(desktop::makeDesktopPlatform(context)),
      application_(std::make_unique<ui::Application>(context, desktop_->platform())),
      windows_(desktop_->makeWindowHost(*application_)) {
    windows_->start();
}

BoardHost::~BoardHost() {
    overlay_.reset();
    windows_->stop();
}

BoardHost::OpenResult BoardHost::openBoard(std::string_view text) {
    if (text.empty()) return OpenResult::noText;
    if (isShown()) return OpenResult::alreadyShown;
    overlay_ = BoardOverlay::show(*application_, text, desktop_->screen().bounds);
    windows_->sync();
    return OpenResult::opened;
}

std::string BoardHost::stateJson() const {
    nlohmann::ordered_json tags = nlohmann::ordered_json::array();
    nlohmann::ordered_json selection = nlohmann::ordered_json::array();
    if (isShown()) {
        for (const BoardOverlay::TagState& tag : overlay_->tagStates()) {
            tags.push_back({{"text", tag.text},
                            {"x", tag.frame.origin.x},
                            {"y", tag.frame.origin.y},
                            {"width", tag.frame.size.width},
                            {"height", tag.frame.size.height},
                            {"selected", tag.selectionIndex}});
        }
        for (const std::string& text : overlay_->selectedTexts())
            selection.push_back(text);
    }
    nlohmann::ordered_json state = {{"shown", isShown()},
                                    {"devicePixelRatio", desktop_->screen().scale},
                                    {"tags", std::move(tags)},
                                    {"selection", std::move(selection)}};
    return state.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

bool BoardHost::saveScreenshot(const QString& path) const {
    QImage image;
    if (QScreen* screen = QGuiApplication::primaryScreen()) image = screen->grabWindow(0).toImage();
    if (image.isNull() && overlay_) {
        desktop::Painter painter;
        ui::Window& window = overlay_->window();
        image = painter.renderWindow(window, window.frame().size, desktop_->screen().scale);
    }
    if (image.isNull()) return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) return false;
    if (!image.save(&file, "PNG")) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

}  // namespace kernova::daemon
