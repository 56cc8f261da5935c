// Soak client: drives the program's remote interface on loopback for a set time with a mix of
// stimulus changes, data (text and binary), marker, calibration, fixture, time-domain, gating and
// status commands, state files saved and recalled, and deliberate garbage, then reports what was
// answered, what was not, the errors the program queued and its resident memory.
//   soak_client --duration SECONDS [--port 5026] [--pid PID] [--timeout-ms 1000] [--seed N]
// Exits 1 when the program stops answering altogether (connection lost, or nothing answered).
#include <QByteArray>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QRandomGenerator>
#include <QStringList>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>
#include <cmath>
#include <cstdio>

namespace
{
struct Options
{
    QString host = QStringLiteral("127.0.0.1");
    quint16 port = 5026;
    int durationSeconds = 60;
    qint64 pid = 0;
    int timeoutMs = 1000;
    quint32 seed = 1;
};

struct Counts
{
    qint64 linesSent = 0;
    qint64 queriesSent = 0;
    qint64 answered = 0;
    qint64 noReply = 0;
    qint64 strayLines = 0;
    qint64 garbageLines = 0;
    qint64 reconnects = 0;
    qint64 errorsQueued = 0;
    qint64 errorsRead = 0;
    QMap<int, qint64> errorCodes;
    QMap<QByteArray, qint64> errorTexts;
    qint64 dataPoints = 0;
    qint64 calSteps = 0;      // remote calibration steps that answered "1"
    qint64 calibrations = 0;  // remote calibrations saved and in the channel
};

// Resident memory of a process in kB from /proc, or -1.
qint64 ResidentKb(qint64 pid)
{
    if (pid <= 0)
    {
        return -1;
    }
    QFile f(QStringLiteral("/proc/%1/status").arg(pid));
    if (!f.open(QIODevice::ReadOnly))
    {
        return -1;
    }
    for (const QByteArray& line : f.readAll().split('\n'))
    {
        if (line.startsWith("VmRSS:"))
        {
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
        }
    }
    return -1;
}

class Client
{
public:
    Client(const Options& o, Counts& c) : opt(o), counts(c), rng(o.seed) { WriteFixtureFiles(); }

    bool Connect(int waitMs)
    {
        QElapsedTimer t;
        t.start();
        while (t.elapsed() < waitMs)
        {
            socket.abort();
            socket.connectToHost(opt.host, opt.port);
            if (socket.waitForConnected(1000))
            {
                return true;
            }
            QThread::msleep(500);
        }
        return false;
    }

    bool Connected() const { return socket.state() == QAbstractSocket::ConnectedState; }

    // A line that answers nothing: no wait.
    void Send(const QByteArray& line)
    {
        socket.write(line + '\n');
        socket.flush();
        ++counts.linesSent;
    }

    // A query: stray lines from before are dropped, then one reply is awaited. Empty with ok
    // false when none came within the timeout.
    QByteArray Query(const QByteArray& line, bool& ok)
    {
        DropStray();
        Send(line);
        ++counts.queriesSent;
        QElapsedTimer t;
        t.start();
        while (!socket.canReadLine())
        {
            const int left = opt.timeoutMs - int(t.elapsed());
            if (left <= 0 || !Connected() || !socket.waitForReadyRead(left))
            {
                if (!socket.canReadLine())
                {
                    ++counts.noReply;
                    ok = false;
                    return {};
                }
            }
        }
        ok = true;
        ++counts.answered;
        return socket.readLine().trimmed();
    }

    // Reads the error count and then every queued error, so the queue never saturates.
    void DrainErrors()
    {
        bool ok = false;
        const QByteArray n = Query(":SYST:ERR:COUN?", ok);
        if (!ok)
        {
            return;
        }
        const int count = n.toInt();
        counts.errorsQueued += count;
        for (int i = 0; i < count; ++i)
        {
            const QByteArray e = Query(":SYST:ERR:NEXT?", ok);
            if (!ok)
            {
                return;
            }
            ++counts.errorsRead;
            ++counts.errorCodes[e.split(',').value(0).toInt()];
            ++counts.errorTexts[e.left(100)];
        }
    }

