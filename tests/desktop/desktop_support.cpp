#include "desktop_support.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusReply>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>
#include <cstdlib>
#include <filesystem>

#include "base/paths.h"
#include "base/plist.h"
#include "desktop/dbus_messaging.h"
#include "desktop/dbus_names.h"
#include "kernovad/debug_endpoint.h"

namespace kernova::testing {

void setKernovaEnabled(bool enabled) {
    std::filesystem::path folder = preferencesDirectory(processEnvironment());
    savePropertyList(folder / kSettingsFileName, Value(Dictionary{{"enabled", Value(enabled)}}));
}

bool prepareKernovadEnvironment() {
    setKernovaEnabled(true);
    QMap<QString, QString> variables{{"KERNOVA_DEBUG", "1"}, {"KERNOVA_LOG", "info"}};
    if (const char* prefs = std::getenv("KERNOVA_PREFERENCES_DIR"))
        variables.insert("KERNOVA_PREFERENCES_DIR", QString::fromLocal8Bit(prefs));
    for (auto it = variables.cbegin(); it != variables.cend(); ++it)
        ::setenv(it.key().toLatin1().constData(), it.value().toLocal8Bit().constData(), 1);
    qDBusRegisterMetaType<QMap<QString, QString>>();
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("UpdateActivationEnvironment"));
    call << QVariant::fromValue(variables);
    QDBusMessage reply = desktop::sessionConnection().call(call, QDBus::Block, 5000);
    return reply.type() == QDBusMessage::ReplyMessage;
}

bool waitFor(const std::function<bool()>& condition, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    // Wakes the loop now and then, so that a condition on another process is seen.
    QTimer tick;
    tick.start(5);
    QEventLoop loop;
    while (!condition()) {
        if (deadline.hasExpired()) return false;
        loop.processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

QDBusConnection otherConnection(const QString& name) {
    return QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
}

bool serviceRunning(const QDBusConnection& bus, const QString& name) {
    QDBusReply<bool> reply = bus.interface()->isServiceRegistered(name);
    return reply.isValid() && reply.value();
}

std::optional<qint64> serviceOwnerPid(const QDBusConnection& bus, const QString& name) {
    QDBusReply<uint> reply = bus.interface()->servicePid(name);
    if (!reply.isValid()) return std::nullopt;
    return static_cast<qint64>(reply.value());
}

QVariant debugCall(const QDBusConnection& bus, const char* method, const QVariantList& arguments) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QString::fromLatin1(desktop::kMessagesService), QString::fromLatin1(daemon::kDebugPath),
        QString::fromLatin1(daemon::kDebugInterface), QString::fromLatin1(method));
    call.setArguments(arguments);
    call.setAutoStartService(false);
    QDBusMessage reply = bus.call(call, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) return {};
    return reply.arguments().front();
}

namespace {

template <class Result>
std::optional<Result> debugAnswer(const QDBusConnection& bus, const char* method) {
    QVariant answer = debugCall(bus, method);
    if (!answer.isValid() || !answer.canConvert<Result>()) return std::nullopt;
    return answer.value<Result>();
}

}  // namespace

std::optional<QStringList> receivedMessages(const QDBusConnection& bus) {
    return debugAnswer<QStringList>(bus, "ReceivedMessages");
}

std::optional<QStringList> recentLaunches(const QDBusConnection& bus) {
    return debugAnswer<QStringList>(bus, "Launches");
}

std::optional<qulonglong> receivedCount(const QDBusConnection& bus) {
    return debugAnswer<qulonglong>(bus, "ReceivedCount");
}

std::optional<nlohmann::json> screenState(const QDBusConnection& bus) {
    std::optional<QString> reply = debugAnswer<QString>(bus, "ScreenState");
    if (!reply) return std::nullopt;
    nlohmann::json state = nlohmann::json::parse(reply->toStdString(), nullptr, false);
    if (state.is_discarded()) return std::nullopt;
    return state;
}

QString kernovadPath() {
    return QStringLiteral(KERNOVAD_PATH);
}
QString desktopCliPath() {
    return QStringLiteral(KERNOVA_DESKTOP_CLI_PATH);
}

ProgramRun runProgram(const QString& program, const QStringList& arguments,
                      const QProcessEnvironment& environment) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (!process.waitForFinished(10000)) {
        process.kill();
        process.waitForFinished();
    }
    const bool exited = process.exitStatus() == QProcess::NormalExit;
    return {exited ? process.exitCode() : -1, process.readAllStandardOutput().toStdString(),
            process.readAllStandardError().toStdString()};
}

KernovadProcess::KernovadProcess(const QProcessEnvironment& environment,
                                 const QStringList& arguments)
    : process_(std::make_unique<QProcess>()) {
    process_->setProgram(kernovadPath());
    process_->setArguments(arguments);
    process_->setProcessEnvironment(environment);
    process_->start();
    QDBusConnection bus = desktop::sessionConnection();
    started_ = process_->waitForStarted(10000) && waitFor([&] {
                   return process_->state() != QProcess::Running ||
                          serviceRunning(bus, QString::fromLatin1(desktop::kMessagesService));
               }) &&
               process_->state() == QProcess::Running;
    // The debug interface comes a little after the bus name.
    if (started_ && environment.value(QStringLiteral("KERNOVA_DEBUG")) == QStringLiteral("1")) {
        started_ =
            waitFor([&] {
                return process_->state() != QProcess::Running || receivedCount(bus).has_value();
            }) &&
            process_->state() == QProcess::Running;
    }
}

KernovadProcess::~KernovadProcess() {
    if (process_->state() != QProcess::NotRunning) {
        process_->kill();
        process_->waitForFinished(10000);
    }
}

int KernovadProcess::terminate() {
    process_->terminate();
    if (!process_->waitForFinished(10000)) return -1;
    return process_->exitStatus() == QProcess::NormalExit ? process_->exitCode() : -1;
}

}  // namespace kernova::testing
