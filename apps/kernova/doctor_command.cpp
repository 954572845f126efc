#include "kernova/doctor_command.h"

#include <unistd.h>
#include <xcb/xcb.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <sstream>

#include "base/log.h"
#include "base/paths.h"
#include "base/plist.h"
#include "capture/hotkey.h"
#include "desktop/dbus_messaging.h"
#include "desktop/dbus_names.h"
#include "desktop/display_server.h"
#include "desktop/ocr/tesseract_engine.h"
#include "desktop/ui/web_engine.h"
#include "desktop/x11_connection.h"
#include "desktop/x11_hotkey.h"
#include "kernova/cli.h"
#include "server/settings.h"
#include "server/settings_keys.h"
#include "share/ocr_engine.h"

namespace kernova::cli {

namespace {

namespace fs = std::filesystem;
using Level = Finding::Level;
using Json = nlohmann::ordered_json;

constexpr std::string_view kDoctorUsage = "usage: kernova doctor [--json]";
constexpr const char* kInstallFix =
    "cmake --build build/desktop && sudo cmake --install build/desktop";
constexpr const char* kAutostartFile = "kernova-autostart.desktop";

std::string levelName(Level level) {
    switch (level) {
        case Level::ok:
            return "ok";
        case Level::note:
            return "note";
        case Level::problem:
            break;
    }
    return "problem";
}

std::string windowId(std::uint32_t window) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", window);
    return text;
}

class Doctor {
  public:
    explicit Doctor(EnvironmentLookup env) : env_(std::move(env)) {}

    std::vector<Finding> run() {
        checkDisplay();
        checkKernovad();
        checkHotkey();
        checkAutostart();
        checkPreferences();
        checkOcrData();
        checkModules();
        if (x_.connection) xcb_disconnect(x_.connection);
        return std::move(findings_);
    }

  private:
    void add(std::string check, Level level, std::string detail, std::string fix = {}) {
        findings_.push_back({std::move(check), level, std::move(detail), std::move(fix)});
    }
    std::string get(const char* name) const { return env_(name).value_or(""); }

    void checkDisplay() {
        server_ = desktop::displayServer(env_);
        if (server_ == "none") {
            add("display", Level::problem, "no display: DISPLAY and WAYLAND_DISPLAY are unset",
                "export DISPLAY=:0");
        } else if (server_ == "wayland") {
            add("display", Level::problem, "Wayland without XWayland: kernovad needs an X display",
                "sudo apt-get install xwayland");
        } else {
            const Logger quiet("kernova", LogLevel::error);
            x_ = desktop::openX11Connection(env_, quiet, "doctor", "no X checks");
            if (x_.connection == nullptr) {
                add("display", Level::problem,
                    "cannot open the X display \"" + get("DISPLAY") + "\"",
                    "export DISPLAY=:0 XAUTHORITY=$HOME/.Xauthority");
            } else if (server_ == "xwayland") {
                add("display", Level::ok,
                    "Wayland with XWayland (DISPLAY " + get("DISPLAY") +
                        "): the hotkey reaches X11 windows only");
            } else {
                add("display", Level::ok, "X11 (DISPLAY " + get("DISPLAY") + ")");
            }
        }
        if (x_.connection == nullptr) {
            for (const char* check : {"compositor", "primary", "clipboard"})
                add(check, Level::note, "not checked: no X display");
            return;
        }
        const auto atoms = desktop::internAtoms<2>(
            x_.connection, std::array<std::string_view, 2>{"_NET_WM_CM_S0", "CLIPBOARD"});
        const std::uint32_t compositor = owner(atoms[0]);
        if (compositor != XCB_NONE) {
            add("compositor", Level::ok,
                "a compositing manager runs (" + windowId(compositor) + ")");
        } else {
            add("compositor", Level::note,
                "no compositing manager: the panel paints a copy of the screen beneath its "
                "backdrop",
                "sudo apt-get install picom && picom -b");
        }
        auto selection = [&](const char* check, xcb_atom_t atom) {
            const std::uint32_t window = atom == XCB_ATOM_NONE ? XCB_NONE : owner(atom);
            add(check, Level::ok,
                window == XCB_NONE ? "empty (no owner)" : "owned by window " + windowId(window));
        };
        selection("primary", XCB_ATOM_PRIMARY);
        selection("clipboard", atoms[1]);
    }

    std::uint32_t owner(xcb_atom_t atom) {
        xcb_get_selection_owner_reply_t* reply = xcb_get_selection_owner_reply(
            x_.connection, xcb_get_selection_owner(x_.connection, atom), nullptr);
        const std::uint32_t window = reply ? reply->owner : XCB_NONE;
        std::free(reply);
        return window;
    }

