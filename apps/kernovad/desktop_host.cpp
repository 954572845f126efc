#include "kernovad/desktop_host.h"

#include <unistd.h>
#include <xcb/xcb.h>

#include <QClipboard>
#include <QCursor>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QGuiApplication>
#include <QProcess>
#include <QSaveFile>
#include <QScreen>
#include <QStandardPaths>
#include <QTimer>
#include <QUrl>
#include <algorithm>
#include <filesystem>

#include "base/desktop_entries.h"
#include "desktop/ui/presenter.h"
#include "desktop/ui/qt_convert.h"
#include "desktop/ui/qt_image_codec.h"
#include "desktop/ui/screen_behind.h"
#include "desktop/ui/window_flags.h"
#include "desktop/ui/work_area.h"
#include "kernovad/tray_icon.h"

namespace kernova::daemon {
namespace {

Monitor monitorOf(const QScreen& screen) {
    const QRect r = screen.geometry();
    const ui::Rect frame(r.x(), r.y(), r.width(), r.height());
    return Monitor{desktop::fromQString(screen.name()), frame, desktop::workAreaOf(screen),
                   screen.devicePixelRatio()};
}

// The save dialog's object name, for tests and accessibility tools.
constexpr const char* kSaveDialogName = "kernova-save-text";

bool writeTextFile(const QString& path, const std::string& text) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) return false;
    const auto size = static_cast<qint64>(text.size());
    return file.write(text.data(), size) == size && file.commit();
}

}  // namespace

DesktopServerHost::DesktopServerHost(Context& context)
    : context_(context),
      desktop_(desktop::makeDesktopPlatform(context)),
      application_(std::make_unique<ui::Application>(context, desktop_->platform())),
      windows_(desktop_->makeWindowHost(*application_)),
      receiver_(std::make_unique<QObject>()) {
    windows_->start();
    if (QGuiApplication::platformName() != QStringLiteral("xcb")) return;
    front_ = std::make_unique<FrontApplication>(processEnvironment(), context_.log());
    selections_ = std::make_unique<desktop::X11Selections>(processEnvironment(), context_.log());
    // Every window Qt makes (the clipboard's owner when the panel or a dialog
    // copies) carries its connection's resource id base.
    std::uint32_t base = 0, mask = 0;
    if (auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>()) {
        if (xcb_connection_t* qt = x11->connection()) {
            const xcb_setup_t* setup = xcb_get_setup(qt);
            base = setup->resource_id_base;
            mask = setup->resource_id_mask;
        }
    }
    auto isOwn = [base, mask](std::uint32_t window) {
        return mask != 0 && (window & ~mask) == base;
    };
    clipboardChanges_ = std::make_unique<X11ClipboardChanges>(*selections_, isOwn);
    const QScreen* screen = QGuiApplication::primaryScreen();
    gestures_ = std::make_unique<desktop::X11SelectionGestures>(
        processEnvironment(), context_.log(), isOwn, screen ? screen->devicePixelRatio() : 1.0);
}

DesktopServerHost::~DesktopServerHost() {
    receiver_.reset();
    gestures_.reset();
    clipboardChanges_.reset();
    selections_.reset();
    front_.reset();
    settingsWatcher_.reset();
    windows_->stop();
}

std::string DesktopServerHost::frontmostApplicationId() {
    return front_ ? front_->id() : std::string();
}

Monitor DesktopServerHost::monitorUnderPointer() {
    QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen) screen = QGuiApplication::primaryScreen();
    if (screen && !screen->geometry().isEmpty()) return monitorOf(*screen);
    // Qt knows no screen: the toolkit's.
    Monitor monitor;
    monitor.frame = desktop_->screen().bounds;
    monitor.workArea = monitor.frame;
    monitor.scale = desktop_->screen().scale;
    return monitor;
}

void DesktopServerHost::openUrl(const std::string& url) {
    const QUrl qurl(desktop::toQString(url));
    // xdg-open, when installed, is the desktop's own choice (its default
    // applications and every registered handler); Qt hands the URL to it.
    if (!QStandardPaths::findExecutable(QStringLiteral("xdg-open")).isEmpty()) {
        if (!QDesktopServices::openUrl(qurl))
            context_.log().warn("host", "no application opened a URL");
        return;
    }
    // Without it: the first application whose desktop entry handles the
    // scheme (x-scheme-handler/<scheme>), started on the URL.
    const std::string handler = "x-scheme-handler/" + desktop::fromQString(qurl.scheme().toLower());
    if (!qurl.scheme().isEmpty()) {
        const DesktopEntries entries = DesktopEntries::load(environment());
        for (const DesktopEntry& entry : entries.entries()) {
            if (!entry.shownHere || std::find(entry.mimeTypes.begin(), entry.mimeTypes.end(),
                                              handler) == entry.mimeTypes.end())
                continue;
            std::vector<std::string> argv = expandExec(entry, {url});
            if (argv.empty()) continue;
            context_.log().info("host", "URL handed to " + entry.id);
            launch(std::move(argv), [this, id = entry.id](bool started) {
                if (!started) context_.log().warn("host", id + " could not be started for a URL");
            });
            return;
        }
    }
    if (!QDesktopServices::openUrl(qurl))
        context_.log().warn("host", "no application opened a URL");
}