    // One round of the mix.
    void Round(int round)
    {
        bool ok = false;
        const int ch = 1 + (round % 2);
        const double start = 40e6 + rng.bounded(1000) * 1e6;
        const double stop = start + 10e6 + rng.bounded(4000) * 1e6;
        const int points = 11 + rng.bounded(390);
        Send(QStringLiteral(":SENS%1:FREQ:STAR %2").arg(ch).arg(start, 0, 'f', 0).toLatin1());
        Send(QStringLiteral(":SENS%1:FREQ:STOP %2").arg(ch).arg(stop, 0, 'f', 0).toLatin1());
        Send(QStringLiteral(":SENS%1:SWE:POIN %2").arg(ch).arg(points).toLatin1());
        if (round % 5 == 0)
        {
            Send(QStringLiteral(":SENS%1:FREQ:CENT %2GHZ;SPAN 100MHZ")
                     .arg(ch)
                     .arg(1 + round % 3)
                     .toLatin1());
        }
        Query(QStringLiteral(":SENS%1:FREQ:STAR?").arg(ch).toLatin1(), ok);
        Query(QStringLiteral(":SENS%1:SWE:POIN?").arg(ch).toLatin1(), ok);

        for (const char* kind : {"SDATA", "FDATA"})
        {
            const QByteArray reply = Query(QStringLiteral(":CALC%1:MEAS1:DATA:%2?")
                                               .arg(ch)
                                               .arg(QLatin1String(kind))
                                               .toLatin1(),
                                           ok);
            if (ok && !reply.isEmpty())
            {
                counts.dataPoints += reply.count(',') + 1;
            }
        }
        Query(QStringLiteral(":CALC%1:MEAS1:DATA:X?").arg(ch).toLatin1(), ok);

        Markers(ch, start, stop, round);

        Correction(ch, round);

        TimeDomain(round, ch);
        Limits(ch, start, stop, round);
        FactoryCal(round);
        Fixtures(ch, round);
        if (round % 7 == 3)
        {
            States(round);
        }
        FormatsAndStatus(ch, round);

        if (round % 3 == 0)
        {
            Garbage();
        }
        if (round % 4 == 0)
        {
            Query("*OPC?", ok);
            DrainErrors();
        }
        if (round % 10 == 9)
        {
            Depart();
        }
    }

    // The whole state saved to a file and recalled from it; every third time a path that cannot
    // be written (below a file) and a file that does not exist, which must be refused with an
    // error while the setup keeps running.
    void States(int round)
    {
        bool ok = false;
        const bool bad = round % 3 == 0;
        const QString save = bad ? fixtureFile + QStringLiteral("/state.ini") : stateFile;
        const QString load = bad ? files.filePath(QStringLiteral("missing.ini")) : stateFile;
        Send(":SYST:PRES:USER:SAVE \"" + save.toUtf8() + '"');
        Query("*OPC?", ok);
        Send(":SYST:PRES:USER:LOAD \"" + load.toUtf8() + '"');
        Query("*OPC?", ok);
        if (bad)
        {
            DrainErrors();
        }
        Send(":INIT1:CONT 1");
    }

    // Leaves as a crashed client would, while a single sweep runs, with *OPC? waiting and half a
    // line sent, then comes back: nothing of the old connection may reach the new one.
    void Depart()
    {
        Send(":INIT1:IMM;*OPC?");
        socket.write(":SENS1:FREQ:ST");
        socket.flush();
        socket.abort();
        ++counts.reconnects;
        if (Connect(30000))
        {
            bool ok = false;
            const QByteArray idn = Query("*IDN?", ok);
            if (ok && !idn.startsWith("Kestrix,"))
            {
                ++counts.strayLines;
            }
            Send(":INIT1:CONT 1");
        }
    }

