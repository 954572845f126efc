#include "kernovad/debug_endpoint.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QScreen>
#include <ctime>
#include <nlohmann/json.hpp>

#include "desktop/ui/painter.h"
#include "kernovad/desktop_host.h"
#include "kernovad/tray_icon.h"
#include "panel/tag_flow_container.h"

namespace kernova::daemon {

std::string describeRecord(const Server::MessageRecord& record) {
    std::string keys = record.keys
                           ? std::to_string(*record.keys) + (*record.keys == 1 ? " key" : " keys")
                           : std::string("no dictionary");
    return record.name + " (" + keys + "): " + record.outcome;
}

namespace {

nlohmann::ordered_json frameJson(const ui::Rect& frame) {
    return {{"x", frame.origin.x},
            {"y", frame.origin.y},
            {"width", frame.size.width},
            {"height", frame.size.height}};
}

nlohmann::ordered_json buttonsJson(const std::vector<ButtonState>& buttons) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const ButtonState& button : buttons) {
        nlohmann::ordered_json entry = {{"name", button.name}};
        entry.update(frameJson(button.frame));
        entry["hidden"] = button.hidden;
        list.push_back(std::move(entry));
    }
    return list;
}

nlohmann::ordered_json browserJson(const std::optional<BrowserReport>& browser) {
    if (!browser) return nullptr;
    return {{"url", browser->url},
            {"loading", browser->loading},
            {"spinning", browser->spinning},
            {"findBar", browser->findBar},
            {"fullScreen", browser->fullScreen},
            {"webView", frameJson(browser->webView)},
            {"caption", browser->caption},
            {"captionFrame", frameJson(browser->captionFrame)},
            {"openUrl", buttonsJson({browser->openUrl}).at(0)}};
}

}  // namespace

std::string screenStateJson(const ScreenReport& report, double devicePixelRatio) {
    const PanelReport panel = report.panel.value_or(PanelReport{});
    nlohmann::ordered_json tags = nlohmann::ordered_json::array();
    for (const TagState& tag : panel.tags) {
        nlohmann::ordered_json entry = {{"text", tag.text}};
        entry.update(frameJson(tag.frame));
        entry["selected"] = tag.selectionIndex;
        tags.push_back(std::move(entry));
    }
    nlohmann::ordered_json running = nlohmann::ordered_json::array();
    for (const ui::Rect& frame : report.runningIndicators)
        running.push_back(frameJson(frame));
    nlohmann::ordered_json floating = nlohmann::ordered_json::array();
    for (const ui::Rect& frame : report.floatingButtons)
        floating.push_back(frameJson(frame));
    nlohmann::ordered_json selectionItem = nullptr;
    if (const auto& item = report.selectionItem) {
        selectionItem = frameJson(item->frame);
        selectionItem["title"] = item->title;
        selectionItem["image"] = item->image;
    }
    nlohmann::ordered_json alerts = nlohmann::ordered_json::array();
    for (const AlertReport& alert : report.alerts) {
        alerts.push_back({{"title", alert.title},
                          {"message", alert.message},
                          {"buttons", alert.buttons},
                          {"level", alert.windowLevel}});
    }
    nlohmann::ordered_json state = {{"shown", panel.shown},
                                    {"parked", panel.parked},
                                    {"devicePixelRatio", devicePixelRatio},
                                    {"card", frameJson(panel.card)},
                                    {"board", frameJson(panel.board)},
                                    {"orderCopy", panel.orderCopy},
                                    {"tags", std::move(tags)},
                                    {"selection", panel.picked},
                                    {"actions", buttonsJson(panel.actions)},
                                    {"buttons", buttonsJson(panel.buttons)},
                                    {"tips", panel.tips},
                                    {"browser", browserJson(panel.browser)},
                                    {"running", std::move(running)},
                                    {"floatingButtons", std::move(floating)},
                                    {"selectionItem", std::move(selectionItem)},
                                    {"alerts", std::move(alerts)}};
    return state.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

DebugEndpoint::DebugEndpoint(const Server& server, DesktopServerHost& host)
    : server_(server), host_(host) {
    host_.windows().setPaintedObserver([this](const ui::Window& window) { painted(window); });
}

DebugEndpoint::~DebugEndpoint() {
    host_.windows().setPaintedObserver({});
}

void DebugEndpoint::painted(const ui::Window& window) {
    const GRegionPicker* picker = server_.regionPicker();
    if (picker && &picker->window() == &window) {
        std::weak_ptr<const GRegionPicker> current = picker->weak_from_this();
        if (reportedPicker_.expired() || reportedPicker_.owner_before(current) ||
            current.owner_before(reportedPicker_)) {
            reportedPicker_ = current;
            emitPainted();
        }
        return;
    }
    const GTagFlowContainer* panel = server_.panel();
    if (!panel || !panel->isShown() || panel->keyWindow().get() != &window) return;
    std::weak_ptr<const ui::View> current = panel->weak_from_this();
    const bool reported = !reportedPanel_.expired() && !reportedPanel_.owner_before(current) &&
                          !current.owner_before(reportedPanel_);
    if (reported) return;
    reportedPanel_ = current;
    emitPainted();
}

void DebugEndpoint::emitPainted() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    emit PanelPainted(static_cast<qulonglong>(now.tv_sec) * 1000000000ULL +
                      static_cast<qulonglong>(now.tv_nsec));
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

QString DebugEndpoint::Hotkey() const {
    return QString::fromStdString(hotkey_ ? hotkey_->report() : "none: off");
}

QString DebugEndpoint::ScreenState() const {
    std::string state =
        screenStateJson(reportScreen(host_.application()), host_.desktop().screen().scale);
    nlohmann::ordered_json picker = nullptr;
    if (const GRegionPicker* shown = server_.regionPicker()) {
        picker = frameJson(shown->window().frame());
        picker["rectangle"] = shown->rectangle() ? frameJson(*shown->rectangle()) : nullptr;
    }
    // Added before the closing brace of the object.
    state.insert(state.size() - 1, ",\"regionPicker\":" + picker.dump());
    return QString::fromStdString(state);
}

QByteArray DebugEndpoint::Screenshot() const {
    QImage image;
    if (QScreen* screen = QGuiApplication::primaryScreen()) image = screen->grabWindow(0).toImage();
    const GTagFlowContainer* panel = server_.panel();
    if (image.isNull() && panel && panel->isShown()) {
        desktop::Painter painter;
        ui::Window& window = *panel->keyWindow();
        image = painter.renderWindow(window, window.frame().size, host_.desktop().screen().scale);
    }
    QByteArray png;
    if (image.isNull()) return png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "PNG")) png.clear();
    return png;
}

QString DebugEndpoint::TrayItems() const {
    if (trayMenu_ == nullptr) return QStringLiteral("null");
    nlohmann::ordered_json items = nlohmann::ordered_json::array();
    for (const kernova::TrayMenu::Item& item : trayMenu_->items()) {
        items.push_back({{"name", item.name},
                         {"title", item.title},
                         {"checkable", item.checkable},
                         {"checked", item.checked}});
    }
    nlohmann::ordered_json menu = {{"shown", trayIcon_ != nullptr && trayIcon_->shown()},
                                   {"items", std::move(items)}};
    return QString::fromStdString(menu.dump());
}

bool DebugEndpoint::TrayAction(const QString& name) {
    return trayMenu_ != nullptr && trayMenu_->trigger(name.toStdString());
}

QStringList DebugEndpoint::Launches() const {
    QStringList lines;
    for (const std::string& line : host_.recentLaunches())
        lines.append(QString::fromStdString(line));
    return lines;
}

}  // namespace kernova::daemon
