// The object behind the message center's bus interface. The adaptor generated
// from fun.quorle.kernova.Messages.xml forwards each call of Send here.
#pragma once

#include <QObject>
#include <QString>
#include <QVariantMap>
#include <functional>

namespace kernova::desktop {

class MessagesEndpoint : public QObject {
    Q_OBJECT
  public:
    using Receiver = std::function<void(const QString& name, bool hasInfo, const QVariantMap&)>;
    explicit MessagesEndpoint(Receiver receiver);

  public slots:
    void Send(const QString& name, bool hasInfo, const QVariantMap& info);

  private:
    Receiver receiver_;
};

}  // namespace kernova::desktop
