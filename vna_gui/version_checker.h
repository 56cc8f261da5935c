// The check for new versions: one HTTP fetch of a small text file from the maker's web server,
// in the background. The file's first non-empty line is the latest version ("1.4.2"); the lines
// after it are release notes. A check that cannot reach the server or read the file ends
// quietly: nothing is shown and nothing is recorded as an error.
#pragma once

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

class QNetworkAccessManager;
class QNetworkReply;

class VersionChecker : public QObject
{
    Q_OBJECT
public:
    // A fetch that has not finished by then is given up.
    static constexpr int kTimeoutMs = 10000;
    // The file is a few lines; anything larger is not it.
    static constexpr qint64 kMaxFileBytes = 64 * 1024;

    explicit VersionChecker(QObject* parent = nullptr);

    // Where the file is fetched from: the maker's server unless a base was set (tests point it
    // at a server of their own on loopback).
    static void SetBaseUrl(const QUrl& base);
    static QUrl BaseUrl();
    static QUrl VersionFileUrl();
    // This program's version, as the build gives it.
    static QString ProgramVersion();

    // Starts a fetch and returns at once; does nothing while one is under way.
    void PerformVersionCheck();
    bool Busy() const { return !reply.isNull(); }

    // The version and the notes of a version file; false when its first line is no version.
    static bool ParseVersionFile(const QByteArray& text, QString& version, QString& notes);
    // Compares dotted version numbers part by part (missing parts count as 0): negative when a
    // is older than b, 0 when equal, positive when newer. A part that is not a number counts 0.
    static int CompareVersions(const QString& a, const QString& b);

signals:
    // A version newer than this program's is on the server.
    void newVersionAvailable(const QString& version, const QString& notes);
    // Every check ends here; ok is false when the server was not reached or the file not read.
    void checkFinished(bool ok, const QString& latest);

private:
    void Finished();

    QNetworkAccessManager* manager;
    QPointer<QNetworkReply> reply;
};