    // Time transform and gate of the channel's first measurement: every setting with its query,
    // low-pass types that the stimulus may refuse, and now and then the low-pass grid.
    void TimeDomain(int round, int ch)
    {
        static const char* const types[] = {"BPAS", "LPST", "LPIM"};
        static const char* const windows[] = {"MIN", "NORM", "MAX", "CUST"};
        static const char* const modes[] = {"AUTO", "REFL", "TRAN"};
        static const char* const units[] = {"TIME", "METR", "FEET", "INCH"};
        static const char* const gates[] = {"BPAS", "NOTC"};
        static const char* const shapes[] = {"MIN", "NORM", "WIDE", "MAX"};
        const QByteArray m = QStringLiteral(":CALC%1:MEAS1:").arg(ch).toLatin1();
        const QByteArray time = m + "TRAN:TIME:";
        const QByteArray gate = m + "FILT:GATE:TIME:";
        auto pick = [this](const char* const* words, int n) { return words[rng.bounded(n)]; };
        auto ns = [this](int range)
        { return QByteArray::number(rng.bounded(range) - range / 2) + "NS"; };
        bool ok = false;
        if (round % 6 == 0)
        {
            Send(time + "SLPF");
            Query(time + "SLPF?", ok);
        }
        // Off one round in three, so the frequency-domain commands keep running too.
        Send(time + "STAT " + (round % 3 == 2 ? "OFF" : "ON"));
        Send(time + "TYPE " + pick(types, 3));
        Send(time + "WIND:TYPE " + pick(windows, 4));
        Send(time + "KBES " + QByteArray::number(rng.bounded(250) * 0.1));
        Send(time + "MARK:MODE " + pick(modes, 3));
        Send(time + "MARK:UNIT " + pick(units, 4));
        Send(time + "MARK:VELF " + QByteArray::number(0.5 + rng.bounded(50) * 0.01));
        if (round % 2 == 0)
        {
            Send(time + "SCAL:AUTO:STAT ON");
        }
        else
        {
            Send(time + "SCAL:CENT " + ns(20));
            Send(time + "SCAL:SPAN " + QByteArray::number(1 + rng.bounded(40)) + "NS");
        }
        for (const char* q :
             {"STAT?", "TYPE?", "WIND:TYPE?", "KBES?", "MARK:MODE?", "MARK:UNIT?", "MARK:VELF?",
              "SCAL:AUTO:STAT?", "SCAL:STAR?", "SCAL:STOP?", "SCAL:CENT?", "SCAL:SPAN?"})
        {
            Query(time + q, ok);
        }

        Send(gate + "STAT " + (round % 4 == 3 ? "OFF" : "ON"));
        Send(gate + "TYPE " + pick(gates, 2));
        Send(gate + "SHAP " + pick(shapes, 4));
        if (round % 2 == 0)
        {
            Send(gate + "STAR " + ns(10));
            Send(gate + "STOP " + ns(10));  // may fall before the start: a defined gate too
        }
        else
        {
            Send(gate + "CENT " + ns(10));
            Send(gate + "SPAN " + QByteArray::number(1 + rng.bounded(10)) + "NS");
        }
        for (const char* q : {"STAT?", "STAR?", "STOP?", "CENT?", "SPAN?", "TYPE?", "SHAP?"})
        {
            Query(gate + q, ok);
        }
    }

    // The factory correction switched off and on again now and then, each time read back: the
    // loop sweeps fewer directions while it is off.
    void FactoryCal(int round)
    {
        if (round % 5 != 2)
        {
            return;
        }
        bool ok = false;
        Send(":SYST:PREF:FCAL:STAT OFF");
        Query(":SYST:PREF:FCAL:STAT?", ok);
        Send(":SYST:PREF:FCAL:STAT ON");
        Query(":SYST:PREF:FCAL:STAT?", ok);
    }

