#include "desktop/ui/desktop_services.h"

#include <canberra.h>
#include <dlfcn.h>

#include <QClipboard>
#include <QDesktopServices>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>
#include <QObject>
#include <QPalette>
#include <QProcess>
#include <QStandardPaths>
#include <QUrl>

#include "desktop/ui/qt_convert.h"
#include "desktop/ui/x11_typing.h"

namespace kernova::desktop {

namespace {

QString schemeOf(const std::string& url) {
    QUrl parsed(toQString(url));
    return parsed.isValid() ? parsed.scheme().toLower() : QString();
}

// True when a line of `file` names "x-scheme-handler/<scheme>" with a handler.
bool fileHandlesScheme(const QString& path, const QString& scheme) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) return false;
    const QByteArray key = "x-scheme-handler/" + scheme.toUtf8() + "=";
    while (!file.atEnd()) {
        QByteArray line = file.readLine().trimmed();
        if (line.startsWith(key) && line.size() > key.size()) return true;
    }
    return false;
}

}  // namespace

bool DesktopUrlOpener::openURL(const std::string& url) {
    if (!canOpenURL(url)) return false;
    return QDesktopServices::openUrl(QUrl(toQString(url)));
}

bool DesktopUrlOpener::canOpenURL(const std::string& url) const {
    QString scheme = schemeOf(url);
    if (scheme.isEmpty()) return false;
    if (scheme == "http" || scheme == "https" || scheme == "mailto" || scheme == "file") {
        return true;
    }
    QStringList files;
    for (const QString& dir :
         QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation)) {
        files << dir + "/mimeapps.list";
    }
    for (const QString& dir :
         QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation)) {
        files << dir + "/applications/mimeapps.list" << dir + "/applications/mimeinfo.cache";
    }
    for (const QString& file : files) {
        if (fileHandlesScheme(file, scheme)) return true;
    }
    return false;
}

DesktopPasteboard::DesktopPasteboard(Context& context)
    : context_(context), receiver_(std::make_unique<QObject>()) {
    QObject::connect(QGuiApplication::clipboard(), &QClipboard::changed, receiver_.get(),
                     [this](QClipboard::Mode mode) {
                         if (mode == QClipboard::Clipboard) changed();
                     });
}

DesktopPasteboard::~DesktopPasteboard() = default;

void DesktopPasteboard::changed() {
    ++changeCount_;
    Context& context = context_;
    context.runLoop().post(
        [&context] { context.notifications().post(ui::kPasteboardChangedNotification); });
}

std::optional<std::string> DesktopPasteboard::string() const {
    const QMimeData* data = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
    if (!data || !data->hasText()) return std::nullopt;
    return fromQString(data->text());
}

void DesktopPasteboard::setString(const std::string& text) {
    std::uint64_t before = changeCount_;
    QGuiApplication::clipboard()->setText(toQString(text), QClipboard::Clipboard);
    // Some clipboards report their own writes later or not at all; a write
    // counts once either way.
    if (changeCount_ == before) changed();
}

bool DesktopPasteboard::hasPrimarySelection() const {
    return QGuiApplication::clipboard()->supportsSelection();
}

std::optional<std::string> DesktopPasteboard::primarySelection() const {
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (!clipboard->supportsSelection()) return std::nullopt;
    const QMimeData* data = clipboard->mimeData(QClipboard::Selection);
    if (!data || !data->hasText()) return std::nullopt;
    return fromQString(data->text());
}

bool PaletteAppearance::isDarkMode() const {
    QPalette palette = QGuiApplication::palette();
    return palette.color(QPalette::Window).lightness() <
           palette.color(QPalette::WindowText).lightness();
}

struct DesktopHaptic::Canberra {
    using Create = int (*)(ca_context**);
    using Destroy = int (*)(ca_context*);
    using Open = int (*)(ca_context*);
    using ChangeProps = int (*)(ca_context*, ...);
    using Play = int (*)(ca_context*, std::uint32_t, ...);

    void* library = nullptr;
    ca_context* context = nullptr;
    Destroy destroy = nullptr;
    Play play = nullptr;

    ~Canberra() {
        if (context && destroy) destroy(context);
        if (library) ::dlclose(library);
    }
};

DesktopHaptic::DesktopHaptic(bool sound, const Logger* log) : sound_(sound), log_(log) {}

DesktopHaptic::~DesktopHaptic() = default;

void DesktopHaptic::silence(const char* why) {
    silenced_ = true;
    canberra_.reset();
    if (log_) log_->debug("sound", why);
}

bool DesktopHaptic::open() {
    canberra_ = std::make_unique<Canberra>();
    canberra_->library = ::dlopen("libcanberra.so.0", RTLD_NOW | RTLD_LOCAL);
    if (!canberra_->library) {
        silence("no libcanberra: the click sound is off");
        return false;
    }
    auto symbol = [this](const char* name) { return ::dlsym(canberra_->library, name); };
    auto create = reinterpret_cast<Canberra::Create>(symbol("ca_context_create"));
    auto openContext = reinterpret_cast<Canberra::Open>(symbol("ca_context_open"));
    auto changeProps = reinterpret_cast<Canberra::ChangeProps>(symbol("ca_context_change_props"));
    canberra_->destroy = reinterpret_cast<Canberra::Destroy>(symbol("ca_context_destroy"));
    canberra_->play = reinterpret_cast<Canberra::Play>(symbol("ca_context_play"));
    if (!create || !openContext || !canberra_->destroy || !canberra_->play ||
        create(&canberra_->context) != CA_SUCCESS) {
        silence("libcanberra is unusable: the click sound is off");
        return false;
    }
    if (changeProps) {
        changeProps(canberra_->context, CA_PROP_APPLICATION_NAME, "Kernova", CA_PROP_APPLICATION_ID,
                    "fun.quorle.kernova", static_cast<const char*>(nullptr));
    }
    // Opened now rather than by the first play, so that a missing sound device
    // shows at once.
    if (openContext(canberra_->context) != CA_SUCCESS) {
        silence("no sound device: the click sound is off");
        return false;
    }
    return true;
}

void DesktopHaptic::playSystemSound(std::uint32_t soundId) {
    (void)soundId;
    ++plays_;
    if (isSilent()) return;
    if (!tried_) {
        tried_ = true;
        if (!open()) return;
    }
    int result =
        canberra_->play(canberra_->context, 0, CA_PROP_EVENT_ID, "button-pressed",
                        CA_PROP_EVENT_DESCRIPTION, "Click", static_cast<const char*>(nullptr));
    if (result != CA_SUCCESS) silence("the click sound cannot play: it is off");
}

void CommandKeyboard::insertText(const std::string& text) {
    if (text.empty()) return;
    if (program_.isEmpty()) {
        if (log_) log_->info("keyboard", "no typing helper on this desktop; text dropped");
        return;
    }
    QStringList arguments = arguments_;
    arguments << toQString(text);
    if (!QProcess::startDetached(program_, arguments)) {
        if (log_) log_->warn("keyboard", "could not start " + fromQString(program_));
    }
}

std::unique_ptr<ui::Keyboard> makeKeyboard(const QString& platformName, const Logger* log) {
    if (platformName == "xcb") return std::make_unique<X11Keyboard>(log);
    QString program;
    QStringList arguments;
    if (platformName.startsWith("wayland")) {
        program = QStandardPaths::findExecutable("wtype");
        if (!program.isEmpty()) arguments = QStringList{"--"};
    }
    auto keyboard = std::make_unique<CommandKeyboard>(program, arguments);
    keyboard->setLog(log);
    return keyboard;
}

}  // namespace kernova::desktop
