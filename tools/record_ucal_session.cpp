// Records byte exchanges with the uCal emulator for the protocol tests, and seeds for the fuzz
// harnesses of the block parser and the reply reader.
//
//   record_ucal_session EMULATOR DATA_DIR SEED_DIR
//
// For each session it starts the emulator (small blocks, line pace of 115200 baud, a fault mode
// where the session names one), opens the pseudo-terminal directly and sends the session's
// commands. A reply is what arrives until the line has been quiet for a while; each read is kept
// apart, since where the reads fall matters to the reader (bytes arriving with a line's newline
// go with the line). DATA_DIR/<session>.session holds "> n" and "< n" records, each followed by
// its n raw bytes and a line feed; tests/common/ucal_fixtures.h reads them back.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <QByteArray>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStringList>
#include <QVector>
#include <cstdio>

namespace
{
// A reply has ended once nothing has come for this long.
constexpr int kQuietMs = 400;
// No reply is longer than this, the babbling fault included.
constexpr int kReplyCapMs = 10000;

struct Session
{
    const char* name;
    const char* fault;  // nullptr: none
    QList<QByteArray> commands;
};

// The commands in the order the protocol tests issue them (tests/unit/test_ucal_protocol.cpp).
QVector<Session> Sessions()
{
    const QList<QByteArray> connect{"I?\n", "S10\n", "S01\n", "S?\n"};
    QList<QByteArray> normal = connect;
    normal << "T?\n"
           << "N?\n"
           << "S20\n"
           << "S02\n"
           << "S?\n"
           << "S30\n"
           << "S03\n"
           << "S?\n"
           << "S4\n"
           << "S?\n"
           << "G0\n"
           << "G1\n"
           << "G2\n"
           << "G3\n"
           << "X?\n"
           << "S?\n";
    const QList<QByteArray> block{"G0\n"};
    return {{"normal", nullptr, normal},
            {"fault-silent", "silent", {"I?\n"}},
            {"fault-garble", "garble", connect + QList<QByteArray>{"T?\n", "N?\n", "G0\n"}},
            {"fault-babble", "babble", {"I?\n"}},
            {"fault-short-id", "short-id", {"I?\n"}},
            {"fault-nak", "nak", {"S10\n", "S01\n", "S?\n"}},
            {"fault-bad-state", "bad-state", {"S10\n", "S01\n", "S?\n"}},
            {"fault-x-header", "x-header", block},
            {"fault-zero-count", "zero-count", block},
            {"fault-short-block", "short-block", block},
            {"fault-bad-block", "bad-block", block},
            {"fault-truncated-block", "truncated-block", block},
            {"fault-glued", "glued", block}};
}

// The reads of one reply.
QList<QByteArray> ReadReply(int fd)
{
    QList<QByteArray> reads;
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < kReplyCapMs)
    {
        pollfd p{fd, POLLIN, 0};
        if (poll(&p, 1, kQuietMs) <= 0)
        {
            break;
        }
        char buffer[65536];
        const ssize_t n = read(fd, buffer, sizeof(buffer));
        if (n <= 0)
        {
            break;
        }
        reads.append(QByteArray(buffer, int(n)));
    }
    return reads;
}

void AppendRecord(QByteArray& out, char direction, const QByteArray& bytes)
{
    out += direction;
    out += ' ' + QByteArray::number(bytes.size()) + '\n' + bytes + '\n';
}

bool WriteFile(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

// The seeds: each block's bytes for the parser, each reply with a piece size byte in front for
// the reader.
void WriteSeeds(const QString& seedDir, const Session& s, int index, const QByteArray& command,
                const QByteArray& reply)
{
    const QString base = QStringLiteral("%1-%2").arg(QLatin1String(s.name)).arg(index);
    WriteFile(seedDir + "/ucal_reply/" + base, QByteArray(1, char(7)) + reply);
    const int newline = reply.indexOf('\n');
    if (command.startsWith('G') && reply.startsWith('R') && newline > 0)
    {
        WriteFile(seedDir + "/ucal_block/" + base, reply.mid(newline + 1));
    }
}

bool Record(const QString& emulator, const Session& s, const QString& dataDir,
            const QString& seedDir)
{
    QStringList args{"--points", "5", "--baud", "115200", "--temp", "24.6"};
    if (s.fault)
    {
        args << "--fault" << s.fault;
    }
    QProcess child;
    child.start(emulator, args);
    if (!child.waitForStarted() || !child.waitForReadyRead(10000) || !child.canReadLine())
    {
        return false;
    }
    const QByteArray pty = child.readLine().trimmed();
    const int fd = open(pty.constData(), O_RDWR | O_NOCTTY);
    if (fd < 0)
    {
        return false;
    }
    QByteArray out = "# Exchanges with the uCal emulator (";
    out += args.join(' ').toLatin1() + "), recorded by tools/record_ucal_session.\n";
    int index = 0;
    for (const QByteArray& command : s.commands)
    {
        if (write(fd, command.constData(), size_t(command.size())) != command.size())
        {
            close(fd);
            return false;
        }
        AppendRecord(out, '>', command);
        const QList<QByteArray> reads = ReadReply(fd);
        for (const QByteArray& r : reads)
        {
            AppendRecord(out, '<', r);
        }
        WriteSeeds(seedDir, s, index++, command, reads.isEmpty() ? QByteArray() : reads.join());
    }
    close(fd);
    child.kill();
    child.waitForFinished();
    return WriteFile(dataDir + "/" + s.name + ".session", out);
}
}  // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 4)
    {
        std::fprintf(stderr, "usage: record_ucal_session EMULATOR DATA_DIR SEED_DIR\n");
        return 2;
    }
    QDir().mkpath(args[2]);
    QDir().mkpath(args[3] + "/ucal_reply");
    QDir().mkpath(args[3] + "/ucal_block");
    for (const Session& s : Sessions())
    {
        if (!Record(args[1], s, args[2], args[3]))
        {
            std::fprintf(stderr, "record_ucal_session: session %s failed\n", s.name);
            return 1;
        }
        std::printf("%s\n", s.name);
    }
    return 0;
}
