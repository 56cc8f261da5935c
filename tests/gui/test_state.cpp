// Instrument state files through the window and through a remote client: a saved state recalled
// into a fresh program saves again to the same file and computes the same traces from the stored
// raw data; damaged files are refused or read with defaults, and a refused file keeps the setup.
#include <QFile>
#include <QMutexLocker>
#include <QtTest>

#include "error_log.h"
#include "line_client.h"
#include "mainwindow.h"
#include "test_fixtures.h"
#include "vna_lib.h"
#include "vna_plot.h"

using testfx::LineClient;
using testfx::RunClients;

namespace
{
void RoundToFloat(CplxVector& v)
{
    for (std::complex<double>& z : v)
    {
        z = std::complex<double>(float(z.real()), float(z.imag()));
    }
}

// The model's stored data at the precision a state file keeps (float pairs).
void ToFilePrecision(VNAModel& m)
{
    for (VNAChannel* c : m.channels)
    {
        for (int i = 0; i < SParametersRaw::kVectorCount; ++i)
        {
            RoundToFloat(c->MeasRaw.Vector(i));
            RoundToFloat(c->MeasAvg.Vector(i));
        }
        for (VNATraceMeas s : {S11, S21, S12, S22})
        {
            RoundToFloat(c->MeasCal.GetSParam(s));
        }
    }
    {
        QMutexLocker lock(&m.traceLock);
        for (VNATrace* t : m.traces)
        {
            if (t)
            {
                for (VNATraceMeas s : {S11, S21, S12, S22})
                {
                    RoundToFloat(t->mem.GetSParam(s));
                }
            }
        }
    }
    for (int c = 0; c < VNAModel::kChannelCount; ++c)
    {
        m.CalcTraces(c);
    }
}

QByteArray ReadAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Names of the traces in list order, "-" for a hole.
QStringList TraceNames(VNAModel& m)
{
    QMutexLocker lock(&m.traceLock);
    QStringList names;
    for (const VNATrace* t : m.traces)
    {
        names.append(t ? t->name + QString::number(t->channel) : QStringLiteral("-"));
    }
    return names;
}
}  // namespace

class TestState : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void saveRecallSaveIsIdentical();
    void recalledStateComputesSameTraces();
    void damagedFiles();
    void remoteSaveAndLoad();

private:
    MainWindow* NewWindow();
    // A setup with something in every part of the file, swept once and then held.
    void BuildSetup(MainWindow* w);

    VnaLib none;
    MainWindow* window = nullptr;
    MainWindow* other = nullptr;
    QTemporaryDir dir;
};

void TestState::initTestCase()
{
    testfx::IsolateUserFiles();
    Preferences::Get().scpiPort = 0;
    Preferences::Get().scpiLockoutDialogEnabled = false;
    Hidden::Set(true);
    QVERIFY(dir.isValid());
}

MainWindow* TestState::NewWindow()
{
    auto* w = new MainWindow(nullptr, &none);
    w->Model().device.ConnectDemo();
    return w;
}

void TestState::init()
{
    window = NewWindow();
    window->quickSetupFull2Port(true);
    QVERIFY(window->Model().MeasRunning());
}

void TestState::cleanup()
{
    for (MainWindow** w : {&window, &other})
    {
        if (*w)
        {
            (*w)->close();
            delete *w;
            *w = nullptr;
        }
    }
}

void TestState::BuildSetup(MainWindow* w)
{
    VNAModel& m = w->Model();
    QVERIFY(testfx::WaitFor([&] { return m.channels[0]->sweepsDone.load() >= 2; }));
    w->traceStoreMem(0);
    m.markerAddMarker(1);
    w->Plot(0)->SetTitle(QStringLiteral("Filter"));
    w->triggerSweepModeChanged(0, VNASweepMode::Hold);
    w->MeasStop();
    {
        // A hole in the trace list: indices after it must survive.
        QMutexLocker lock(&m.traceLock);
        delete m.traces[2];
        m.traces[2] = nullptr;
        m.mapper.Remove(2);
        m.traces[3]->limitRanges.append(VNALimitRange{});
    }
    m.channels[0]->velocityFactor = 0.66;
    m.spurReject = true;
}

void TestState::saveRecallSaveIsIdentical()
{
    BuildSetup(window);
    // Derived values (marker readouts) are saved too: they match only when the original
    // computed them from data at file precision.
    ToFilePrecision(window->Model());
    const QString a = dir.filePath(QStringLiteral("a.ini"));
    const QString b = dir.filePath(QStringLiteral("b.ini"));
    QVERIFY(window->SaveInstrumentState(a));

    other = NewWindow();
    QVERIFY(other->LoadInstrumentState(a));
    QCOMPARE(TraceNames(other->Model()), TraceNames(window->Model()));
    QVERIFY(other->Model().traces[2] == nullptr);
    QVERIFY(other->Plot(0) && other->Plot(0)->GetTitle() == QStringLiteral("Filter"));
    QVERIFY(other->Model().spurReject);
    other->MeasStop();  // every channel holds: the stored data stay as they are
    QVERIFY(other->SaveInstrumentState(b));
    // Marker readouts recomputed after a recall can differ from the original's in the last
    // digits, so the fixed point is checked: a recalled file saves again unchanged.
    const QString c = dir.filePath(QStringLiteral("c2.ini"));
    QVERIFY(other->LoadInstrumentState(b));
    other->MeasStop();
    QVERIFY(other->SaveInstrumentState(c));
    const QByteArray first = ReadAll(b), second = ReadAll(c);
    QVERIFY(first.size() > 1000);
    const QList<QByteArray> la = first.split('\n'), lb = second.split('\n');
    for (int i = 0; i < std::min(la.size(), lb.size()); ++i)
    {
        QVERIFY2(la[i] == lb[i], (la[i].left(120) + " / " + lb[i].left(120)).constData());
    }
    QCOMPARE(la.size(), lb.size());
}

