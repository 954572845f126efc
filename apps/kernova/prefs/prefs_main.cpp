// kernova-prefs: the preferences window, started by `kernova prefs` (which
// passes its arguments on) so that the command's other subcommands never load
// Qt Widgets.
#include <QApplication>
#include <QString>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>

#include "base/paths.h"
#include "desktop/desktop_paths.h"
#include "desktop/x11_hotkey.h"
#include "kernova/prefs/autostart.h"
#include "kernova/prefs/preferences_window.h"
#include "kernova/prefs/single_instance.h"
#include "server/message_names.h"

namespace {

constexpr const char* kUsage = "usage: kernova prefs [--first-run] [kernova-prefs:/PAGE]";

std::filesystem::path programDirectory() {
    std::error_code ec;
    return std::filesystem::read_symlink("/proc/self/exe", ec).parent_path();
}

}  // namespace

int main(int argc, char** argv) {
    bool firstRun = false;
    QString url;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::cout << kUsage
                      << "\n\nOpens the preferences window at PAGE (General, Panel, "
                         "Actions, ...), or raises the open one.\n";
            return 0;
        }
        if (arg == "--first-run") {
            firstRun = true;
        } else if (!arg.starts_with("-") && url.isEmpty()) {
            url = QString::fromUtf8(arg.c_str());
        } else {
            std::cerr << "kernova prefs: unexpected argument " << arg << '\n' << kUsage << '\n';
            return 2;
        }
    }
    if (url.isEmpty())
        url = QString::fromUtf8(kernova::kPreferencesRootUrl.data(),
                                kernova::kPreferencesRootUrl.size());

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("kernova-prefs"));
    QApplication::setDesktopFileName(QStringLiteral("fun.quorle.kernova.preferences"));

    const kernova::EnvironmentLookup env = kernova::processEnvironment();
    kernova::prefs::WindowOptions options;
    // Installed in <libexecdir>/kernova: the data folder is found as for a
    // program in <libexecdir>.
    options.paths = kernova::Paths{
        kernova::preferencesDirectory(env),
        kernova::bundleDirectory(env, kernova::desktop::dataDirectory(programDirectory() / ".."))};
    options.environment = env;
    options.firstRun = firstRun;
    options.kernovad = kernova::prefs::findKernovad(programDirectory(), KERNOVA_BIN_FROM_PREFS,
                                                    KERNOVA_BUILD_KERNOVAD);
    options.checkHotkey = [env](const std::string& sequence) {
        return kernova::desktop::checkHotkey(sequence, env);
    };
    QDBusConnection bus = QDBusConnection::sessionBus();
    options.announceReload = [bus] {
        if (!kernova::prefs::announceReload(bus))
            std::cerr << "kernova prefs: saved, but kernovad cannot be told (no session bus)\n";
    };
    options.restartDaemon = [bus](std::function<void(QString)> done) {
        kernova::prefs::restartKernovad(bus, std::move(done));
    };

    switch (kernova::prefs::claimInstance(bus, url)) {
        case kernova::prefs::InstanceClaim::handedOver:
            return 0;
        case kernova::prefs::InstanceClaim::failed:
            std::cerr << "kernova prefs: another preferences window holds "
                      << kernova::prefs::kPreferencesService << " but does not answer\n";
            return 1;
        case kernova::prefs::InstanceClaim::first:
            break;
    }
    kernova::prefs::PreferencesWindow window(std::move(options));
    kernova::prefs::PreferencesService service(window);
    service.serve(bus);
    service.Show(url);
    return app.exec();
}
