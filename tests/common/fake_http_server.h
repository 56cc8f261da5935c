// A one-file web server on 127.0.0.1 for tests of the version check: it answers every GET with
// the body it was given, or holds the answer back until told to send it.
#pragma once

#include <QByteArray>
#include <QPointer>
#include <QStringList>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>
#include <QVector>

namespace testfx
{
class FakeHttpServer : public QObject
{
public:
    // Listens on a free loopback port.
    FakeHttpServer();

    QUrl BaseUrl() const;
    void SetBody(const QByteArray& body, int status = 200) { reply = body, code = status; }
    // While held, requests wait unanswered until Release().
    void Hold(bool on) { held = on; }
    void Release();
    // Paths asked for so far, in order.
    QStringList Paths() const { return paths; }

private:
    void Read(QTcpSocket* socket);
    void Answer(QTcpSocket* socket);

    QTcpServer server;
    QByteArray reply;
    int code = 200;
    bool held = false;
    QStringList paths;
    QVector<QPointer<QTcpSocket>> waiting;
};
}  // namespace testfx
