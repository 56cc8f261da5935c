#include <QAbstractButton>
#include <QApplication>
#include <QLineEdit>
#include <QMessageBox>
#include <QMutexLocker>
#include <QStackedWidget>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>
#include <functional>

#include "control_panels.h"
#include "kx_widgets.h"
#include "mainwindow.h"
#include "status_bar.h"
#include "test_fixtures.h"
#include "touchstone.h"
#include "vna_lib.h"

// Answers the next modal message box with `button` and remembers its text; `onBox` runs while
// the box is up.
class BoxAnswerer : public QObject
{
public:
    explicit BoxAnswerer(QMessageBox::StandardButton b, std::function<void()> onBox = {})
        : button(b), seen(std::move(onBox))
    {
        connect(&timer, &QTimer::timeout, this, [this] { Answer(); });
        timer.start(10);
    }
    QStringList texts;

private:
    void Answer()
    {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box)
        {
            return;
        }
        texts.append(box->text());
        if (seen)
        {
            seen();
        }
        if (QAbstractButton* b = box->button(button))
        {
            b->click();
        }
        else
        {
            box->accept();
        }
    }
    QMessageBox::StandardButton button;
    std::function<void()> seen;
    QTimer timer;
};

class TestMainWindow : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }
    void init();
    void cleanup();
    void typedStartFrequencyIsClamped();
    void ninthChannelWarnsAndKeepsMeasuring();
    void deleteChannel();
    void importCreatesHeldChannel();
    void panelStackCollapses();
    void statusBarLabels();

private:
    template <typename T>
    T* PanelOf(int index)
    {
        return qobject_cast<T*>(window->Panel(index));
    }
    QLineEdit* StimulusEdit(int row);
    VnaLib none;
    MainWindow* window = nullptr;
};

void TestMainWindow::init()
{
    BoxAnswerer yes(QMessageBox::Yes);  // accept the demo device
    window = new MainWindow(nullptr, &none);
    window->show();
    QVERIFY(window->Model().device.IsDemoMode());
}

void TestMainWindow::cleanup()
{
    window->close();
    delete window;
    window = nullptr;
}

QLineEdit* TestMainWindow::StimulusEdit(int row)
{
    // Stimulus panel rows: type, start, stop, step, center, span, points, ...
    auto edits = PanelOf<StimulusControlPanel>(2)->findChildren<KXLineEdit*>();
    return edits.value(row - 1);
}

void TestMainWindow::typedStartFrequencyIsClamped()
{
    window->panelButtonClicked(2);
    QLineEdit* start = StimulusEdit(1);
    QLineEdit* stop = StimulusEdit(2);
    QVERIFY(start && stop);
    VNAStimulus& s = window->Model().channels[0]->stimulus;

    start->setFocus();
    start->selectAll();
    QTest::keyClicks(start, "1 GHz");
    QTest::keyClick(start, Qt::Key_Return);
    QCOMPARE(s.start, 1e9);
    QCOMPARE(start->text(), Frequency(1e9).GetFreqString());

    start->selectAll();
    QTest::keyClicks(start, "50 GHz");
    QTest::keyClick(start, Qt::Key_Return);
    // Clamped to the top of the range, with stop dragged along, and shown so at once.
    QCOMPARE(s.start, 40e9);
    QCOMPARE(s.stop, 40e9);
    QCOMPARE(start->text(), Frequency(40e9).GetFreqString());
    QCOMPARE(stop->text(), Frequency(40e9).GetFreqString());

    start->selectAll();
    QTest::keyClicks(start, "garbage");
    QTest::keyClick(start, Qt::Key_Return);
    QCOMPARE(s.start, 40e9);  // bad text changes nothing
    QCOMPARE(start->text(), Frequency(40e9).GetFreqString());
    QVERIFY(window->Model().MeasRunning());
}

void TestMainWindow::ninthChannelWarnsAndKeepsMeasuring()
{
    for (int i = 1; i < 8; ++i)
    {
        window->addChannelTracePressed();
    }
    for (const VNAChannel* c : window->Model().channels)
    {
        QVERIFY(c->enabled);
    }
    bool runningDuringWarning = false;
    BoxAnswerer ok(QMessageBox::Ok,
                   [&] { runningDuringWarning = window->Model().MeasRunning(); });
    window->addChannelTracePressed();
    QCOMPARE(ok.texts, QStringList{"All channels are currently active."});
    QVERIFY(runningDuringWarning);
    QVERIFY(window->Model().MeasRunning());
}