void DesktopServerHost::insertText(const std::string& text) {
    desktop_->keyboard().insertText(text);
}

capture::PrimaryReader DesktopServerHost::primaryReader() {
    if (!selections_) return capture::primaryReaderOf(*this);
    return [this](capture::PrimaryReply reply) {
        selections_->read(desktop::X11Selections::Which::primary,
                          [reply = std::move(reply)](desktop::X11Selections::Result result) {
                              using Outcome = desktop::X11Selections::Outcome;
                              using Status = capture::PrimaryText::Status;
                              const Status status = result.outcome == Outcome::text ? Status::text
                                                    : result.outcome == Outcome::empty
                                                        ? Status::empty
                                                        : Status::failed;
                              reply(capture::PrimaryText{status, std::move(result.text)});
                          });
    };
}

void DesktopServerHost::readSelection(SelectionKind which, SelectionReply reply) {
    if (selections_) {
        selections_->readText(which == SelectionKind::primary
                                  ? desktop::X11Selections::Which::primary
                                  : desktop::X11Selections::Which::clipboard,
                              std::move(reply));
        return;
    }
    // Qt answers a selection read at once, waiting on the owner inside; the
    // reply still comes on a later turn of the loop, as the host promises.
    QTimer::singleShot(0, receiver_.get(), [which, reply = std::move(reply)] {
        QClipboard* clipboard = QGuiApplication::clipboard();
        QClipboard::Mode mode =
            which == SelectionKind::primary ? QClipboard::Selection : QClipboard::Clipboard;
        if (!clipboard || (mode == QClipboard::Selection && !clipboard->supportsSelection())) {
            reply(std::nullopt);
            return;
        }
        QString text = clipboard->text(mode);
        reply(text.isNull() ? std::nullopt : std::optional(desktop::fromQString(text)));
    });
}

std::shared_ptr<const ui::Image> DesktopServerHost::copyScreen(const Monitor& monitor) {
    const ui::Rect& f = monitor.frame;
    QImage image =
        desktop::grabScreen(QRect(static_cast<int>(f.origin.x), static_cast<int>(f.origin.y),
                                  static_cast<int>(f.size.width), static_cast<int>(f.size.height)));
    if (image.isNull()) return nullptr;
    return desktop::fromQImage(image, image.devicePixelRatio());
}

void DesktopServerHost::watchSettingsFolder(const std::filesystem::path& folder,
                                            std::function<void()> changed) {
    // Settings are written whole and replaced atomically: the folder changes,
    // so the folder is watched (made first, so that there is one to watch).
    QString path = desktop::toQString(folder.string());
    QDir().mkpath(path);
    settingsWatcher_ = std::make_unique<QFileSystemWatcher>();
    if (!settingsWatcher_->addPath(path)) {
        context_.log().warn("host", "cannot watch the settings folder for changes");
        return;
    }
    QObject::connect(settingsWatcher_.get(), &QFileSystemWatcher::directoryChanged, receiver_.get(),
                     [changed = std::move(changed)] { changed(); });
}

void DesktopServerHost::windowsChanged() {
    windows_->sync();
}

void DesktopServerHost::grabInput(ui::Window* window) {
    ++grabGeneration_;
    grabTries_ = 0;
    if (QWindow* held = grabbed_.data()) {
        held->setKeyboardGrabEnabled(false);
        held->setMouseGrabEnabled(false);
    }
    grabbed_.clear();
    grabTarget_.clear();
    if (window == nullptr) return;
    windows_->sync();
    grabTarget_ = windows_->widgetFor(*window);
    if (grabTarget_.isNull()) {
        context_.log().warn("host", "no overlay to grab the input for");
        return;
    }
    tryGrab(grabGeneration_);
}

void DesktopServerHost::tryGrab(unsigned generation) {
    QWidget* widget = grabTarget_.data();
    if (generation != grabGeneration_ || widget == nullptr) return;
    // The X server refuses grabs for a window that is not mapped yet.
    QWindow* handle = widget->windowHandle();
    if (handle != nullptr && handle->isExposed()) {
        if (handle->setKeyboardGrabEnabled(true)) {
            if (handle->setMouseGrabEnabled(true)) {
                grabbed_ = handle;
                context_.log().info("host", "keyboard and pointer grabbed");
                return;
            }
            handle->setKeyboardGrabEnabled(false);
        }
    }
    if (++grabTries_ >= kGrabTries) {
        context_.log().warn("host", "cannot grab the keyboard and pointer");
        return;
    }
    QTimer::singleShot(kGrabRetryMs, widget, [this, generation] { tryGrab(generation); });
}