    // Fixture files on both ports of both objects, switched on and off, and now and then a file
    // that does not load (-2), a port suffix out of range (-100) or a port cleared.
    void Fixtures(int ch, int round)
    {
        bool ok = false;
        const QString object =
            QStringLiteral(":SENS%1:CORR:%2").arg(ch).arg(round % 2 ? "EMB" : "DEEMB");
        const int port = 1 + (round / 2) % 2;
        auto send = [&](const QString& rest) { Send((object + rest).toLatin1()); };
        auto ask = [&](const QString& rest) { Query((object + rest).toLatin1(), ok); };
        send(QStringLiteral(":PORT%1:LOAD \"%2\"").arg(port).arg(fixtureFile));
        send(QStringLiteral(":STAT %1").arg(round % 3 == 2 ? "OFF" : "ON"));
        ask(QStringLiteral(":STAT?"));
        ask(QStringLiteral(":PORT1:LOAD?"));
        ask(QStringLiteral(":PORT2:LOAD?"));
        if (round % 5 == 0)
        {
            send(QStringLiteral(":PORT%1:LOAD \"%2\"").arg(port).arg(badFile));
        }
        if (round % 6 == 0)
        {
            send(QStringLiteral(":PORT3:CLE"));
        }
        if (round % 4 == 3)
        {
            send(QStringLiteral(":PORT%1:CLE").arg(port));
        }
    }

    // Limit and ripple tables over the sweep, their verdicts, and now and then a data form
    // whose parameters are not whole groups (-2) or a table emptied.
    void Limits(int ch, double start, double stop, int round)
    {
        bool ok = false;
        const QString prefix = QStringLiteral(":CALC%1:MEAS1:").arg(ch);
        auto send = [&](const QString& rest) { Send((prefix + rest).toLatin1()); };
        auto ask = [&](const QString& rest) { Query((prefix + rest).toLatin1(), ok); };
        const double mid = (start + stop) / 2;
        const double level = -60.0 + rng.bounded(60);
        send(QStringLiteral("LIM:DATA %1,%2,%3,%4,%5,1,%3,%6,-120,-120")
                 .arg(1 + rng.bounded(2))
                 .arg(start, 0, 'f', 0)
                 .arg(mid, 0, 'f', 0)
                 .arg(level)
                 .arg(level + rng.bounded(10))
                 .arg(stop, 0, 'f', 0));
        send(QStringLiteral("RLIM:DATA %1,%2,%3,%4")
                 .arg(1 + rng.bounded(2))
                 .arg(start, 0, 'f', 0)
                 .arg(mid, 0, 'f', 0)
                 .arg(1 + rng.bounded(20)));
        send(QStringLiteral("LIM:STAT %1").arg(round % 4 == 3 ? "OFF" : "ON"));
        send(QStringLiteral("LIM:DISP:STAT ON"));
        send(QStringLiteral("RLIM:STAT ON"));
        send(QStringLiteral("RLIM:DISP:STAT %1").arg(round % 2 ? "ON" : "OFF"));
        ask(QStringLiteral("LIM:FAIL?"));
        ask(QStringLiteral("RLIM:FAIL?"));
        ask(QStringLiteral("LIM:STAT?"));
        if (round % 6 == 0)
        {
            send(QStringLiteral("LIM:DATA 2,1e9,2e9,-3"));    // a group short: -2
            send(QStringLiteral("RLIM:DATA 1,1e9,2e9,3,4"));  // a group long: -2
            ask(QStringLiteral("LIM:FAIL?"));
        }
        if (round % 8 == 0)
        {
            send(QStringLiteral("LIM:DATA:DEL"));
            send(QStringLiteral("RLIM:DEL"));
            ask(QStringLiteral("RLIM:FAIL?"));
        }
    }

