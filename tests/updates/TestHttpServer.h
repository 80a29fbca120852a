#pragma once

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

namespace corvina::test {

/// A small HTTP/1.0 server on 127.0.0.1 with a free port: each path answers
/// with fixed bytes. `cutAfter` sends only that many bytes of the body
/// while announcing all of it, then hangs up, as a broken transfer does.
class TestHttpServer : public QTcpServer {
public:
    struct Response {
        QByteArray body;
        int status = 200;
        qsizetype cutAfter = -1;
    };

    TestHttpServer() {
        connect(this, &QTcpServer::newConnection, this, &TestHttpServer::accept);
        listen(QHostAddress::LocalHost, 0);
    }

    void serve(const QString& path, Response response) { m_routes.insert(path, response); }
    [[nodiscard]] QUrl url(const QString& path) const {
        return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(serverPort()).arg(path));
    }
    [[nodiscard]] int requests(const QString& path) const { return m_requests.value(path); }

private:
    void accept() {
        while (QTcpSocket* socket = nextPendingConnection()) {
            connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { answer(socket); });
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        }
    }

    void answer(QTcpSocket* socket) {
        QByteArray& request = m_pending[socket];
        request += socket->readAll();
        if (!request.contains("\r\n\r\n")) {
            return;
        }
        const QString path = QString::fromLatin1(request.split(' ').value(1));
        m_pending.remove(socket);
        m_requests[path] += 1;
        const Response response = m_routes.value(path, Response{"not found", 404});
        QByteArray head = "HTTP/1.0 " + QByteArray::number(response.status) + " X\r\n";
        head += "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n\r\n";
        socket->write(head);
        socket->write(response.cutAfter < 0 ? response.body
                                            : response.body.left(response.cutAfter));
        socket->disconnectFromHost();
    }

    QHash<QString, Response> m_routes;
    QHash<QString, int> m_requests;
    QHash<QTcpSocket*, QByteArray> m_pending;
};

} // namespace corvina::test
