// The Fixtures panel offscreen, on the demo device's held sweep: loading and clearing the files
// of both objects through its buttons, switching them on, the boxes for files that do not load,
// the note for a file that does not cover the sweep, and the port extension with its dialog.
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QMutexLocker>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>
#include <complex>
#include <memory>

#include "control_panels.h"
#include "error_log.h"
#include "error_model.h"
#include "kx_widgets.h"
#include "mainwindow.h"
#include "modal_answerer.h"
#include "test_fixtures.h"
#include "vna_lib.h"

using testfx::ModalAnswerer;

namespace
{
using cplx = std::complex<double>;

constexpr int kFixturesPanel = 4;
// Everything here is products of unit-magnitude factors with the demo's data.
constexpr double kRounding = 1e-12;

// A matched, lossless line: what it adds or removes is a pure delay, known in closed form.
testfx::TwoPortFn DelayLine(double delay)
{
    return [delay](double f, cplx s[4])
    {
        s[0] = s[3] = 0.0;
        s[1] = s[2] = std::polar(1.0, -2.0 * M_PI * f * delay);
    };
}

// data with each parameter turned by the round trip through lines of delays d1 (port 1) and d2
// (port 2): negative delays take lines out.
SParameters Turned(const SParameters& data, const QVector<double>& f, double d1, double d2)
{
    SParameters out = data;
    for (int i = 0; i < f.size(); ++i)
    {
        const double w = 2.0 * M_PI * f[i];
        out.S11[i] *= std::polar(1.0, -2.0 * w * d1);
        out.S21[i] *= std::polar(1.0, -w * (d1 + d2));
        out.S12[i] *= std::polar(1.0, -w * (d1 + d2));
        out.S22[i] *= std::polar(1.0, -2.0 * w * d2);
    }
    return out;
}

template <typename T = QPushButton>
T* Find(QWidget* w, const QString& name)
{
    T* child = w->findChild<T*>(name);
    if (!child)
    {
        qWarning("no widget %s", qPrintable(name));
    }
    return child;
}

// Clicks a load button and answers its file dialog with path; returns the boxes shown.
QStringList LoadThrough(QWidget* panel, const QString& button, const QString& path)
{
    ModalAnswerer answer;
    answer.QueueFile(path);
    Find(panel, button)->click();
    return answer.titles;
}
}  // namespace

class TestFixturesUi : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void loadClearAndEnableBothObjects();
    void filesThatDoNotLoadKeepTheFixture();
    void warningForAFileThatDoesNotCoverTheSweep();
    void portExtensionSwitchAndDialog();

private:
    // The channel's corrected and processed data, as the last pass left them.
    void Data(SParameters& corrected, SParameters& processed);

    VnaLib none;
    QTemporaryDir dir;
    std::unique_ptr<MainWindow> window;
    QWidget* panel = nullptr;
    QVector<double> f;
    QString line1, line2;
};

void TestFixturesUi::initTestCase()
{
    testfx::IsolateUserFiles();
    Preferences::Get().scpiPort = 0;
    QVERIFY(dir.isValid());
    {
        ModalAnswerer yes(QMessageBox::Yes);  // accept the demo device
        window = std::make_unique<MainWindow>(nullptr, &none);
    }
    window->show();
    // One sweep, then the data stay: every check reads the same corrected data.
    window->triggerSweepModeChanged(0, VNASweepMode::Single);
    QVERIFY(QTest::qWaitFor(
        [&] { return window->Model().channels[0]->sweepMode.GetMode() == VNASweepMode::Hold; },
        30000));
    window->panelButtonClicked(kFixturesPanel);
    panel = window->Panel(kFixturesPanel);
    QVERIFY(qobject_cast<FixtureControlPanel*>(panel));
    f = window->Model().channels[0]->stimulus.GetFreqVector();
    line1 = testfx::WriteExact(dir, QStringLiteral("line1.s2p"), f, DelayLine(0.1e-9));
    line2 = testfx::WriteExact(dir, QStringLiteral("line2.s2p"), f, DelayLine(0.25e-9));
}

void TestFixturesUi::cleanupTestCase()
{
    window->close();
    window.reset();
}

void TestFixturesUi::Data(SParameters& corrected, SParameters& processed)
{
    VNAModel& m = window->Model();
    QMutexLocker lock(&m.traceLock);
    corrected = m.channels[0]->MeasCal;
    processed = m.channels[0]->processed;
}