    // The calibration's state and kits every round, the switches now and then, and every
    // twentieth round a whole one-port calibration of channel 1 with a system kit, saved, checked
    // and unloaded again so that the data stays raw for the other rounds.
    void Correction(int ch, int round)
    {
        bool ok = false;
        const QString sense = QStringLiteral(":SENS%1:CORR").arg(ch);
        auto query = [&](const QString& tail) { return Query((sense + tail).toLatin1(), ok); };
        query(QStringLiteral(":CSET:ACT?"));
        query(QStringLiteral(":CSET:TYPE?"));
        query(QStringLiteral(":CSET:NAME?"));
        query(QStringLiteral(":STAT?"));
        Query(":SENS:CORR:CKIT:CAT?", ok);
        Query(":SENS:CORR:CKIT:COUN?", ok);
        if (round % 7 == 0)
        {
            query(QStringLiteral(":CSET:ETER? edf"));
            Send((sense + QStringLiteral(":INT:STAT %1").arg(round % 2)).toLatin1());
            query(QStringLiteral(":INT:STAT?"));
        }
        if (round % 20 != 11)
        {
            return;
        }
        // 85052D: open 1, short 2, load 3.
        Send(":SENS1:CORR:COLL:CKIT:SEL 85052D");
        if (Query(":SENS1:CORR:COLL:CKIT:SEL?", ok) != "85052D")
        {
            return;
        }
        Send(":SENS1:CORR:COLL:METH sol,1");
        // A step that fails may be taken again.
        for (const char* step : {"SHOR? 1,2", "OPEN? 1,1", "LOAD? 1,3"})
        {
            for (int attempt = 0; attempt < 2; ++attempt)
            {
                if (Query(QByteArray(":SENS1:CORR:COLL:ACQ:") + step, ok) == "1")
                {
                    ++counts.calSteps;
                    break;
                }
            }
        }
        // No file named: the documents folder of the program's (private) home.
        Send(":SENS1:CORR:COLL:SAVE");
        if (Query(":SENS1:CORR:CSET:TYPE?", ok) == "sol")
        {
            ++counts.calibrations;
        }
        Send(":SENS1:CORR:CSET:DEAC");
    }

    // Every marker command in turn: placement, searches, flags, the reference marker, the
    // bandwidth search, tracking and coupling; a different marker each round.
    void Markers(int ch, double start, double stop, int round)
    {
        bool ok = false;
        const QString m = QStringLiteral(":CALC%1:MEAS1:MARK%2").arg(ch).arg(1 + round % 15);
        auto send = [&](const QString& tail) { Send((m + tail).toLatin1()); };
        auto query = [&](const QString& tail) { Query((m + tail).toLatin1(), ok); };
        static const char* const functions[] = {"MAX", "MIN", "RPE", "LPE", "NPE"};
        static const char* const couplings[] = {"OFF", "CHAN", "ALL"};

        send(QStringLiteral(":STAT ON"));
        send(QStringLiteral(":X %1").arg((start + stop) / 2, 0, 'f', 0));
        query(QStringLiteral(":Y?"));
        send(QStringLiteral(":FUNC:PEAK:THR %1").arg(-80 + int(rng.bounded(60))));
        send(QStringLiteral(":FUNC:PEAK:EXC %1").arg(1 + int(rng.bounded(6))));
        send(QStringLiteral(":FUNC:EXEC ") + QLatin1String(functions[round % 5]));
        query(QStringLiteral(":X?"));
        query(QStringLiteral(":FUNC:PEAK:THR?"));
        send(QStringLiteral(":DELT %1").arg(round % 2));
        query(QStringLiteral(":DELT?"));
        send(QStringLiteral(":TYPE %1").arg(round % 6 == 0 ? "FIX" : "NORM"));
        query(QStringLiteral(":TYPE?"));
        send(QStringLiteral(":FUNC:TRAC %1").arg(round % 4 == 0 ? "MAX" : "OFF"));
        query(QStringLiteral(":FUNC:TRAC?"));
        send(QStringLiteral(":REF:STAT ON"));
        send(QStringLiteral(":REF:X %1").arg(start, 0, 'f', 0));
        query(QStringLiteral(":REF:Y?"));
        query(QStringLiteral(":REF:TYPE?"));
        send(QStringLiteral(":BWID:STAT %1").arg(round % 3 != 0 ? "ON" : "OFF"));
        send(QStringLiteral(":BWID:THR -%1").arg(1 + int(rng.bounded(20))));
        send(QStringLiteral(":BWID:TRAC %1").arg(round % 2));
        query(QStringLiteral(":BWID:DATA?"));
        Send(QByteArray(":CALC:MEAS:MARK:COUP ") + couplings[round % 3]);
        Query(":CALC:MEAS:MARK:COUP?", ok);
        if (round % 10 == 9)
        {
            Send(QStringLiteral(":CALC%1:MEAS1:MARK:AOFF").arg(ch).toLatin1());
        }
    }

