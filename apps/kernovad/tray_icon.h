// kernovad's tray menu on the desktop: a QSystemTrayIcon (a StatusNotifierItem
// where a host for them runs as kernovad starts, else the X11 system tray)
// with the core TrayMenu's items, made only when the desktop has a tray as
// kernovad starts. Without one nothing is made and nothing else changes; the
// debug interface still reaches the items through the TrayMenu.
#pragma once

#include <QIcon>
#include <QObject>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "base/context.h"
#include "server/tray_menu.h"

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace kernova::daemon {

// The `kernova` command kernovad starts (the preferences): the one beside
// kernovad when installed there, else `kernova` on PATH, else the build tree's.
std::string kernovaCommand();

class TrayIcon final : public QObject {
    Q_OBJECT
  public:
    // `menu` must outlive the icon.
    TrayIcon(Context& context, TrayMenu& menu, QIcon icon);
    ~TrayIcon() override;
    TrayIcon(const TrayIcon&) = delete;
    TrayIcon& operator=(const TrayIcon&) = delete;

    // Whether the icon is in a tray.
    bool shown() const;

  private:
    // The master switch's check mark as the settings file has it.
    void refresh();

    Context& context_;
    TrayMenu& menu_;
    std::unique_ptr<QMenu> qmenu_;
    std::unique_ptr<QSystemTrayIcon> tray_;
    std::map<std::string, QAction*> actions_;
};

}  // namespace kernova::daemon
