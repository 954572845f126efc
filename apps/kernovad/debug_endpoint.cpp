#include "kernovad/debug_endpoint.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QScreen>
#include <nlohmann/json.hpp>

#include "desktop/ui/painter.h"
#include "kernovad/desktop_host.h"
#include "panel/board_overlay.h"

namespace kernova::daemon {

std::string describeRecord(const Server::MessageRecord& record) {
    std::string keys = record.keys
                           ? std::to_string(*record.keys) + (*record.keys == 1 ? " key" : " keys")
                           : std::string("no dictionary");
    return record.name + " (" + keys + "): " + record.outcome;
}

std::string boardStateJson(const BoardOverlay* board, double devicePixelRatio) {
    const bool shown = board && board->isShown() && !board->isParked();
    nlohmann::ordered_json tags = nlohmann::ordered_json::array();
    nlohmann::ordered_json selection = nlohmann::ordered_json::array();
    if (shown) {
        for (const BoardOverlay::TagState& tag : board->tagStates()) {
            tags.push_back({{"text", tag.text},
                            {"x", tag.frame.origin.x},
                            {"y", tag.frame.origin.y},
                            {"width", tag.frame.size.width},
                            {"height", tag.frame.size.height},
                            {"selected", tag.selectionIndex}});
        }
        for (const std::string& text : board->selectedTexts())
            selection.push_back(text);
    }
    nlohmann::ordered_json state = {{"shown", shown},
                                    {"devicePixelRatio", devicePixelRatio},
                                    {"tags", std::move(tags)},
                                    {"selection", std::move(selection)}};
    return state.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

QStringList DebugEndpoint::ReceivedMessages() const {
    QStringList lines;
    for (const Server::MessageRecord& record : server_.recentMessages())
        lines.append(QString::fromStdString(describeRecord(record)));
    return lines;
}

qulonglong DebugEndpoint::ReceivedCount() const {
    return server_.receivedCount();
}

QString DebugEndpoint::BoardState() const {
    return QString::fromStdString(boardStateJson(server_.board(), host_.desktop().screen().scale));
}

QByteArray DebugEndpoint::Screenshot() const {
    QImage image;
    if (QScreen* screen = QGuiApplication::primaryScreen()) image = screen->grabWindow(0).toImage();
    const BoardOverlay* board = server_.board();
    if (image.isNull() && board && board->isShown()) {
        desktop::Painter painter;
        ui::Window& window = board->window();
        image = painter.renderWindow(window, window.frame().size, host_.desktop().screen().scale);
    }
    QByteArray png;
    if (image.isNull()) return png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "PNG")) png.clear();
    return png;
}

}  // namespace kernova::daemon