void TestMainWindow::deleteChannel()
{
    window->addChannelTraceWindowPressed();
    VNAModel& m = window->Model();
    QVERIFY(m.channels[1]->enabled);
    QCOMPARE(m.activeChannelIndex, 1);
    m.channels[1]->sweepMode.SetMode(VNASweepMode::Hold);
    {
        BoxAnswerer yes(QMessageBox::Yes);
        window->deleteChannel(1);
        QCOMPARE(yes.texts, QStringList{"Are you sure you want to delete Channel 2?"});
    }
    QVERIFY(!m.channels[1]->enabled);
    QCOMPARE(m.channels[1]->sweepMode.GetMode(), VNASweepMode::Continuous);
    QMutexLocker lock(&m.traceLock);
    for (const VNATrace* t : m.traces)
    {
        QVERIFY(!t || t->channel != 1);
    }
    QVERIFY(m.mapper.GetTracesOnChannel(1).isEmpty());
    QVERIFY(m.ActiveTrace() != nullptr);
    QCOMPARE(m.activeChannelIndex, m.ActiveTrace()->channel);
}

void TestMainWindow::importCreatesHeldChannel()
{
    QTemporaryDir dir;
    const VNAStimulus stim = testfx::Stimulus(1e9, 2e9, 11);
    const SParameters data = testfx::SmoothSParams(stim.GetFreqVector());
    QString error;
    const QString path = dir.filePath("dut.s2p");
    QVERIFY(StoreSNPFile(path, stim, data, false, 0, error));

    VNAModel& m = window->Model();
    const int plotsBefore = window->GetVisiblePlots();
    QVERIFY(window->ImportSNPFile(path));
    const VNAChannel* c = m.channels[1];
    QVERIFY(c->enabled);
    QCOMPARE(c->sweepMode.GetMode(), VNASweepMode::Hold);
    QVERIFY(c->isImportedS2PData);
    QCOMPARE(c->stimulus.points, 11);
    QVERIFY(std::fabs(c->stimulus.stop - 2e9) < 1.0);
    QCOMPARE(window->GetVisiblePlots(), plotsBefore + 1);
    QMutexLocker lock(&m.traceLock);
    const QVector<int> traces = m.mapper.GetTracesOnChannel(1);
    QCOMPARE(traces.size(), 4);
    // The traces show the file's data: S21 in dB at the first point.
    const VNATrace* s21 = m.traces[traces[1]];
    QCOMPARE(s21->meas, S21);
    QCOMPARE(s21->y.size(), 11);
    QVERIFY(std::fabs(s21->y[0] - 20 * std::log10(std::abs(data.S21[0]))) < 1e-3);
}

void TestMainWindow::panelStackCollapses()
{
    QStackedWidget* stack = window->PanelStack();
    QAbstractButton* traces = window->PanelButton(5);
    QTest::mouseClick(traces, Qt::LeftButton);
    QVERIFY(stack->isVisible());
    QCOMPARE(stack->currentIndex(), 5);
    QVERIFY(traces->isChecked());
    QTest::mouseClick(window->PanelButton(2), Qt::LeftButton);
    QCOMPARE(stack->currentIndex(), 2);
    QTest::mouseClick(window->PanelButton(2), Qt::LeftButton);
    QVERIFY(!stack->isVisible());
    for (int i = 0; i < MainWindow::kPanelCount; ++i)
    {
        QVERIFY(!window->PanelButton(i)->isChecked());
    }
}

void TestMainWindow::statusBarLabels()
{
    VNAStatusBar* bar = window->StatusBar();
    QCOMPARE(bar->ChannelText(), QString("Ch1"));
    QCOMPARE(bar->CalibrationText(), QString("Cal:None"));
    QVERIFY(bar->DeviceText().startsWith("Demo Device S/N-20000001  FW-3"));
    window->stimAvgEnabledChanged(0, true);
    QVERIFY(bar->BandwidthText().startsWith(" IFBW:20.0k- "));
    window->triggerSweepModeChanged(0, VNASweepMode::Hold);
    QCOMPARE(bar->ContText(), QString(" HOLD "));
    QCOMPARE(getShortFrequencyString(0), QString("0 Hz"));
    QCOMPARE(getShortFrequencyString(1.5e6), QString("1.50M"));
    QCOMPARE(getShortFrequencyString(150e3), QString("150k"));
    QCOMPARE(getShortFrequencyString(15e3), QString("15.0k"));
    QCOMPARE(getShortFrequencyString(1.5e3), QString("1.50k"));
    QCOMPARE(getShortFrequencyString(150), QString("150H"));
    QCOMPARE(getShortFrequencyString(15), QString("15.0H"));
    QCOMPARE(getShortFrequencyString(1.5), QString("1.50Hz"));
}

QTEST_MAIN(TestMainWindow)
#include "test_mainwindow.moc"