    void checkKernovad() {
        QDBusConnection bus = desktop::sessionConnection();
        if (!bus.isConnected()) {
            add("kernovad", Level::problem, "no session bus",
                "eval \"$(dbus-launch --sh-syntax)\"");
            return;
        }
        const QString name = QString::fromLatin1(desktop::kMessagesService);
        if (bus.interface()->isServiceRegistered(name)) {
            readStatus(bus, "running");
            return;
        }
        QDBusMessage start = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("StartServiceByName"));
        start << name << 0u;
        const QDBusMessage reply = bus.call(start, QDBus::Block, 15000);
        if (reply.type() == QDBusMessage::ReplyMessage) {
            readStatus(bus, "was not running; started by bus activation");
            return;
        }
        const std::string error = reply.errorName().toStdString();
        if (error == "org.freedesktop.DBus.Error.ServiceUnknown") {
            add("kernovad", Level::problem,
                "not running, and the bus has no activation file for it", kInstallFix);
        } else if (error.starts_with("org.freedesktop.DBus.Error.Spawn") && server_ != "none" &&
                   server_ != "wayland") {
            add("kernovad", Level::problem, "not running: bus activation failed (" + error + ")",
                "kernovad &");
            add("activation-environment", Level::problem,
                "kernovad started by the bus exits at once: the bus's activation environment "
                "lacks DISPLAY",
                "dbus-update-activation-environment --systemd DISPLAY XAUTHORITY");
        } else {
            add("kernovad", Level::problem,
                "not running: bus activation failed (" + (error.empty() ? "no answer" : error) +
                    ")",
                server_ == "none" || server_ == "wayland" ? "" : "kernovad &");
        }
    }

    void readStatus(QDBusConnection& bus, const std::string& how) {
        const QDBusMessage reply =
            bus.call(QDBusMessage::createMethodCall(QString::fromLatin1(desktop::kMessagesService),
                                                    QString::fromLatin1(desktop::kStatusPath),
                                                    QString::fromLatin1(desktop::kStatusInterface),
                                                    QStringLiteral("Status")),
                     QDBus::Block, 5000);
        if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty())
            status_ =
                Json::parse(reply.arguments().front().toString().toStdString(), nullptr, false);
        if (!status_ || !status_->is_object()) {
            status_.reset();
            add("kernovad", Level::note, how + "; it gives no status (an older kernovad?)",
                "pkill -x kernovad; kernovad &");
            return;
        }
        const std::string version = status_->value("version", "");
        if (version != KERNOVA_VERSION) {
            add("kernovad", Level::note,
                how + ", version " + version + " (this kernova is " KERNOVA_VERSION ")",
                "pkill -x kernovad; kernovad &");
        } else {
            add("kernovad", Level::ok, how + ", version " + version);
        }
    }

    void checkHotkey() {
        std::string key;
        std::string state;
        if (status_ && status_->contains("hotkey")) {
            key = (*status_)["hotkey"].value("key", "");
            state = (*status_)["hotkey"].value("state", "");
        } else {
            const Paths paths{preferencesDirectory(env_), {}};
            key = SettingsSnapshot(loadDictionary(paths.settingsFile())).get(settings_key::kHotkey);
            if (key.empty()) key = "Ctrl+Alt+S";
            std::string lower;
            for (char c : key)
                lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            state = lower == capture::kNoHotkey
                        ? "off"
                        : std::string(capture::hotkeyStatusName(desktop::checkHotkey(key, env_)));
            if (state == "grabbed") state = "free";
        }
        if (state == "grabbed" || state == "free") {
            add("hotkey", Level::ok,
                key + (state == "free" ? ": free to grab (kernovad not running)" : ": grabbed"));
        } else if (state == "off") {
            add("hotkey", Level::ok, "none: off (bind `kernova splode --primary` in the desktop)");
        } else if (state == "refused") {
            add("hotkey", Level::problem, key + " is held by another program",
                "kernova set hotkey Meta+K");
        } else if (state == "invalid") {
            add("hotkey", Level::problem, key + " names no key on this keyboard",
                "kernova set hotkey Ctrl+Alt+S");
        } else {
            add("hotkey", Level::note, key + ": not checked: no X display");
        }
    }

    void checkAutostart() {
        std::vector<fs::path> dirs;
        const std::string configHome = get("XDG_CONFIG_HOME");
        dirs.push_back(configHome.empty() ? fs::path(get("HOME")) / ".config"
                                          : fs::path(configHome));
        std::string configDirs = get("XDG_CONFIG_DIRS");
        if (configDirs.empty()) configDirs = "/etc/xdg";
        std::istringstream split(configDirs);
        for (std::string dir; std::getline(split, dir, ':');)
            if (!dir.empty()) dirs.emplace_back(dir);
        for (const fs::path& dir : dirs) {
            const fs::path entry = dir / "autostart" / kAutostartFile;
            std::error_code error;
            if (fs::is_regular_file(entry, error)) {
                add("autostart", Level::ok, "installed: " + entry.string());
                return;
            }
        }
        add("autostart", Level::problem,
            "no autostart entry: kernovad does not start with the session",
            "mkdir -p ~/.config/autostart && printf '[Desktop Entry]\\nType=Application\\n"
            "Name=Kernova\\nExec=kernovad --autostart\\nNoDisplay=true\\n' > "
            "~/.config/autostart/kernova-autostart.desktop");
    }

    void checkPreferences() {
        const fs::path dir = preferencesDirectory(env_);
        std::error_code error;
        if (!fs::is_directory(dir, error)) {
            add("preferences", Level::ok, dir.string() + " is not made yet (no setting saved)");
            return;
        }
        if (::access(dir.c_str(), W_OK | X_OK) != 0) {
            add("preferences", Level::problem, dir.string() + " is not writable",
                "chmod u+rwx '" + dir.string() + "'");
            return;
        }
        std::vector<std::string> bad;
        for (const fs::directory_entry& entry : fs::directory_iterator(dir, error)) {
            const fs::path& file = entry.path();
            if (file.extension() != ".plist" || !entry.is_regular_file(error)) continue;
            const std::string name = file.filename().string();
            if (::access(file.c_str(), R_OK) != 0) {
                add("preferences", Level::problem, name + " is not readable",
                    "chmod u+rw '" + file.string() + "'");
                bad.push_back(name);
            } else if (loadPropertyList(file).isAbsent()) {
                add("preferences", Level::problem, name + " is malformed",
                    "mv '" + file.string() + "' '" + file.string() + ".bad'");
                bad.push_back(name);
            }
        }
        if (bad.empty())
            add("preferences", Level::ok, dir.string() + " is writable, its files readable");
    }

    void checkOcrData() {
        const std::optional<std::string> prefix = env_("TESSDATA_PREFIX");
        const fs::path folder = tesseractDataFolder(prefix ? prefix->c_str() : nullptr);
        for (const std::string language : {"eng", "chi_sim", "chi_tra", "jpn", "kor"}) {
            if (!findInstalledLanguages(folder, {language}).installed.empty()) {
                add("ocr-data " + language, Level::ok, "installed in " + folder.string());
                continue;
            }
            std::string package = "tesseract-ocr-" + language;
            for (char& c : package)
                if (c == '_') c = '-';
            add("ocr-data " + language, Level::note, "not installed in " + folder.string(),
                "sudo apt-get install " + package);
        }
    }

    void checkModules() {
        std::vector<std::string> ocr = desktop::TesseractEngine::moduleCandidates();
        std::vector<std::string> web;
        for (const std::string& path : ocr)
            web.push_back((fs::path(path).parent_path() / desktop::kWebEngineModuleFile).string());
        auto module = [&](const char* check, const char* key, const std::vector<std::string>& paths,
                          const std::string& without) {
            std::string found;
            if (status_ && status_->contains(key)) {
                if ((*status_)[key].is_string()) found = (*status_)[key].get<std::string>();
            } else {
                for (const std::string& path : paths) {
                    std::error_code error;
                    if (fs::is_regular_file(path, error)) {
                        found = path;
                        break;
                    }
                }
            }
            if (found.empty())
                add(check, Level::problem, "not found: " + without, kInstallFix);
            else
                add(check, Level::ok, found);
        };
        module("web-engine-module", "webEngineModule", web, "web views stay blank");
        module("ocr-module", "ocrModule", ocr, "images recognised here come out empty");
    }

    EnvironmentLookup env_;
    std::vector<Finding> findings_;
    std::string server_;
    desktop::X11Connection x_;
    std::optional<Json> status_;
};

}  // namespace

