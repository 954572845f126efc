#include "kernovad/tray_icon.h"

#include <unistd.h>

#include <QAction>
#include <QMenu>
#include <QStandardPaths>
#include <QSystemTrayIcon>
#include <system_error>

#include "server/settings.h"

namespace kernova::daemon {

std::string kernovaCommand() {
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) {
        const std::filesystem::path beside = self.parent_path() / "kernova";
        if (::access(beside.c_str(), X_OK) == 0) return beside.string();
    }
    if (!QStandardPaths::findExecutable(QStringLiteral("kernova")).isEmpty()) return "kernova";
    return KERNOVA_BUILD_CLI_PATH;
}

TrayIcon::TrayIcon(Context& context, TrayMenu& menu, QIcon icon) : context_(context), menu_(menu) {
    // Without a tray nothing is made: the menu and the icon would cost the
    // waiting process about 1 MB for nothing.
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        context_.log().info("tray", "the desktop has no tray");
        return;
    }
    qmenu_ = std::make_unique<QMenu>();
    for (const TrayMenu::Item& item : menu_.items()) {
        if (item.name == TrayMenu::kQuit) qmenu_->addSeparator();
        QAction* action = qmenu_->addAction(QString::fromStdString(item.title));
        action->setCheckable(item.checkable);
        action->setChecked(item.checked);
        connect(action, &QAction::triggered, this, [this, name = item.name] {
            menu_.trigger(name);
            refresh();
        });
        actions_[item.name] = action;
        if (item.name == TrayMenu::kEnabled) qmenu_->addSeparator();
    }
    connect(qmenu_.get(), &QMenu::aboutToShow, this, [this] { refresh(); });
    context_.systemNotifications().observe(kReloadPreferencesNotification, this,
                                           [this] { refresh(); });
    tray_ = std::make_unique<QSystemTrayIcon>(icon);
    tray_->setToolTip(QStringLiteral("Kernova"));
    tray_->setContextMenu(qmenu_.get());
    tray_->show();
    context_.log().info("tray", "the tray icon is shown");
}

TrayIcon::~TrayIcon() {
    context_.systemNotifications().removeObservers(this);
}

bool TrayIcon::shown() const {
    return tray_ && tray_->isVisible();
}

void TrayIcon::refresh() {
    for (const TrayMenu::Item& item : menu_.items()) {
        auto found = actions_.find(item.name);
        if (found != actions_.end() && item.checkable) found->second->setChecked(item.checked);
    }
}

}  // namespace kernova::daemon
