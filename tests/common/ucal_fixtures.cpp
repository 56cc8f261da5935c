#include "ucal_fixtures.h"

#include <QDeadlineTimer>
#include <QFile>
#include <algorithm>

#include "touchstone.h"

namespace testfx
{
namespace
{
// A guard against a stuck child, not a timing check.
constexpr int kChildGuardMs = 20000;

bool ReadSet(const QString& path, QVector<double>& freqs, SParameters& data)
{
    QString error;
    freqs.clear();
    data = SParameters();
    if (!LoadS2PFile(path, true, freqs, data, error))
    {
        qWarning("%s: %s", qPrintable(path), qPrintable(error));
        return false;
    }
    return true;
}
}  // namespace

UCalEmulator::~UCalEmulator()
{
    if (process.state() != QProcess::NotRunning)
    {
        process.kill();
        process.waitForFinished(kChildGuardMs);
    }
}

bool UCalEmulator::ReadLine(QByteArray& line)
{
    const QDeadlineTimer guard(kChildGuardMs);
    while (!process.canReadLine())
    {
        if (guard.hasExpired() || !process.waitForReadyRead(int(guard.remainingTime())))
        {
            return false;
        }
    }
    line = process.readLine().trimmed();
    return true;
}

bool UCalEmulator::Start(const QStringList& options)
{
    if (!dir.isValid())
    {
        return false;
    }
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, QStringList{QStringLiteral("--data-dir"), dir.path()} + options);
    QByteArray line;
    if (!process.waitForStarted(kChildGuardMs) || !ReadLine(line) || !line.startsWith('/'))
    {
        qWarning("the emulator did not start: %s", line.constData());
        return false;
    }
    port = QString::fromLocal8Bit(line);
    return true;
}

bool UCalEmulator::Control(const QString& line, QString* answer)
{
    process.write(line.toLatin1() + '\n');
    QByteArray reply;
    if (!ReadLine(reply))
    {
        return false;
    }
    if (answer)
    {
        *answer = QString::fromLatin1(reply.mid(3));
    }
    return reply == "ok" || reply.startsWith("ok ");
}

bool UCalEmulator::ReadDataSets(UCalDataSets& sets) const
{
    const char* const names[6] = {"A_short.s1p", "A_open.s1p", "A_load.s1p",
                                  "B_short.s1p", "B_open.s1p", "B_load.s1p"};
    for (int i = 0; i < 6; ++i)
    {
        if (!ReadSet(dir.filePath(QLatin1String(names[i])), sets.freqs[i], sets.data[i]))
        {
            return false;
        }
    }
    return ReadSet(dir.filePath(QStringLiteral("thru_AB.s2p")), sets.freqs[6], sets.data[6]);
}

// --- recorded sessions ----------------------------------------------------------------------

bool LoadUCalSession(const QString& path, QVector<UCalExchange>& exchanges, QString& error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
    {
        error = QStringLiteral("cannot open ") + path;
        return false;
    }
    const QByteArray text = file.readAll();
    exchanges.clear();
    int pos = 0;
    while (pos < text.size())
    {
        const int end = text.indexOf('\n', pos);
        const QByteArray line = text.mid(pos, (end < 0 ? text.size() : end) - pos);
        pos = end < 0 ? text.size() : end + 1;
        if (line.isEmpty() || line.startsWith('#'))
        {
            continue;
        }
        bool ok = false;
        const int n = line.mid(2).toInt(&ok);
        const bool sent = line.startsWith("> ");
        if (!ok || n < 0 || pos + n + 1 > text.size() || (!sent && !line.startsWith("< ")) ||
            (!sent && exchanges.isEmpty()))
        {
            error = QStringLiteral("bad record \"%1\"").arg(QString::fromLatin1(line));
            return false;
        }
        const QByteArray bytes = text.mid(pos, n);
        pos += n + 1;  // the bytes, then a line feed
        if (sent)
        {
            exchanges.append(UCalExchange{bytes, {}});
        }
        else
        {
            exchanges.last().received.append(bytes);
        }
    }
    return true;
}

UCalReplayPort::UCalReplayPort(const QVector<UCalExchange>& recorded, int piece)
    : exchanges(recorded), maxPiece(piece)
{
    open(QIODevice::ReadWrite | QIODevice::Unbuffered);
}

qint64 UCalReplayPort::bytesAvailable() const
{
    return available.size() + QIODevice::bytesAvailable();
}

bool UCalReplayPort::waitForReadyRead(int)
{
    if (pending.isEmpty())
    {
        return false;
    }
    available += pending.takeFirst();
    return true;
}

qint64 UCalReplayPort::readData(char* data, qint64 maxSize)
{
    const int n = int(std::min<qint64>(maxSize, available.size()));
    std::copy(available.constData(), available.constData() + n, data);
    available.remove(0, n);
    return n;
}

qint64 UCalReplayPort::writeData(const char* data, qint64 size)
{
    command.append(data, int(size));
    if (!command.endsWith('\n'))
    {
        return size;
    }
    if (next < exchanges.size() && exchanges[next].sent == command)
    {
        pending.clear();
        for (const QByteArray& read : exchanges[next].received)
        {
            for (int i = 0; i<read.size(); i += maxPiece> 0 ? maxPiece : read.size())
            {
                pending.append(read.mid(i, maxPiece > 0 ? maxPiece : read.size()));
            }
        }
        ++next;
    }
    else
    {
        matched = false;
    }
    command.clear();
    return size;
}
}  // namespace testfx
