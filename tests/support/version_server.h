// A version file served on 127.0.0.1 by the test itself: the update check's only server.
#pragma once

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

namespace kestrova::test {

// Answers every request with one body, after a delay (a negative delay: never).
class VersionServer {
public:
    VersionServer(QByteArray body, int delayMs = 0) : body_(std::move(body)), delayMs_(delayMs) {
        server_.listen(QHostAddress::LocalHost);
        QObject::connect(&server_, &QTcpServer::newConnection, [this] {
            QTcpSocket* socket = server_.nextPendingConnection();
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                socket->readAll();
                if (delayMs_ < 0) return;
                QTimer::singleShot(delayMs_, socket, [this, socket] {
                    socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nConnection: close\r\nContent-Length: " +
                                  QByteArray::number(body_.size()) + "\r\n\r\n" + body_);
                    socket->disconnectFromHost();
                });
            });
        });
    }
    QString url() const { return QStringLiteral("http://127.0.0.1:%1/version.txt").arg(server_.serverPort()); }

private:
    QTcpServer server_;
    QByteArray body_;
    int delayMs_;
};

}  // namespace kestrova::test