void TestFixturesUi::loadClearAndEnableBothObjects()
{
    VNAModel& m = window->Model();
    const FixtureKind kinds[2] = {FixtureKind::Deembedding, FixtureKind::Embedding};
    const QString names[2] = {"deembedding", "embedding"};
    for (int k = 0; k < 2; ++k)
    {
        for (int p = 0; p < 2; ++p)
        {
            const QString port = QStringLiteral("Port%1").arg(p + 1);
            auto* label = Find<QLabel>(panel, names[k] + port + "File");
            QCOMPARE(label->text(), QString("No File Loaded"));
            QVERIFY(LoadThrough(panel, names[k] + "Load" + port, p ? line2 : line1).isEmpty());
            QVERIFY(m.FixturePortLoaded(0, kinds[k], p));
            QCOMPARE(m.FixturePortFileName(0, kinds[k], p), p ? line2 : line1);
            QCOMPARE(label->text(), QString(p ? "line2.s2p" : "line1.s2p"));
        }
        QVERIFY(Find<QLabel>(panel, names[k] + "Warning")->isHidden());
    }

    // Loaded but off, the data pass unchanged.
    SParameters corrected, processed;
    Data(corrected, processed);
    QCOMPARE(testfx::MaxDifference(processed, corrected), 0.0);

    // De-embedding takes both lines out; embedding the same files puts them back.
    auto* deembed = Find<QCheckBox>(panel, "deembedding");
    auto* embed = Find<QCheckBox>(panel, "embedding");
    deembed->click();
    QVERIFY(m.FixtureEnabled(0, FixtureKind::Deembedding));
    Data(corrected, processed);
    QVERIFY(testfx::MaxDifference(processed, Turned(corrected, f, -0.1e-9, -0.25e-9)) < kRounding);
    QVERIFY(testfx::MaxDifference(processed, corrected) > 0.01);
    embed->click();
    QVERIFY(m.FixtureEnabled(0, FixtureKind::Embedding));
    Data(corrected, processed);
    QVERIFY(testfx::MaxDifference(processed, corrected) < kRounding);

    // Without the embedding's port 1, port 1 stays de-embedded.
    Find(panel, "embeddingClearPort1")->click();
    QVERIFY(!m.FixturePortLoaded(0, FixtureKind::Embedding, 0));
    QCOMPARE(Find<QLabel>(panel, "embeddingPort1File")->text(), QString("No File Loaded"));
    Data(corrected, processed);
    QVERIFY(testfx::MaxDifference(processed, Turned(corrected, f, -0.1e-9, 0.0)) < kRounding);

    // A change from elsewhere shows in the panel.
    window->calDeembedEnabled(0, false);
    QVERIFY(!deembed->isChecked());
    Data(corrected, processed);
    QVERIFY(testfx::MaxDifference(processed, Turned(corrected, f, 0.0, 0.25e-9)) < kRounding);

    for (const char* clear :
         {"deembeddingClearPort1", "deembeddingClearPort2", "embeddingClearPort2"})
    {
        Find(panel, clear)->click();
    }
    embed->click();
    for (int k = 0; k < 2; ++k)
    {
        QVERIFY(!m.FixtureEnabled(0, kinds[k]));
        for (int p = 0; p < 2; ++p)
        {
            QVERIFY(!m.FixturePortLoaded(0, kinds[k], p));
        }
    }
}

void TestFixturesUi::filesThatDoNotLoadKeepTheFixture()
{
    VNAModel& m = window->Model();
    const QString bad = testfx::WriteFile(dir, QStringLiteral("bad.s2p"), "# Hz S RI R 50\n1 x\n");
    QVERIFY(LoadThrough(panel, "deembeddingLoadPort1", line1).isEmpty());
    window->calDeembedEnabled(0, true);
    SParameters corrected, before, after;
    Data(corrected, before);

    QVector<double> freqs;
    SParameters params;
    QString reason;
    QVERIFY(!LoadFixtureFile(bad, freqs, params, reason));
    {
        ModalAnswerer answer;
        answer.QueueFile(bad);
        Find(panel, "deembeddingLoadPort1")->click();
        QCOMPARE(answer.titles, QStringList{"Error Parsing SnP File"});
        QCOMPARE(answer.texts, QStringList{reason});
    }
    QCOMPARE(m.FixturePortFileName(0, FixtureKind::Deembedding, 0), line1);
    QCOMPARE(Find<QLabel>(panel, "deembeddingPort1File")->text(), QString("line1.s2p"));
    Data(corrected, after);
    QCOMPARE(testfx::MaxDifference(after, before), 0.0);

    // Hidden, nothing is shown, the reason goes to the error log all the same.
    Hidden::Set(true);
    SysErr::ClearErrors();
    {
        ModalAnswerer answer;
        QVERIFY(!window->calEmbedLoadPort2(0, bad));
        QVERIFY(answer.titles.isEmpty());
    }
    Hidden::Set(false);
    QCOMPARE(SysErr::GetErrorCount(), 1);
    QVERIFY(SysErr::GetNextErrorAsString().contains("bad.s2p"));
    QVERIFY(!m.FixturePortLoaded(0, FixtureKind::Embedding, 1));

    window->calDeembedClearPort1(0);
    window->calDeembedEnabled(0, false);
}

