#include "desktop/dbus_messaging.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>

#include "desktop/dbus_names.h"
#include "desktop/dbus_value.h"
#include "desktop/messages_endpoint.h"
#include "messagesadaptor.h"

namespace kernova::desktop {

QDBusConnection sessionConnection() {
    return QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("kernova"));
}

MessagesEndpoint::MessagesEndpoint(Receiver receiver) : receiver_(std::move(receiver)) {}

void MessagesEndpoint::Send(const QString& name, bool hasInfo, const QVariantMap& info) {
    receiver_(name, hasInfo, info);
}

DBusMessageCenter::DBusMessageCenter(QDBusConnection connection)
    : connection_(std::move(connection)) {
    registerDBusValueTypes();
    endpoint_ = std::make_unique<MessagesEndpoint>(
        [this](const QString& name, bool hasInfo, const QVariantMap& info) {
            receive(Message{fromBusString(name), hasInfo ? fromDBusDictionary(info) : Value()});
        });
    new MessagesAdaptor(endpoint_.get());  // owned by the endpoint
}

DBusMessageCenter::~DBusMessageCenter() {
    if (!serving_) return;
    connection_.unregisterObject(QString::fromLatin1(kMessagesPath));
    connection_.unregisterService(QString::fromLatin1(kMessagesService));
}

DBusMessageCenter::StartResult DBusMessageCenter::start() {
    if (serving_) return StartResult::serving;
    if (!connection_.isConnected() || !connection_.interface()) return StartResult::noBus;
    // Exported before the name is taken, so that calls queued by activation find it.
    if (!connection_.registerObject(QString::fromLatin1(kMessagesPath), endpoint_.get()))
        return StartResult::alreadyRunning;
    QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
        connection_.interface()->registerService(QString::fromLatin1(kMessagesService),
                                                 QDBusConnectionInterface::DontQueueService,
                                                 QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid() || reply.value() != QDBusConnectionInterface::ServiceRegistered) {
        connection_.unregisterObject(QString::fromLatin1(kMessagesPath));
        return reply.isValid() ? StartResult::alreadyRunning : StartResult::noBus;
    }
    serving_ = true;
    return StartResult::serving;
}

void DBusMessageCenter::receive(Message message) {
    ++received_;
    // Handlers run one at a time even when one of them spins a nested event loop.
    dispatcher_.dispatch(std::move(message));
}

DBusMessageSender::DBusMessageSender(QDBusConnection connection)
    : connection_(std::move(connection)) {
    registerDBusValueTypes();
}

void DBusMessageSender::sendMessageName(const std::string& name, const Value& userInfo) {
    const Dictionary* info = userInfo.asDictionary();
    QDBusMessage call = QDBusMessage::createMethodCall(
        QString::fromLatin1(kMessagesService), QString::fromLatin1(kMessagesPath),
        QString::fromLatin1(kMessagesInterface), QString::fromLatin1(kSendMethod));
    call.setAutoStartService(true);
    call << toBusString(name) << (info != nullptr)
         << (info ? toDBusDictionary(*info) : QVariantMap());
    // send() marks a call as expecting no reply and returns at once.
    connection_.send(call);
}

bool DBusMessageSender::startService() {
    QDBusConnectionInterface* bus = connection_.interface();
    if (!connection_.isConnected() || bus == nullptr) return false;
    // One round trip: the bus answers at once when the name has an owner.
    const QString name = QString::fromLatin1(kMessagesService);
    if (bus->startService(name).isValid()) return true;
    // A bus without the activation file refuses even a name that has an owner
    // (kernovad started by hand).
    const QDBusReply<bool> owned = bus->isServiceRegistered(name);
    return owned.isValid() && owned.value();
}

bool DBusMessageSender::flush() {
    if (!connection_.isConnected() || !connection_.interface()) return false;
    return connection_.interface()
        ->isServiceRegistered(QStringLiteral("org.freedesktop.DBus"))
        .isValid();
}

}  // namespace kernova::desktop
