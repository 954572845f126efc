#include "kernovad/ocr_entry.h"

#include <QDir>
#include <QSaveFile>
#include <fstream>
#include <sstream>
#include <system_error>

#include "server/settings.h"

namespace kernova::daemon {
namespace {

constexpr std::string_view kCopyMarker =
    "# Written by kernovad for the setting ocrMenuName; removed when it is empty.";

std::optional<std::string> readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad()) return std::nullopt;
    return text.str();
}

// A value of a desktop file: one line, backslashes escaped, a leading blank
// kept as "\s".
std::string escapedValue(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '\\') {
            out += "\\\\";
        } else if (static_cast<unsigned char>(c) < 0x20 || c == '\x7f') {
            out += ' ';
        } else {
            out += c;
        }
    }
    if (!out.empty() && out.front() == ' ') out.replace(0, 1, "\\s");
    return out;
}

}  // namespace

std::filesystem::path userApplicationsDirectory(const EnvironmentLookup& env) {
    std::optional<std::string> dataHome = env("XDG_DATA_HOME");
    if (dataHome && std::filesystem::path(*dataHome).is_absolute())
        return std::filesystem::path(*dataHome) / "applications";
    return std::filesystem::path(env("HOME").value_or("/")) / ".local/share/applications";
}

std::string renamedOcrEntry(const std::string& installed, const std::string& name) {
    std::string out = std::string(kCopyMarker) + '\n';
    std::istringstream lines(installed);
    std::string line;
    bool mainGroup = false;
    while (std::getline(lines, line)) {
        if (line.starts_with('[')) mainGroup = line.starts_with("[Desktop Entry]");
        if (mainGroup && line.starts_with("Name[")) continue;
        if (mainGroup && line.starts_with("Name=")) line = "Name=" + escapedValue(name);
        out += line;
        out += '\n';
    }
    return out;
}

OcrEntryName::OcrEntryName(Context& context, std::filesystem::path installedEntry,
                           std::filesystem::path userFolder)
    : context_(context),
      installedEntry_(std::move(installedEntry)),
      userEntry_(std::move(userFolder) / kOcrEntryFileName),
      receiver_(std::make_unique<QObject>()) {
    update();
    context_.systemNotifications().observe(kReloadPreferencesNotification, this,
                                           [this] { update(); });
    // Settings written without the notification: the folder changes.
    const QString folder = QString::fromStdString(context_.paths().preferences.string());
    QDir().mkpath(folder);
    watcher_ = std::make_unique<QFileSystemWatcher>(QStringList{folder});
    QObject::connect(watcher_.get(), &QFileSystemWatcher::directoryChanged, receiver_.get(),
                     [this] { update(); });
}

OcrEntryName::~OcrEntryName() {
    context_.systemNotifications().removeObservers(this);
}

void OcrEntryName::update() {
    const std::string name =
        readSettings(context_).stored(settings_key::kOcrMenuName).stringValue().value_or("");
    const std::optional<std::string> current = readFile(userEntry_);
    if (name.empty()) {
        // Only kernovad's own copy goes; a file the user put there stays.
        if (!current || !current->starts_with(kCopyMarker)) return;
        std::error_code error;
        std::filesystem::remove(userEntry_, error);
        if (error)
            context_.log().warn("ocr-entry", "cannot remove the renamed entry: " + error.message());
        else
            context_.log().info("ocr-entry", "renamed entry removed");
        return;
    }
    const std::optional<std::string> installed = readFile(installedEntry_);
    if (!installed) {
        context_.log().warn("ocr-entry", "the installed entry " + installedEntry_.string() +
                                             " cannot be read; it keeps its name");
        return;
    }
    const std::string wanted = renamedOcrEntry(*installed, name);
    if (current == wanted) return;
    QDir().mkpath(QString::fromStdString(userEntry_.parent_path().string()));
    QSaveFile file(QString::fromStdString(userEntry_.string()));
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(wanted.data(), static_cast<qint64>(wanted.size())) !=
            static_cast<qint64>(wanted.size()) ||
        !file.commit()) {
        context_.log().warn("ocr-entry",
                            "cannot write the renamed entry: " + file.errorString().toStdString());
        return;
    }
    context_.log().info("ocr-entry",
                        "renamed entry written (" + std::to_string(name.size()) + "-byte name)");
}

}  // namespace kernova::daemon