int runDoctor(std::span<const std::string> args, std::istream&, std::ostream& out,
              std::ostream& err) {
    bool json = false;
    for (const std::string& arg : args) {
        if (arg == "--json") {
            json = true;
        } else if (arg == "--help" || arg == "-h") {
            out << kDoctorUsage << '\n';
            return finishOutput(out, err, "doctor");
        } else {
            err << "kernova doctor: unknown argument \"" << arg << "\"\n" << kDoctorUsage << '\n';
            return 2;
        }
    }
    // QtDBus wants an application object; commands run without one.
    int argc = 1;
    char arg0[] = "kernova";
    char* argv[] = {arg0, nullptr};
    std::optional<QCoreApplication> app;
    if (QCoreApplication::instance() == nullptr) app.emplace(argc, argv);

    const std::vector<Finding> findings = Doctor(processEnvironment()).run();
    std::size_t problems = 0;
    for (const Finding& f : findings)
        problems += f.level == Level::problem ? 1 : 0;
    if (json) {
        Json list = Json::array();
        for (const Finding& f : findings) {
            Json item = {{"check", f.check}, {"level", levelName(f.level)}, {"detail", f.detail}};
            if (!f.fix.empty()) item["fix"] = f.fix;
            list.push_back(std::move(item));
        }
        out << Json{{"version", KERNOVA_VERSION}, {"ok", problems == 0}, {"findings", list}}.dump(2)
            << '\n';
    } else {
        for (const Finding& f : findings) {
            std::string level = levelName(f.level);
            level.resize(9, ' ');
            out << level << f.check << ": " << f.detail << '\n';
            if (!f.fix.empty()) out << "         fix: " << f.fix << '\n';
        }
        out << (problems == 0
                    ? std::string("all is well")
                    : std::to_string(problems) + (problems == 1 ? " problem" : " problems"))
            << '\n';
    }
    const int written = finishOutput(out, err, "doctor");
    return written != 0 ? written : (problems == 0 ? 0 : 1);
}

}  // namespace kernova::cli
