#include "version_checker.h"

#include <QDebug>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QRegularExpression>
#include <QStringList>
#include <algorithm>

#ifndef VNA_PROGRAM_VERSION
#define VNA_PROGRAM_VERSION "0.0.0"
#endif

namespace
{
const char* const kMakerServer = "https://www.kestrix.com";
const char* const kVersionFilePath = "/kxdownloads/Versions/vna/version.txt";

QUrl& BaseOverride()
{
    static QUrl base;
    return base;
}
}  // namespace

VersionChecker::VersionChecker(QObject* parent)
    : QObject(parent), manager(new QNetworkAccessManager(this))
{
}

void VersionChecker::SetBaseUrl(const QUrl& base)
{
    BaseOverride() = base;
}

QUrl VersionChecker::BaseUrl()
{
    return BaseOverride().isValid() ? BaseOverride() : QUrl(QString::fromLatin1(kMakerServer));
}

QUrl VersionChecker::VersionFileUrl()
{
    QUrl url = BaseUrl();
    QString path = url.path();
    if (path.endsWith(QLatin1Char('/')))
    {
        path.chop(1);
    }
    url.setPath(path + QLatin1String(kVersionFilePath));
    return url;
}

QString VersionChecker::ProgramVersion()
{
    return QStringLiteral(VNA_PROGRAM_VERSION);
}

void VersionChecker::PerformVersionCheck()
{
    if (Busy())
    {
        return;
    }
    QNetworkRequest request(VersionFileUrl());
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setTransferTimeout(kTimeoutMs);
    request.setHeader(QNetworkRequest::UserAgentHeader,
                      QStringLiteral("KestrixVNA/") + ProgramVersion());
    reply = manager->get(request);
    connect(reply, &QNetworkReply::downloadProgress, this,
            [this](qint64 received, qint64)
            {
                if (received > kMaxFileBytes && reply)
                {
                    reply->abort();
                }
            });
    connect(reply, &QNetworkReply::finished, this, &VersionChecker::Finished);
}

void VersionChecker::Finished()
{
    QNetworkReply* done = reply;
    reply = nullptr;
    if (!done)
    {
        return;
    }
    done->deleteLater();
    QString version, notes;
    const bool ok = done->error() == QNetworkReply::NoError &&
                    ParseVersionFile(done->readAll(), version, notes);
    if (!ok)
    {
        // Offline or no such file: the operator is not bothered.
        qDebug() << "Version check:" << done->errorString();
        emit checkFinished(false, QString());
        return;
    }
    if (CompareVersions(version, ProgramVersion()) > 0)
    {
        emit newVersionAvailable(version, notes);
    }
    emit checkFinished(true, version);
}

bool VersionChecker::ParseVersionFile(const QByteArray& text, QString& version, QString& notes)
{
    const QStringList lines = QString::fromUtf8(text).split(QLatin1Char('\n'));
    int first = 0;
    while (first < lines.size() && lines[first].trimmed().isEmpty())
    {
        ++first;
    }
    if (first == lines.size())
    {
        return false;
    }
    const QString candidate = lines[first].trimmed();
    static const QRegularExpression dotted(QStringLiteral("^\\d+(\\.\\d+){0,3}$"));
    if (!dotted.match(candidate).hasMatch())
    {
        return false;
    }
    version = candidate;
    notes = lines.mid(first + 1).join(QLatin1Char('\n')).trimmed();
    return true;
}

int VersionChecker::CompareVersions(const QString& a, const QString& b)
{
    const QStringList pa = a.trimmed().split(QLatin1Char('.'));
    const QStringList pb = b.trimmed().split(QLatin1Char('.'));
    for (int i = 0; i < std::max(pa.size(), pb.size()); ++i)
    {
        const int x = pa.value(i).toInt();
        const int y = pb.value(i).toInt();
        if (x != y)
        {
            return x < y ? -1 : 1;
        }
    }
    return 0;
}