void TestFixturesUi::warningForAFileThatDoesNotCoverTheSweep()
{
    // A fixture measured only up to the middle of the sweep, on a grid of its own.
    const QVector<double> lower = {f.first(), f[f.size() / 4], f[f.size() / 2]};
    const QString narrow =
        testfx::WriteExact(dir, QStringLiteral("narrow.s2p"), lower, DelayLine(0.1e-9));
    auto* warning = Find<QLabel>(panel, "embeddingWarning");
    QVERIFY(warning->isHidden());
    QVERIFY(LoadThrough(panel, "embeddingLoadPort2", narrow).isEmpty());
    QVERIFY(!warning->isHidden());
    QVERIFY2(warning->text().startsWith("Port 2 fixture covers"), qPrintable(warning->text()));
    QVERIFY(Find<QLabel>(panel, "deembeddingWarning")->isHidden());

    // A covering file on port 1 adds no note; clearing the narrow one removes it.
    QVERIFY(LoadThrough(panel, "embeddingLoadPort1", line1).isEmpty());
    QVERIFY(!warning->text().contains("Port 1"));
    Find(panel, "embeddingClearPort2")->click();
    QVERIFY(warning->isHidden());

    // A sweep moved off the points of a file of its length brings the note up: such a file is
    // taken point for point.
    const double stop = window->Model().channels[0]->stimulus.stop;
    window->stimStopFreqChanged(0, Frequency(stop * 0.99));
    QVERIFY(!warning->isHidden());
    QVERIFY2(warning->text().startsWith("Port 1 fixture"), qPrintable(warning->text()));
    window->stimStopFreqChanged(0, Frequency(stop));
    QVERIFY(warning->isHidden());
    Find(panel, "embeddingClearPort1")->click();
}

void TestFixturesUi::portExtensionSwitchAndDialog()
{
    VNAModel& m = window->Model();
    auto* enabled = Find<QCheckBox>(panel, "portExtension");
    QVERIFY(!enabled->isChecked());

    // The dialog opened from the panel hands its settings over only when accepted, and leaves
    // the switch alone.
    auto typeDcOffset = [](QDialog* d, const QString& text, bool accept)
    {
        QCOMPARE(d->windowTitle(), QString("Port Extension"));
        auto* dc = d->findChild<KXLineEdit*>(QStringLiteral("dcOffset"));
        QVERIFY(dc);
        dc->setText(text);
        emit dc->editingFinished();
        auto* box = d->findChild<QDialogButtonBox*>();
        QVERIFY(box);
        box->button(accept ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel)->click();
    };
    for (bool accept : {false, true})
    {
        ModalAnswerer answer;
        answer.onDialog = [&](QDialog* d) { typeDcOffset(d, "1.5", accept); };
        Find(panel, "configPortExtension")->click();
        QCOMPARE(m.GetPortExtension(0).lossDC, accept ? 1.5 : 0.0);
        QVERIFY(!m.GetPortExtension(0).enabled);
    }

    // Switched on, the DC offset raises every parameter by the offset on each port it crosses.
    SParameters corrected, processed;
    enabled->click();
    QVERIFY(m.GetPortExtension(0).enabled);
    Data(corrected, processed);
    const double gain = std::pow(10.0, 1.5 / 10.0);
    double worst = 0.0;
    for (int k = 0; k < 4; ++k)
    {
        const CplxVector& c = corrected.GetSParam(VNATraceMeas(k));
        const CplxVector& p = processed.GetSParam(VNATraceMeas(k));
        for (int i = 0; i < c.size(); ++i)
        {
            worst = std::max(worst, std::abs(p[i] - gain * c[i]));
        }
    }
    QVERIFY2(worst < kRounding, qPrintable(QString::number(worst)));
    window->calConfigurePortExtensionEnabled(false);
    QVERIFY(!enabled->isChecked());
    Data(corrected, processed);
    QCOMPARE(testfx::MaxDifference(processed, corrected), 0.0);
}

QTEST_MAIN(TestFixturesUi)
#include "test_fixtures_ui.moc"
