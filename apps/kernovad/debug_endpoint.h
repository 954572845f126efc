// fun.quorle.kernova.Debug at /fun/quorle/kernova/debug, for tests and
// troubleshooting. kernovad exports it only when KERNOVA_DEBUG=1 is in its
// environment. It hands out names, sizes and outcomes of the last messages,
// what is on screen and a PNG of it; never a message's text.
#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>
#include <memory>
#include <string>

#include "capture/hotkey.h"
#include "panel/screen_report.h"
#include "server/server.h"
#include "server/tray_menu.h"

namespace kernova::daemon {

inline constexpr const char* kDebugPath = "/fun/quorle/kernova/debug";
inline constexpr const char* kDebugInterface = "fun.quorle.kernova.Debug";
inline constexpr const char* kDebugEnvironment = "KERNOVA_DEBUG";

class DesktopServerHost;
class TrayIcon;

// One line per message: "<name> (<n> keys | no dictionary): <outcome>".
std::string describeRecord(const Server::MessageRecord& record);

// What the process shows, as JSON: {"shown", "parked", "devicePixelRatio",
// "card", "board" (frames {"x", "y", "width", "height"} in screen points),
// "orderCopy", "tags": [{"text", "x", "y", "width", "height", "selected"}],
// "selection": [texts in picking order], "actions" and "buttons": [{"name",
// "x", "y", "width", "height", "hidden"}], "tips": [texts shown], "running":
// [frames], "alerts": [{"title", "message", "buttons", "level"}]}. "selected"
// is the 1-based place in the picking order (0 when not picked). Without a
// panel, "shown" is false and its lists are empty. ScreenState adds
// "regionPicker": its frame and "rectangle" (in its points, null when none
// is drawn), or null.
std::string screenStateJson(const ScreenReport& report, double devicePixelRatio);

class DebugEndpoint : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "fun.quorle.kernova.Debug")
  public:
    // Reports the first painting of each panel and region picker shown (PanelPainted).
    DebugEndpoint(const Server& server, DesktopServerHost& host);
    ~DebugEndpoint() override;
    // The hotkey whose grab Hotkey() reports (none: "none: off").
    void setHotkey(const capture::Hotkey* hotkey) { hotkey_ = hotkey; }
    // The tray menu that TrayItems and TrayAction reach; both must outlive
    // the endpoint.
    void setTray(kernova::TrayMenu* menu, const TrayIcon* icon) {
        trayMenu_ = menu;
        trayIcon_ = icon;
    }

  signals:
    // A newly shown panel (or region picker) is on screen: its first painting has completed, at
    // `monotonicNs` on the system's monotonic clock (CLOCK_MONOTONIC).
    void PanelPainted(qulonglong monotonicNs);

  public slots:
    // The last Server::kRecentMessageLimit messages, oldest first.
    QStringList ReceivedMessages() const;
    // Every message received since the start.
    qulonglong ReceivedCount() const;
    QString ScreenState() const;
    // The hotkey and what came of its grab: "Ctrl+Alt+S: grabbed", "…: refused"
    // (another program holds it), "…: invalid", "…: no display", "none: off".
    QString Hotkey() const;
    // The screen as PNG bytes: what the display shows where it can be read,
    // else the panel's window painted as it stands; empty when neither.
    QByteArray Screenshot() const;
    // The tray menu as JSON: {"shown": in a tray, "items": [{"name", "title",
    // "checkable", "checked"}]}; null without a tray menu.
    QString TrayItems() const;
    // Runs the tray menu's item `name` as a click on it would; false for an
    // unknown name.
    bool TrayAction(const QString& name);
    // The programs started lately (DesktopServerHost::recentLaunches).
    QStringList Launches() const;

  private:
    void painted(const ui::Window& window);
    void emitPainted();

    const Server& server_;
    DesktopServerHost& host_;
    const capture::Hotkey* hotkey_ = nullptr;
    // The panel whose first painting was reported last.
    std::weak_ptr<const ui::View> reportedPanel_;
    // The region picker whose first painting was reported last.
    std::weak_ptr<const GRegionPicker> reportedPicker_;
    kernova::TrayMenu* trayMenu_ = nullptr;
    const TrayIcon* trayIcon_ = nullptr;
};

}  // namespace kernova::daemon
