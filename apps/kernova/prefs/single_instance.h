// One preferences window per session: the first `kernova prefs` owns the bus
// name below and serves Show; a later one asks it to show a page and exits.
// Also the restart of kernovad that the window offers.
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <functional>

namespace kernova::prefs {

class PreferencesWindow;

inline constexpr const char* kPreferencesService = "fun.quorle.kernova.preferences";
inline constexpr const char* kPreferencesPath = "/fun/quorle/kernova/preferences";
inline constexpr const char* kPreferencesInterface = "fun.quorle.kernova.Preferences";

// Serves Show(url) for `window` on the bus path above.
class PreferencesService final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "fun.quorle.kernova.Preferences")
  public:
    explicit PreferencesService(PreferencesWindow& window) : window_(window) {}
    // Serves Show on `bus` (after claimInstance gave `first`).
    void serve(QDBusConnection bus);

  public slots:
    // Raises the window at the page `url` names ("kernova-prefs:/Translation").
    Q_SCRIPTABLE void Show(const QString& url);

  private:
    PreferencesWindow& window_;
};

enum class InstanceClaim { first, handedOver, failed };

// Claims the name on `bus`; when another process holds it, asks that one to
// show `url` instead. Without a bus the window runs alone (`first`). Calls
// wait until the claimer's event loop runs, so it serves them in time.
InstanceClaim claimInstance(QDBusConnection bus, const QString& url);

// Posts "fun.quorle.kernova/ReloadPreferences" on `bus` and waits until it has
// left; false when the bus cannot be reached.
bool announceReload(QDBusConnection bus);

// Stops kernovad (SIGTERM to the owner of its bus name) and starts it again by
// bus activation once the name is free; `done` gets a sentence to show.
void restartKernovad(QDBusConnection bus, std::function<void(QString)> done);

}  // namespace kernova::prefs