void DesktopServerHost::launch(std::vector<std::string> argv, LaunchReply reply) {
    if (!argv.empty()) {
        std::string line = std::filesystem::path(argv.front()).filename().string();
        if (line == "kernova") {
            for (std::size_t i = 1; i < argv.size(); ++i)
                line += " " + argv[i];
        } else {
            line += " (" + std::to_string(argv.size() - 1) + " arguments)";
        }
        launches_.push_back(std::move(line));
        if (launches_.size() > 16) launches_.pop_front();
    }
    // Kernova's own command is the one beside kernovad (or in the build tree)
    // before any other on PATH.
    if (!argv.empty() && argv.front() == "kernova") argv.front() = kernovaCommand();
    // A later turn, as the host promises; starting detached waits only for the
    // program to be found and executed, never for it to end.
    QTimer::singleShot(0, receiver_.get(), [argv = std::move(argv), reply = std::move(reply)] {
        bool started = false;
        if (!argv.empty()) {
            QString program = desktop::toQString(argv.front());
            if (!program.contains(QLatin1Char('/')))
                program = QStandardPaths::findExecutable(program);
            if (!program.isEmpty()) {
                QStringList arguments;
                for (std::size_t i = 1; i < argv.size(); ++i)
                    arguments.append(desktop::toQString(argv[i]));
                QProcess process;
                process.setProgram(program);
                process.setArguments(arguments);
                process.setWorkingDirectory(QDir::homePath());
                process.setStandardInputFile(QProcess::nullDevice());
                started = process.startDetached();
            }
        }
        reply(started);
    });
}

namespace {

// Qt's file dialog, which tells the presenter before it goes, so that the
// panel beneath takes the keyboard back first.
class SaveDialog final : public QFileDialog {
  public:
    explicit SaveDialog(desktop::QtPresenter& presenter)
        : QFileDialog(nullptr, desktop::dialogWindowFlags(true)), presenter_(presenter) {}
    void setVisible(bool visible) override {
        if (!visible) presenter_.dialogHiding(*this);
        QFileDialog::setVisible(visible);
    }

  private:
    desktop::QtPresenter& presenter_;
};

}  // namespace

void DesktopServerHost::saveText(std::string text, SaveReply reply) {
    // Qt's own dialog, not the platform's: it takes the flags that keep it
    // above the overlays, and it never blocks the loop (open(), not exec()).
    auto* dialog = new SaveDialog(*desktop_->dialogPresenter());
    dialog->setObjectName(QString::fromLatin1(kSaveDialogName));
    dialog->setWindowTitle(QStringLiteral("Save the text"));
    dialog->setOption(QFileDialog::DontUseNativeDialog);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setFileMode(QFileDialog::AnyFile);
    dialog->setNameFilters({QStringLiteral("Text files (*.txt)"), QStringLiteral("All files (*)")});
    dialog->setDefaultSuffix(QStringLiteral("txt"));
    QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (folder.isEmpty() || !QDir(folder).exists()) folder = QDir::homePath();
    dialog->setDirectory(folder);
    dialog->selectFile(QStringLiteral("Shared text.txt"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);

    auto answered = std::make_shared<bool>(false);
    auto answer = [answered, reply](SaveOutcome outcome) {
        if (*answered) return;
        *answered = true;
        reply(outcome);
    };
    QObject::connect(
        dialog, &QFileDialog::fileSelected, receiver_.get(),
        [answer, text = std::move(text)](const QString& file) {
            answer(writeTextFile(file, text) ? SaveOutcome::saved : SaveOutcome::failed);
        });
    // Accepted, the dialog names its file (fileSelected) as it closes.
    QObject::connect(dialog, &QDialog::finished, receiver_.get(), [answer](int result) {
        if (result != QDialog::Accepted) answer(SaveOutcome::cancelled);
    });

    // Centred on the monitor under the pointer, where the panel was.
    const ui::Rect frame = monitorUnderPointer().frame;
    const QSize size = dialog->sizeHint().expandedTo(QSize(640, 420));
    dialog->resize(size);
    dialog->move(static_cast<int>(frame.origin.x + (frame.size.width - size.width()) / 2),
                 static_cast<int>(frame.origin.y + (frame.size.height - size.height()) / 2));
    desktop_->dialogPresenter()->keepAboveOverlays(dialog);
    dialog->open();
    dialog->raise();
    dialog->activateWindow();
}

std::filesystem::path DesktopServerHost::runtimeDirectory() {
    const std::optional<std::string> runtime = processEnvironment()("XDG_RUNTIME_DIR");
    if (runtime && !runtime->empty() && std::filesystem::path(*runtime).is_absolute())
        return std::filesystem::path(*runtime) / "kernova";
    return std::filesystem::temp_directory_path() / ("kernova-" + std::to_string(::getuid()));
}

}  // namespace kernova::daemon
