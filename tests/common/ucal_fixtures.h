// The uCal module in tests: the emulator (sim/ucal_emulator) as a child process on its
// pseudo-terminal, and recorded byte exchanges with it replayed through a QIODevice.
#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVector>

#include "maury_ucal.h"

namespace testfx
{
// The emulator, started with options of the test's choosing; killed with this object.
class UCalEmulator
{
public:
    explicit UCalEmulator(const QString& program) : program(program) {}
    ~UCalEmulator();

    // Starts it with a data folder of its own and reads the terminal's path from its first line.
    bool Start(const QStringList& options = QStringList());
    QString PortName() const { return port; }
    QString DataDir() const { return dir.path(); }
    // Sends a control line ("fault silent", "temp 31", "state?") and reads its answer; true for
    // "ok". The answer's text after "ok " goes to answer.
    bool Control(const QString& line, QString* answer = nullptr);
    // The characterisation as the emulator wrote it for the scene, read back: its seven sets.
    bool ReadDataSets(UCalDataSets& sets) const;

private:
    bool ReadLine(QByteArray& line);

    QString program;
    QProcess process;
    QTemporaryDir dir;
    QString port;
};

// One command and the reply it got, as the reader's reads delivered it.
struct UCalExchange
{
    QByteArray sent;
    QList<QByteArray> received;
};

// Reads a session recorded by tools/record_ucal_session.
bool LoadUCalSession(const QString& path, QVector<UCalExchange>& exchanges, QString& error);

// A port that plays a recorded session back. Each write completing a command must be the next
// recorded command; its reply then arrives one recorded read per waitForReadyRead, cut further
// into pieces of at most maxPiece bytes when maxPiece > 0 (pieces never join recorded reads).
// Nothing more ever arrives once a reply is used up, so readers use a zero timeout.
class UCalReplayPort : public QIODevice
{
public:
    explicit UCalReplayPort(const QVector<UCalExchange>& exchanges, int maxPiece = 0);

    // Every command so far was the recorded one, in order.
    bool Matched() const { return matched; }
    int Used() const { return next; }
    int Count() const { return exchanges.size(); }

    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override;
    bool waitForReadyRead(int msecs) override;

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 size) override;

private:
    QVector<UCalExchange> exchanges;
    int maxPiece;
    int next = 0;
    bool matched = true;
    QByteArray command;
    QList<QByteArray> pending;
    QByteArray available;
};

// The wait for replayed data: none, since nothing more will come.
inline UCalWait ReplayWait()
{
    UCalWait w;
    w.timeoutMs = 0;
    return w;
}
}  // namespace testfx