    void Garbage()
    {
        static const QByteArray fixed[] = {
            ":SENS99:FREQ:STAR 1e9",      // channel out of range
            ":SENS1:FREQ:STAR banana",    // malformed parameter
            ":SENS1:FREQ:STAR",           // missing parameter
            ":NO:SUCH:COMMAND 1,2,3",     // unknown header
            ":CALC1:MEAS0:DATA:SDATA?",   // measurement out of range: no reply
            ":CALC1:MEAS1:MARK99:X?",     // marker out of range: no reply
            ";;;::: ,,, \"\" \t",         // separators only
            ":SENS1:FREQ:STAR 1e10",      // exponent the reader does not take
            ":SENS1:FREQ:STAR #15abcde",  // binary block where a number belongs
            "*IDN",                       // query without its mark
            ":SYST:PRES:USER:LOAD \"/nonexistent/dir/x.ini\"",
        };
        const int pick = rng.bounded(int(sizeof fixed / sizeof fixed[0]));
        ++counts.garbageLines;
        if (fixed[pick].contains('?'))
        {
            bool ok = false;
            Query(fixed[pick], ok);  // expected to answer nothing; counted either way
        }
        else
        {
            Send(fixed[pick]);
        }
        // Random bytes without a line feed or a question mark, then an overlong line.
        QByteArray junk;
        const int n = 1 + rng.bounded(200);
        for (int i = 0; i < n; ++i)
        {
            char c = char(rng.bounded(256));
            if (c == '\n' || c == '\r' || c == '?')
            {
                c = 'x';
            }
            junk.append(c);
        }
        ++counts.garbageLines;
        Send(junk);
        if (rng.bounded(10) == 0)
        {
            ++counts.garbageLines;
            Send(QByteArray(100000, 'A'));
        }
    }

private:
    // A lossy line over the whole band on a coarse grid, and a file that does not parse.
    void WriteFixtureFiles()
    {
        QByteArray text = "# Hz S RI R 50\n";
        for (int i = 0; i <= 40; ++i)
        {
            const double f = 40e6 + i * (40e9 - 40e6) / 40;
            const double a = std::pow(10.0, -0.2 * std::sqrt(f / 1e9) / 20.0);
            const double phase = -2.0 * M_PI * f * 0.3e-9;
            const QByteArray re = QByteArray::number(a * std::cos(phase), 'g', 17);
            const QByteArray im = QByteArray::number(a * std::sin(phase), 'g', 17);
            text += QByteArray::number(f, 'g', 17) + " 0.01 0 " + re + ' ' + im + ' ' + re + ' ' +
                    im + " 0.01 0\n";
        }
        fixtureFile = Write("line.s2p", text);
        badFile = Write("bad.s2p", "# Hz S RI R 50\n1e9 0.1 banana\n");
        stateFile = files.filePath(QStringLiteral("state.ini"));
    }

    QString Write(const char* name, const QByteArray& text)
    {
        const QString path = files.filePath(QLatin1String(name));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        {
            std::fprintf(stderr, "soak: cannot write %s\n", qPrintable(path));
        }
        return path;
    }