void TestState::recalledStateComputesSameTraces()
{
    BuildSetup(window);
    const QString a = dir.filePath(QStringLiteral("c.ini"));
    QVERIFY(window->SaveInstrumentState(a));
    other = NewWindow();
    QVERIFY(other->LoadInstrumentState(a));
    other->MeasStop();

    // The original, at the precision the file keeps, through the same chain.
    ToFilePrecision(window->Model());
    int compared = 0;
    for (int c = 0; c < VNAModel::kChannelCount; ++c)
    {
        window->CalcTraces(c);
        other->CalcTraces(c);
    }
    VNAModel& m = window->Model();
    QMutexLocker l1(&m.traceLock);
    QMutexLocker l2(&other->Model().traceLock);
    for (int i = 0; i < m.traces.size(); ++i)
    {
        const VNATrace* t = m.traces[i];
        const VNATrace* u = other->Model().traces.value(i, nullptr);
        QCOMPARE(t == nullptr, u == nullptr);
        if (t)
        {
            QVERIFY(t->y.size() > 10);
            QCOMPARE(u->x, t->x);
            QCOMPARE(u->y.size(), t->y.size());
            for (int k = 0; k < t->y.size(); ++k)
            {
                // Float storage bounds the difference; anything lost or misplaced is far above.
                QVERIFY2(std::abs(u->y[k] - t->y[k]) <= 1e-5 * (1.0 + std::abs(t->y[k])),
                         qPrintable(QStringLiteral("trace %1 point %2: %3 %4")
                                        .arg(i)
                                        .arg(k)
                                        .arg(u->y[k])
                                        .arg(t->y[k])));
            }
            ++compared;
        }
    }
    QCOMPARE(compared, 3);
}

void TestState::damagedFiles()
{
    VNAModel& m = window->Model();
    const QStringList before = TraceNames(m);
    const QString good = dir.filePath(QStringLiteral("good.ini"));
    QVERIFY(window->SaveInstrumentState(good));
    const QByteArray whole = ReadAll(good);

    // A newer version: refused, the setup kept but stopped.
    QByteArray newer = whole;
    newer.replace("PresetFileVersion=1", "PresetFileVersion=2");
    QVERIFY(!window->LoadInstrumentState(testfx::WriteFile(dir, "newer.ini", newer)));
    QCOMPARE(TraceNames(m), before);
    QVERIFY(!m.MeasRunning());
    // No version at all is refused the same way; a file that does not exist changes nothing.
    QVERIFY(!window->LoadInstrumentState(testfx::WriteFile(dir, "none.ini", "[General]\nA=1\n")));
    window->MeasStart();
    QVERIFY(!window->LoadInstrumentState(dir.filePath(QStringLiteral("missing.ini"))));
    QVERIFY(m.MeasRunning());
    QCOMPARE(TraceNames(m), before);

    // Missing keys take the defaults of fresh objects; a wrong type reads as zero.
    const QByteArray sparse =
        "[General]\nPresetFileVersion=1\nSpurReject=true\n"
        "Channels\\size=1\nChannels\\1\\Channel\\Enabled=true\n"
        "Channels\\1\\Channel\\Stimulus\\SweepPoints=51\n"
        "Traces\\size=1\nTraces\\1\\Enabled=true\n"
        "Traces\\1\\Format=LogMag\nTraces\\1\\Channel=77\n";
    QVERIFY(window->LoadInstrumentState(testfx::WriteFile(dir, "sparse.ini", sparse)));
    const VNAStimulus fresh;
    QCOMPARE(m.channels[0]->stimulus.points, 51);
    QCOMPARE(m.channels[0]->stimulus.start, fresh.start);
    QVERIFY(m.spurReject);
    {
        QMutexLocker lock(&m.traceLock);
        QCOMPARE(m.traces.size(), 1);
        QCOMPARE(int(m.traces[0]->format), int(LinMag));
        QCOMPARE(m.traces[0]->channel, VNAModel::kChannelCount - 1);
        QCOMPARE(m.traces[0]->name, VNATrace().name);
    }
    for (int i = 0; i < VNAModel::kPlotCount; ++i)
    {
        QVERIFY(window->Plot(i) == nullptr);
    }

    // A file cut short loads what it holds and leaves the rest at defaults.
    QVERIFY(window->LoadInstrumentState(
        testfx::WriteFile(dir, "cut.ini", whole.left(whole.size() / 2))));
    QVERIFY(window->Model().channels.size() == VNAModel::kChannelCount);
}

void TestState::remoteSaveAndLoad()
{
    const QString path = dir.filePath(QStringLiteral("remote.ini"));
    const QStringList before = TraceNames(window->Model());
    QByteArray saved, loaded, errors;
    RunClients({[&]
                {
                    LineClient c;
                    if (c.Connect(window->SCPIServerPort()))
                    {
                        c.Send(":SYST:PRES:USER:SAVE \"" + path.toUtf8() + "\"\n");
                        saved = c.Query("*OPC?");
                        c.Send(":CALC1:MEAS1:DEL:ALL\n");
                        c.Send(":SYST:PRES:USER:LOAD \"" + path.toUtf8() + "\"\n");
                        loaded = c.Query("*OPC?");
                        errors = c.Query(":SYST:ERR:COUN?");
                    }
                }});
    QCOMPARE(saved, QByteArray("1"));
    QCOMPARE(loaded, QByteArray("1"));
    QCOMPARE(errors, QByteArray("0"));
    QVERIFY(QFile::exists(path));
    QCOMPARE(TraceNames(window->Model()), before);
}

QTEST_MAIN(TestState)
#include "test_state.moc"
