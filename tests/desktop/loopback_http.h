// A web server on the loopback interface for the tests: each request is read
// whole (head and body, by its Content-Length) and kept, and answered by the
// test's responder after the responder's delay; a responder may also leave a
// request unanswered (a server that hangs). Bytes that are not HTTP (a TLS
// handshake) get a plain 400.
#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kernova::testing {

struct LoopbackRequest {
    std::string line;  // "GET /path HTTP/1.1"
    QByteArray head;   // the request line and headers
    QByteArray body;
};

struct LoopbackAnswer {
    int status = 200;
    QByteArray contentType = "text/html";
    QByteArray body;
    int delayMs = 0;
    bool hang = false;  // never answer
    bool raw = false;   // send `body` as it stands, without a status line or headers
};

class LoopbackHttpServer {
  public:
    using Responder = std::function<LoopbackAnswer(const LoopbackRequest&)>;

    explicit LoopbackHttpServer(Responder responder) : responder_(std::move(responder)) {
        QObject::connect(&server_, &QTcpServer::newConnection, [this] {
            while (QTcpSocket* socket = server_.nextPendingConnection()) {
                auto buffer = std::make_shared<QByteArray>();
                auto answered = std::make_shared<bool>(false);
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [=, this] {
                    buffer->append(socket->readAll());
                    if (buffer->startsWith('\x16')) {
                        *answered = true;
                        socket->write("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n");
                        socket->disconnectFromHost();
                        return;
                    }
                    const qsizetype end = buffer->indexOf("\r\n\r\n");
                    if (end < 0) return;
                    LoopbackRequest request;
                    request.head = buffer->left(end);
                    qsizetype length = 0;
                    for (const QByteArray& header : request.head.split('\n')) {
                        if (header.trimmed().toLower().startsWith("content-length:"))
                            length = header.mid(header.indexOf(':') + 1).trimmed().toLongLong();
                    }
                    if (buffer->size() < end + 4 + length) return;
                    request.body = buffer->mid(end + 4, length);
                    request.line = request.head.left(request.head.indexOf("\r\n")).toStdString();
                    buffer->clear();
                    requests_.push_back(request);
                    const LoopbackAnswer answer = responder_(request);
                    if (answer.hang) return;
                    QTimer::singleShot(answer.delayMs, socket, [socket, answer, answered] {
                        *answered = true;
                        if (answer.raw) {
                            socket->write(answer.body);
                        } else {
                            socket->write("HTTP/1.1 " + QByteArray::number(answer.status) +
                                          " OK\r\nContent-Type: " + answer.contentType +
                                          "\r\nConnection: close\r\nContent-Length: " +
                                          QByteArray::number(answer.body.size()) + "\r\n\r\n" +
                                          answer.body);
                        }
                        socket->disconnectFromHost();
                    });
                });
                QObject::connect(socket, &QTcpSocket::disconnected, socket,
                                 [this, socket, answered] {
                                     if (!*answered) ++dropped_;
                                     socket->deleteLater();
                                 });
            }
        });
        server_.listen(QHostAddress::LocalHost);
    }

    quint16 port() const { return server_.serverPort(); }
    QByteArray url(const QByteArray& path = "/") const {
        return "http://127.0.0.1:" + QByteArray::number(port()) + path;
    }
    const std::vector<LoopbackRequest>& requests() const { return requests_; }
    // Connections the client closed before they were answered.
    int dropped() const { return dropped_; }

  private:
    Responder responder_;
    QTcpServer server_;
    std::vector<LoopbackRequest> requests_;
    int dropped_ = 0;
};

}  // namespace kernova::testing