    // Reads n bytes within the timeout.
    bool ReadBytes(qint64 n, QByteArray& out)
    {
        QElapsedTimer t;
        t.start();
        while (socket.bytesAvailable() < n)
        {
            const int left = opt.timeoutMs - int(t.elapsed());
            if (left <= 0 || !Connected() || !socket.waitForReadyRead(left))
            {
                if (socket.bytesAvailable() < n)
                {
                    return false;
                }
            }
        }
        out = socket.read(n);
        return true;
    }

    // A query answered by a definite-length block: its bytes, without header and line feed.
    QByteArray QueryBlock(const QByteArray& line, bool& ok)
    {
        DropStray();
        Send(line);
        ++counts.queriesSent;
        QByteArray head, digits, bytes, end;
        ok = ReadBytes(2, head) && head[0] == '#' && ReadBytes(head[1] - '0', digits) &&
             ReadBytes(digits.toLongLong(), bytes) && ReadBytes(1, end) && end == "\n";
        ++(ok ? counts.answered : counts.noReply);
        if (!ok && !head.contains('\n'))
        {
            socket.readLine();  // the rest of whatever came instead
        }
        return bytes;
    }

    // Binary data in both widths and byte orders, then back to text; the status registers;
    // now and then a single sweep waited for with *OPC and *WAI.
    void FormatsAndStatus(int ch, int round)
    {
        bool ok = false;
        const bool wide = round % 2 == 0;
        Send(QByteArray(wide ? ":FORM REAL,64" : ":FORM REAL,32") +
             (round % 3 == 0 ? ";:FORM:BORD SWAP" : ";:FORM:BORD NORM"));
        const QByteArray block =
            QueryBlock(QStringLiteral(":CALC%1:MEAS1:DATA:SDATA?").arg(ch).toLatin1(), ok);
        if (ok)
        {
            counts.dataPoints += block.size() / (wide ? 16 : 8);
        }
        Send(":FORM ASC");
        Send("*ESE 60;*SRE 32");
        Query("*ESR?;*STB?;*TST?", ok);
        if (round % 6 == 5)
        {
            Send(QStringLiteral(":INIT%1:IMM;*OPC;*WAI").arg(ch).toLatin1());
            Query("*ESR?", ok);
        }
    }

    void DropStray()
    {
        socket.waitForReadyRead(0);
        while (socket.canReadLine())
        {
            socket.readLine();
            ++counts.strayLines;
        }
    }

