#include "kernovad/daemon.h"

#include "base/paths.h"
#include "kernovad/board_host.h"
#include "kernovad/message_names.h"

namespace kernova::daemon {

std::string describeMessage(const Message& message) {
    return message.name + " " +
           (message.userInfo.isAbsent() ? std::string("(no dictionary)")
                                        : describe(message.userInfo));
}

QStringList DebugEndpoint::ReceivedMessages() const {
    QStringList lines;
    lines.reserve(static_cast<qsizetype>(daemon_.received().size()));
    for (const std::string& line : daemon_.received())
        lines.append(QString::fromUtf8(line.data(), static_cast<qsizetype>(line.size())));
    return lines;
}

uint DebugEndpoint::ReceivedCount() const {
    return static_cast<uint>(daemon_.received().size());
}

QString DebugEndpoint::BoardState() const {
    if (!daemon_.boardHost()) return QStringLiteral(R"({"shown":false,"tags":[],"selection":[]})");
    return QString::fromStdString(daemon_.boardHost()->stateJson());
}

bool DebugEndpoint::SaveScreenshot(const QString& path) const {
    return daemon_.boardHost() && daemon_.boardHost()->saveScreenshot(path);
}

Daemon::Daemon(QDBusConnection connection, std::ostream& log)
    : connection_(connection),
      log_(log),
      center_(connection),
      systemNotifications_(connection),
      context_(runLoop_, systemNotifications_,
               Paths{preferencesDirectory(processEnvironment()), {}}),
      debug_(*this) {}

Daemon::~Daemon() {
    if (debugExported_) connection_.unregisterObject(QString::fromLatin1(kDebugPath));
}

Daemon::StartResult Daemon::start() {
    switch (center_.start()) {
        case desktop::DBusMessageCenter::StartResult::alreadyRunning:
            return StartResult::alreadyRunning;
        case desktop::DBusMessageCenter::StartResult::noBus:
            return StartResult::noBus;
        case desktop::DBusMessageCenter::StartResult::serving:
            break;
    }
    debugExported_ = connection_.registerObject(QString::fromLatin1(kDebugPath), &debug_,
                                                QDBusConnection::ExportAllSlots);
    for (std::string_view name : kMessageNames)
        center_.registerForMessageName(std::string(name), [this](const Message& m) { handle(m); });
    return StartResult::serving;
}

void Daemon::handle(const Message& message) {
    std::string line = describeMessage(message);
    log_ << "kernovad: received " << line << '\n' << std::flush;
    received_.push_back(std::move(line));
    if (message.name == "notifySplode") notifySplode(message);
}

void Daemon::notifySplode(const Message& message) {
    if (!boardHost_) return;
    std::string text = message.userInfo["selection"].stringValue().value_or("");
    switch (boardHost_->openBoard(text)) {
        case BoardHost::OpenResult::opened:
            log_ << "kernovad: board opened\n" << std::flush;
            break;
        case BoardHost::OpenResult::alreadyShown:
            log_ << "kernovad: a board is already shown; request ignored\n" << std::flush;
            break;
        case BoardHost::OpenResult::noText:
            log_ << "kernovad: no text to show; request ignored\n" << std::flush;
            break;
    }
}

}  // namespace kernova::daemon
