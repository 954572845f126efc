// kernovad's status on the session bus, always served (not only for tests):
// fun.quorle.kernova.Status at /fun/quorle/kernova/status answers Status()
// with a JSON object of names and outcomes (never user text): the version,
// the display server, the hotkey and its grab, whether the clipboard watch
// runs, and whether the web engine and Tesseract modules are where they
// would be loaded from (they are not loaded). `kernova doctor` reads it.
#pragma once

#include <QObject>
#include <QString>
#include <functional>
#include <string>

#include "base/paths.h"
#include "capture/hotkey.h"
#include "desktop/dbus_names.h"

namespace kernova::daemon {

class StatusEndpoint : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "fun.quorle.kernova.Status")

  public:
    struct Sources {
        EnvironmentLookup env;
        const capture::Hotkey* hotkey = nullptr;  // null without X11
        std::function<bool()> clipboardWatchStarted;
    };
    explicit StatusEndpoint(EnvironmentLookup env) { sources_.env = std::move(env); }
    // The hotkey and the clipboard watch, once they exist. Calls wait on the
    // event loop, so the object can be exported before the bus name is taken.
    void setSources(Sources sources) { sources_ = std::move(sources); }

    // The object Status() answers, as text.
    std::string json() const;

  public slots:
    QString Status() const { return QString::fromStdString(json()); }

  private:
    Sources sources_;
};

}  // namespace kernova::daemon