    const Options& opt;
    Counts& counts;
    QRandomGenerator rng;
    QTcpSocket socket;
    QTemporaryDir files;
    QString fixtureFile, badFile, stateFile;
};

bool ParseOptions(const QStringList& args, Options& o)
{
    for (int i = 1; i < args.size(); ++i)
    {
        const QString& a = args[i];
        const QString v = args.value(i + 1);
        bool ok = true;
        if (a == QLatin1String("--duration"))
            o.durationSeconds = v.toInt(&ok);
        else if (a == QLatin1String("--port"))
            o.port = quint16(v.toUInt(&ok));
        else if (a == QLatin1String("--pid"))
            o.pid = v.toLongLong(&ok);
        else if (a == QLatin1String("--timeout-ms"))
            o.timeoutMs = v.toInt(&ok);
        else if (a == QLatin1String("--seed"))
            o.seed = v.toUInt(&ok);
        else if (a == QLatin1String("--host"))
            o.host = v;
        else
            return false;
        if (!ok)
            return false;
        ++i;
    }
    return o.durationSeconds > 0 && o.timeoutMs > 0;
}
}  // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    Options opt;
    if (!ParseOptions(app.arguments(), opt))
    {
        std::fprintf(stderr,
                     "usage: soak_client --duration SECONDS [--port N] [--pid PID] "
                     "[--timeout-ms MS] [--seed N] [--host ADDRESS]\n");
        return 2;
    }
    Counts counts;
    Client client(opt, counts);
    if (!client.Connect(60000))
    {
        std::fprintf(stderr, "soak: no connection to %s:%u\n", qPrintable(opt.host), opt.port);
        return 1;
    }
    const qint64 rssStart = ResidentKb(opt.pid);
    qint64 rssMax = rssStart;

    bool ok = false;
    const QByteArray idn = client.Query("*IDN?", ok);
    std::printf("soak: *IDN? -> %s\n", ok ? idn.constData() : "(no reply)");
    // The instrument, then two channels sweeping continuously.
    if (client.Query(":SYST:DEV:ACT?", ok) != "1")
    {
        const QByteArray list = client.Query(":SYST:DEV:LIST?", ok);
        const QByteArray serial = list.split(',').value(0).trimmed();
        if (!serial.isEmpty())
        {
            client.Query(":SYST:DEV:CONN? " + serial, ok);
        }
    }
    client.Send(":CONF:CHAN1:STAT 1");
    client.Send(":CONF:CHAN2:STAT 1");
    client.Send(":CALC2:MEAS1:DEF");  // the new channel's first measurement
    client.Send(":SENS1:SWE:MODE CONT");
    client.Send(":SENS2:SWE:MODE CONT");
    client.Send(":INIT1:CONT 1");
    client.Send(":INIT2:CONT 1");

    QElapsedTimer clock;
    clock.start();
    qint64 lastSample = 0;
    // Memory once the first sweeps, replies and caches have been allocated: the reference for
    // growth over the run.
    constexpr qint64 kWarmUpMs = 60000;
    qint64 rssSettled = -1;
    int round = 0;
    int lostAt = -1;
    while (clock.elapsed() < qint64(opt.durationSeconds) * 1000)
    {
        if (!client.Connected())
        {
            lostAt = int(clock.elapsed() / 1000);
            break;
        }
        client.Round(round++);
        if (rssSettled < 0 && clock.elapsed() > kWarmUpMs)
        {
            rssSettled = ResidentKb(opt.pid);
        }
        if (clock.elapsed() - lastSample > 10000)
        {
            lastSample = clock.elapsed();
            rssMax = qMax(rssMax, ResidentKb(opt.pid));
        }
    }
    if (client.Connected())
    {
        client.DrainErrors();
    }
    const qint64 rssEnd = ResidentKb(opt.pid);
    rssMax = qMax(rssMax, rssEnd);

    std::printf("soak: %d s, %d rounds\n", int(clock.elapsed() / 1000), round);
    std::printf("soak: lines sent %lld, queries %lld, answered %lld, no reply %lld, stray %lld\n",
                counts.linesSent, counts.queriesSent, counts.answered, counts.noReply,
                counts.strayLines);
    std::printf("soak: garbage lines %lld, data values received %lld, reconnections %lld\n",
                counts.garbageLines, counts.dataPoints, counts.reconnects);
    std::printf("soak: remote calibrations %lld, steps measured %lld\n", counts.calibrations,
                counts.calSteps);
    std::printf("soak: errors queued %lld, read %lld:", counts.errorsQueued, counts.errorsRead);
    for (auto it = counts.errorCodes.cbegin(); it != counts.errorCodes.cend(); ++it)
    {
        std::printf(" %d x%lld", it.key(), it.value());
    }
    std::printf("\n");
    for (auto it = counts.errorTexts.cbegin(); it != counts.errorTexts.cend(); ++it)
    {
        std::printf("soak:   %6lld x %s\n", it.value(), it.key().constData());
    }
    std::printf("soak: resident memory start %lld kB, end %lld kB, max %lld kB\n", rssStart, rssEnd,
                rssMax);
    if (rssSettled > 0)
    {
        std::printf(
            "soak: resident memory after %lld s of warm-up %lld kB; growth to the end %.1f %%\n",
            kWarmUpMs / 1000, rssSettled, 100.0 * double(rssEnd - rssSettled) / double(rssSettled));
    }
    if (lostAt >= 0)
    {
        std::printf("soak: connection lost after %d s\n", lostAt);
        return 1;
    }
    return counts.answered > 0 ? 0 : 1;
}
