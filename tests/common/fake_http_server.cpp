#include "fake_http_server.h"

#include <QHostAddress>

namespace testfx
{
FakeHttpServer::FakeHttpServer()
{
    server.listen(QHostAddress::LocalHost, 0);
    connect(&server, &QTcpServer::newConnection, this,
            [this]
            {
                while (QTcpSocket* s = server.nextPendingConnection())
                {
                    connect(s, &QTcpSocket::readyRead, this, [this, s] { Read(s); });
                    connect(s, &QTcpSocket::disconnected, s, &QObject::deleteLater);
                }
            });
}

QUrl FakeHttpServer::BaseUrl() const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(server.serverPort()));
}

void FakeHttpServer::Read(QTcpSocket* socket)
{
    // The request is complete at its blank line; a GET has no body.
    const QByteArray request = socket->property("request").toByteArray() + socket->readAll();
    socket->setProperty("request", request);
    if (!request.contains("\r\n\r\n") || socket->property("seen").toBool())
    {
        return;
    }
    socket->setProperty("seen", true);
    const QList<QByteArray> words = request.left(request.indexOf("\r\n")).split(' ');
    paths.append(QString::fromLatin1(words.value(1)));
    if (held)
    {
        waiting.append(socket);
        return;
    }
    Answer(socket);
}

void FakeHttpServer::Answer(QTcpSocket* socket)
{
    socket->write("HTTP/1.1 " + QByteArray::number(code) + (code == 200 ? " OK" : " Error") +
                  "\r\nContent-Type: text/plain\r\nContent-Length: " +
                  QByteArray::number(reply.size()) + "\r\nConnection: close\r\n\r\n" + reply);
    socket->disconnectFromHost();
}

void FakeHttpServer::Release()
{
    held = false;
    for (const QPointer<QTcpSocket>& s : waiting)
    {
        if (s)
        {
            Answer(s);
        }
    }
    waiting.clear();
}
}  // namespace testfx
