#include "kernovad/daemon.h"

#include "kernovad/message_names.h"

namespace kernova::daemon {

std::string describeMessage(const Message& message) {
    return message.name + " " +
           (message.userInfo.isAbsent() ? std::string("(no dictionary)")
                                        : describe(message.userInfo));
}

QStringList DebugEndpoint::ReceivedMessages() const {
    QStringList lines;
    lines.reserve(static_cast<qsizetype>(log_.size()));
    for (const std::string& line : log_)
        lines.append(QString::fromUtf8(line.data(), static_cast<qsizetype>(line.size())));
    return lines;
}

uint DebugEndpoint::ReceivedCount() const {
    return static_cast<uint>(log_.size());
}

Daemon::Daemon(QDBusConnection connection, std::ostream& log)
    : connection_(connection),
      log_(log),
      center_(connection),
      systemNotifications_(connection),
      debug_(received_) {}

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
}

}  // namespace kernova::daemon
