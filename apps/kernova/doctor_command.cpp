#include "kernova/doctor_command.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <sstream>
#include <thread>

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
// Every wait is short: doctor answers within a few seconds whatever the session.
constexpr int kSelectionWaitMs = 500;  // as long as kernovad waits for a selection
constexpr int kCallWaitMs = 1500;
// A start by activation may take what the deadline leaves, but this much for
// the checks after it.
constexpr int kAfterActivationMs = 1500;
constexpr std::chrono::milliseconds kDeadline{8000};  // for all the checks together
constexpr const char* kBusName = "kernova-doctor";    // doctor's own connection

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
    explicit Doctor(EnvironmentLookup env)
        : env_(std::move(env)), deadline_(std::chrono::steady_clock::now() + kDeadline) {}

    // Runs every check; each finding is kept as soon as it is made.
    void run() {
        step("display", [&] { checkDisplay(); });
        // The files first: they answer even when the bus does not.
        step("autostart", [&] { checkAutostart(); });
        step("preferences", [&] { checkPreferences(); });
        step("ocr-data", [&] { checkOcrData(); });
        step("kernovad", [&] {
            checkKernovad();
            QDBusConnection::disconnectFromBus(QString::fromLatin1(kBusName));
        });
        step("hotkey", [&] { checkHotkey(); });
        step("modules", [&] { checkModules(); });
        if (x_.connection) xcb_disconnect(x_.connection);
        const std::lock_guard lock(mutex_);
        done_ = true;
        finished_.notify_all();
    }

    // Waits for `run` on another thread until the deadline: the findings made
    // by then, and whether it finished (else the last one names the check
    // still waiting).
    std::pair<std::vector<Finding>, bool> wait() {
        std::unique_lock lock(mutex_);
        const bool done = finished_.wait_until(lock, deadline_, [&] { return done_; });
        std::vector<Finding> findings = findings_;
        if (!done)
            findings.push_back({current_,
                                Level::problem,
                                "no answer within " + std::to_string(kDeadline.count() / 1000) +
                                    " s: the check still waits (on the X server or the bus)",
                                {}});
        return {std::move(findings), done};
    }

  private:
    void step(const char* check, const std::function<void()>& body) {
        {
            const std::lock_guard lock(mutex_);
            current_ = check;
        }
        body();
    }
    void add(std::string check, Level level, std::string detail, std::string fix = {}) {
        const std::lock_guard lock(mutex_);
        findings_.push_back({std::move(check), level, std::move(detail), std::move(fix)});
    }
    std::string get(const char* name) const { return env_(name).value_or(""); }
    fs::path settingsFile() const { return Paths{preferencesDirectory(env_), {}}.settingsFile(); }

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
        const std::string compositorSelection = "_NET_WM_CM_S" + std::to_string(screenNumber());
        const auto atoms = desktop::internAtoms<5>(
            x_.connection,
            std::array<std::string_view, 5>{compositorSelection, "CLIPBOARD", "TARGETS",
                                            "KERNOVA_DOCTOR_PRIMARY", "KERNOVA_DOCTOR_CLIPBOARD"});
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
        checkSelection("primary", XCB_ATOM_PRIMARY, atoms[2], atoms[3]);
        checkSelection("clipboard", atoms[1], atoms[2], atoms[4]);
    }

    // The screen of DISPLAY, whose root the connection uses.
    int screenNumber() const {
        int number = 0;
        for (auto it = xcb_setup_roots_iterator(xcb_get_setup(x_.connection)); it.rem;
             xcb_screen_next(&it), ++number)
            if (it.data->root == x_.root) return number;
        return 0;
    }

    std::uint32_t owner(xcb_atom_t atom) {
        xcb_get_selection_owner_reply_t* reply = xcb_get_selection_owner_reply(
            x_.connection, xcb_get_selection_owner(x_.connection, atom), nullptr);
        const std::uint32_t window = reply ? reply->owner : XCB_NONE;
        std::free(reply);
        return window;
    }

    // A selection is readable when its owner answers a request for its
    // TARGETS (the list of formats; never the text) within a second.
    void checkSelection(const char* check, xcb_atom_t selection, xcb_atom_t targets,
                        xcb_atom_t property) {
        const std::uint32_t window = selection == XCB_ATOM_NONE ? XCB_NONE : owner(selection);
        if (window == XCB_NONE) {
            add(check, Level::ok, "readable; empty now (no owner)");
            return;
        }
        const std::string who = "owned by window " + windowId(window);
        switch (askTargets(selection, targets, property)) {
            case Answer::answered:
                add(check, Level::ok, "readable; " + who + ", which answers");
                break;
            case Answer::refused:
                add(check, Level::note, who + ", which offers no formats: no text to read now");
                break;
            case Answer::silent:
                add(check, Level::note,
                    who + ", which does not answer within " + std::to_string(kSelectionWaitMs) +
                        " ms: Kernova reads no text from it until another program selects or "
                        "copies");
                break;
        }
    }

    enum class Answer { answered, refused, silent };
    Answer askTargets(xcb_atom_t selection, xcb_atom_t targets, xcb_atom_t property) {
        xcb_connection_t* c = x_.connection;
        const xcb_window_t window = xcb_generate_id(c);
        xcb_create_window(c, XCB_COPY_FROM_PARENT, window, x_.root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_convert_selection(c, window, selection, targets, property, XCB_CURRENT_TIME);
        xcb_flush(c);
        std::optional<Answer> answer;
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(kSelectionWaitMs);
        while (!answer && xcb_connection_has_error(c) == 0) {
            while (xcb_generic_event_t* event = xcb_poll_for_event(c)) {
                if ((event->response_type & 0x7f) == XCB_SELECTION_NOTIFY) {
                    const auto* notify = reinterpret_cast<xcb_selection_notify_event_t*>(event);
                    if (notify->requestor == window && notify->selection == selection)
                        answer = notify->property == XCB_NONE ? Answer::refused : Answer::answered;
                }
                std::free(event);
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (answer || left.count() <= 0) break;
            pollfd fd{xcb_get_file_descriptor(c), POLLIN, 0};
            ::poll(&fd, 1, static_cast<int>(left.count()));
        }
        xcb_destroy_window(c, window);
        xcb_flush(c);
        return answer.value_or(Answer::silent);
    }

    // The session bus named by DBUS_SESSION_BUS_ADDRESS, else the user's bus
    // socket; never one started for the occasion (libdbus would launch one
    // tied to the X display, which outlives doctor).
    std::optional<QDBusConnection> sessionBus() {
        std::string address = get("DBUS_SESSION_BUS_ADDRESS");
        const std::string runtime = get("XDG_RUNTIME_DIR");
        struct stat info {};
        if (address.empty() && !runtime.empty() && ::stat((runtime + "/bus").c_str(), &info) == 0 &&
            S_ISSOCK(info.st_mode))
            address = "unix:path=" + runtime + "/bus";
        if (address.empty()) {
            add("kernovad", Level::problem,
                "no session bus: DBUS_SESSION_BUS_ADDRESS is unset and there is no "
                "$XDG_RUNTIME_DIR/bus",
                "eval \"$(dbus-launch --sh-syntax)\"");
            return std::nullopt;
        }
        QDBusConnection bus = QDBusConnection::connectToBus(QString::fromStdString(address),
                                                            QString::fromLatin1(kBusName));
        if (!bus.isConnected()) {
            add("kernovad", Level::problem,
                "cannot connect to the session bus (" + bus.lastError().name().toStdString() + ")",
                "eval \"$(dbus-launch --sh-syntax)\"");
            return std::nullopt;
        }
        return bus;
    }

    // A call to the bus or kernovad that starts nothing and waits `timeoutMs` at most.
    static QDBusMessage call(QDBusConnection& bus, const QString& service, const char* path,
                             const char* interface, const char* method,
                             const QVariantList& arguments, int timeoutMs) {
        QDBusMessage message = QDBusMessage::createMethodCall(service, QString::fromLatin1(path),
                                                              QString::fromLatin1(interface),
                                                              QString::fromLatin1(method));
        message.setArguments(arguments);
        message.setAutoStartService(false);
        return bus.call(message, QDBus::Block, timeoutMs);
    }
    static QDBusMessage callBus(QDBusConnection& bus, const char* method,
                                const QVariantList& arguments, int timeoutMs = kCallWaitMs) {
        return call(bus, QStringLiteral("org.freedesktop.DBus"), "/org/freedesktop/DBus",
                    "org.freedesktop.DBus", method, arguments, timeoutMs);
    }

    void checkKernovad() {
        std::optional<QDBusConnection> bus = sessionBus();
        if (!bus) return;
        const QString name = QString::fromLatin1(desktop::kMessagesService);
        const QDBusMessage owned = callBus(*bus, "NameHasOwner", {name});
        if (owned.type() != QDBusMessage::ReplyMessage || owned.arguments().isEmpty()) {
            add("kernovad", Level::problem,
                "the session bus does not answer (" + owned.errorName().toStdString() + ")",
                "eval \"$(dbus-launch --sh-syntax)\"");
            return;
        }
        if (owned.arguments().front().toBool()) {
            kernovadRunning_ = true;
            readStatus(*bus, "running");
            return;
        }
        // Not running: the bus starts it as the first request would, which
        // tests the activation environment.
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline_ - std::chrono::steady_clock::now());
        const int activationWaitMs =
            std::max(500, static_cast<int>(left.count()) - kAfterActivationMs);
        const QDBusMessage reply =
            callBus(*bus, "StartServiceByName", {name, 0u}, activationWaitMs);
        if (reply.type() == QDBusMessage::ReplyMessage) {
            // 1: started now; 2: another client started it meanwhile.
            const bool ours =
                !reply.arguments().isEmpty() && reply.arguments().front().toUInt() == 1;
            kernovadRunning_ = !ours;
            readStatus(*bus, ours ? "was not running; started by bus activation to test it, then "
                                    "stopped again (the next request starts it)"
                                  : "running (started meanwhile)");
            if (ours) stopStarted(*bus, name);
            return;
        }
        const std::string error = reply.errorName().toStdString();
        if (error == "org.freedesktop.DBus.Error.ServiceUnknown") {
            add("kernovad", Level::problem,
                "not running, and the bus has no activation file for it", kInstallFix);
        } else if (error == "org.freedesktop.DBus.Error.Spawn.ChildExited") {
            add("kernovad", Level::problem,
                "not running: started by bus activation, it exited at once (" +
                    reply.errorMessage().toStdString() + ")",
                "kernovad &");
            add("activation-environment", Level::problem,
                "the bus starts kernovad without a usable display: its activation environment "
                "lacks DISPLAY (or XAUTHORITY)",
                "dbus-update-activation-environment --systemd DISPLAY XAUTHORITY");
        } else if (error == "org.freedesktop.DBus.Error.NoReply" ||
                   error == "org.freedesktop.DBus.Error.Timeout") {
            add("kernovad", Level::problem,
                "not running: bus activation did not finish within " +
                    std::to_string(activationWaitMs) + " ms",
                "kernovad &");
        } else {
            add("kernovad", Level::problem,
                "not running: bus activation failed (" + (error.empty() ? "no answer" : error) +
                    ")",
                "kernovad &");
        }
    }

    // Stops the kernovad this check started, so that doctor leaves the
    // session as it found it.
    static void stopStarted(QDBusConnection& bus, const QString& name) {
        const QDBusMessage pid = callBus(bus, "GetConnectionUnixProcessID", {name});
        if (pid.type() != QDBusMessage::ReplyMessage || pid.arguments().isEmpty()) return;
        const auto id = static_cast<pid_t>(pid.arguments().front().toUInt());
        if (id > 0) ::kill(id, SIGTERM);
    }

    void readStatus(QDBusConnection& bus, const std::string& how) {
        const QDBusMessage reply =
            call(bus, QString::fromLatin1(desktop::kMessagesService), desktop::kStatusPath,
                 desktop::kStatusInterface, "Status", {}, kCallWaitMs);
        if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty())
            status_ =
                Json::parse(reply.arguments().front().toString().toStdString(), nullptr, false);
        if (!status_ || !status_->is_object()) {
            status_.reset();
            add("kernovad", Level::note,
                how + "; it gives no status (" +
                    (reply.type() == QDBusMessage::ErrorMessage ? reply.errorName().toStdString()
                                                                : "not an object") +
                    ": an older or busy kernovad)",
                "pkill -x kernovad; kernovad &");
            return;
        }
        const std::string version = status_->value("version", "");
        if (version != KERNOVA_VERSION) {
            add("kernovad", Level::note,
                how + ", version " + version + " (this kernova is " KERNOVA_VERSION ")",
                "pkill -x kernovad; kernovad &");
        } else {
            add("kernovad", Level::ok,
                how + ", version " + version +
                    (status_->value("clipboardWatch", false) ? "; the clipboard watch runs" : ""));
        }
    }

    void checkHotkey() {
        std::string key;
        std::string state;
        if (status_ && status_->contains("hotkey")) {
            key = (*status_)["hotkey"].value("key", "");
            state = (*status_)["hotkey"].value("state", "");
        } else if (kernovadRunning_) {
            add("hotkey", Level::note, "not checked: kernovad runs but gives no status");
            return;
        } else {
            key = SettingsSnapshot(loadDictionary(settingsFile())).get(settings_key::kHotkey);
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
                "kernova set hotkey " + freeKey(key));
        } else if (state == "invalid") {
            add("hotkey", Level::problem, key + " names no key on this keyboard",
                "kernova set hotkey " + freeKey(key));
        } else {
            add("hotkey", Level::note, key + ": not checked: no X display");
        }
    }

    // A key no other program holds now (a brief grab of each), for the fix.
    std::string freeKey(const std::string& taken) const {
        for (const char* key : {"Ctrl+Alt+S", "Ctrl+Alt+K", "Ctrl+Alt+Y", "Meta+Shift+S"}) {
            if (key != taken && desktop::checkHotkey(key, env_) == capture::HotkeyStatus::ok)
                return key;
        }
        return "none";
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
        // The first folder that has the entry decides; a user's copy with
        // Hidden=true turns the autostart off.
        for (const fs::path& dir : dirs) {
            const fs::path entry = dir / "autostart" / kAutostartFile;
            std::error_code error;
            if (!fs::is_regular_file(entry, error)) continue;
            std::ifstream file(entry);
            bool hidden = false;
            for (std::string line; std::getline(file, line);)
                hidden =
                    hidden || line == "Hidden=true" || line == "X-GNOME-Autostart-enabled=false";
            if (hidden) {
                add("autostart", Level::problem, "turned off by " + entry.string(),
                    "rm '" + entry.string() + "'");
            } else {
                add("autostart", Level::ok, "installed: " + entry.string());
            }
            return;
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

    // The languages the "languageType" setting recognises need their data
    // (when images may be recognised here); the others are listed.
    void checkOcrData() {
        const std::optional<std::string> prefix = env_("TESSDATA_PREFIX");
        const fs::path folder = tesseractDataFolder(prefix ? prefix->c_str() : nullptr);
        const SettingsSnapshot settings(loadDictionary(settingsFile()));
        const bool local = settings.get(settings_key::kOcrEngine) != "web";
        const std::vector<std::string> wanted =
            tesseractLanguages(settings.get(settings_key::kLanguageType));
        for (const std::string& language : wanted) {
            if (!findInstalledLanguages(folder, {language}).installed.empty()) {
                add("ocr-data " + language, Level::ok, "installed in " + folder.string());
                continue;
            }
            std::string package = "tesseract-ocr-" + language;
            for (char& c : package)
                if (c == '_') c = '-';
            add("ocr-data " + language, local ? Level::problem : Level::note,
                "not installed in " + folder.string() +
                    (local ? "" : " (images go to the web service: \"ocrEngine\" is web)"),
                "sudo apt-get install " + package);
        }
        std::vector<std::string> others;
        for (const char* type : {"CHN_ENG", "JAP", "KOR", "FRE", "GER", "ITA", "SPA", "POR", "RUS"})
            for (const std::string& language : tesseractLanguages(type))
                if (std::find(wanted.begin(), wanted.end(), language) == wanted.end() &&
                    std::find(others.begin(), others.end(), language) == others.end())
                    others.push_back(language);
        const InstalledLanguages found = findInstalledLanguages(folder, others);
        std::string detail = "other languages installed:";
        for (const std::string& language : found.installed)
            detail += " " + language;
        if (found.installed.empty()) detail += " none";
        if (!found.missing.empty()) {
            detail += "; not installed:";
            for (const std::string& language : found.missing)
                detail += " " + language;
        }
        add("ocr-data others", Level::ok, detail);
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
    std::chrono::steady_clock::time_point deadline_;  // for every check together
    std::mutex mutex_;  // guards the findings, the current check and done_
    std::condition_variable finished_;
    std::vector<Finding> findings_;
    std::string current_;
    bool done_ = false;
    std::string server_;
    desktop::X11Connection x_;
    bool kernovadRunning_ = false;
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

    // The checks run on a thread of their own, so that doctor answers by its
    // deadline even when the X server or the bus never does; a check still
    // waiting then is left behind, and the process ends without unwinding.
    auto doctor = std::make_shared<Doctor>(processEnvironment());
    std::thread([doctor] { doctor->run(); }).detach();
    const auto [findings, finished] = doctor->wait();
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
    const int status = written != 0 ? written : (problems == 0 ? 0 : 1);
    if (!finished) {
        err.flush();
        ::_exit(status);
    }
    return status;
}

}  // namespace kernova::cli
