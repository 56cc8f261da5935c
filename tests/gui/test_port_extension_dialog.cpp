// The port extension dialog offscreen: measuring from a channel fed by the demo device, the
// delay and length views, and handing the result to the channel.
#include <QCheckBox>
#include <QMutexLocker>
#include <QPushButton>
#include <QtTest>
#include <cmath>

#include "kx_widgets.h"
#include "port_extension_dialog.h"
#include "test_fixtures.h"
#include "vna_device.h"
#include "vna_lib.h"
#include "vna_model.h"

namespace
{
// The demo device's data for a stimulus, both directions, swept by a device of the test's own.
SParametersRaw DemoSweep(const VnaLib& lib, const VNAStimulus& st)
{
    VNADevice device(&lib);
    device.ConnectDemo();
    device.Configure(st, true, true, true, true, false, false);
    SParametersRaw raw;
    device.GetSweep(raw);
    return raw;
}

bool Near(double a, double b)
{
    return std::fabs(a - b) <= 1e-12 * std::max(1.0, std::fabs(b)) || (a == b);
}

bool SameExtension(const PortExtensionSettings& a, const PortExtensionSettings& b)
{
    for (int p = 0; p < 2; ++p)
    {
        if (!Near(a.delay[p], b.delay[p]) || a.use1[p] != b.use1[p] || a.use2[p] != b.use2[p] ||
            !Near(a.freq1[p], b.freq1[p]) || !Near(a.freq2[p], b.freq2[p]) ||
            !Near(a.loss1[p], b.loss1[p]) || !Near(a.loss2[p], b.loss2[p]))
        {
            return false;
        }
    }
    return a.velocityFactor == b.velocityFactor && a.lossDC == b.lossDC;
}

void Click(VNAPortExtensionDialog& dialog, const char* name)
{
    auto* button = dialog.findChild<QPushButton*>(QLatin1String(name));
    QVERIFY(button);
    button->click();
}

void Type(VNAPortExtensionDialog& dialog, const char* name, const QString& text)
{
    auto* edit = dialog.findChild<KXLineEdit*>(QLatin1String(name));
    QVERIFY(edit);
    edit->setText(text);
    emit edit->editingFinished();
}
}  // namespace

class TestPortExtensionDialog : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }
    void measuresFreshSweepsOfTheChannel();
    void editsAndHandOver();
    void noSweepNoMeasurement();

private:
    VnaLib none;
};

void TestPortExtensionDialog::measuresFreshSweepsOfTheChannel()
{
    VNAModel model(&none);
    QVERIFY(model.device.ConnectDemo());
    VNAChannel& ch = *model.channels[0];
    ch.stimulus = testfx::Stimulus(2e9, 3.4e9, 201);
    {
        // Only an S11 trace: port 2 is swept for the measurement alone.
        QMutexLocker lock(&model.traceLock);
        int index = 0;
        model.InternalCreateTrace(index)->SetMeas(S11);
        model.mapper.SetPos(0, 0, index);
    }
    // Stale data of a 7 ns line in hold: a measurement must not take them.
    ch.MeasAvg.Resize(201);
    const QVector<double> f = ch.stimulus.GetFreqVector();
    for (int i = 0; i < f.size(); ++i)
    {
        ch.MeasAvg.S11[i] = ch.MeasAvg.S22[i] = std::polar(1.0, -2.0 * M_PI * f[i] * 14e-9);
    }
    ch.sweepMode.SetMode(VNASweepMode::Hold);
    // Read before the loop starts: it rebuilds the channel's corrections when it reconfigures.
    const SParameters demo = ch.ApplyCorrections(DemoSweep(none, ch.stimulus));
    model.MeasStart();

    VNAAutoPortExtension reference;
    PortExtensionSettings expected = model.GetPortExtension(0);

    VNAPortExtensionDialog dialog(model, 0);
    dialog.findChild<QCheckBox*>(QStringLiteral("measureLoss"))->setChecked(true);
    Click(dialog, "measurePort1Open");
    QVERIFY(dialog.Measuring());  // the click returned before any sweep
    QTRY_VERIFY_WITH_TIMEOUT(!dialog.Measuring(), 20000);
    QCOMPARE(dialog.StatusText(), QString("Measured."));
    reference.Measure(0, VNAAutoPortExtension::Open, demo, ch.stimulus, true, expected);
    QVERIFY(SameExtension(dialog.Settings(), expected));
    QVERIFY(std::fabs(dialog.Settings().delay[0] - 7e-9) > 1e-9);
    QTRY_COMPARE_WITH_TIMEOUT(ch.sweepMode.GetMode(), VNASweepMode::Hold, 10000);

    dialog.findChild<QCheckBox*>(QStringLiteral("measureLoss"))->setChecked(false);
    Click(dialog, "measurePort2Short");
    QTRY_VERIFY_WITH_TIMEOUT(!dialog.Measuring(), 20000);
    reference.Measure(1, VNAAutoPortExtension::Short, demo, ch.stimulus, false, expected);
    QVERIFY(SameExtension(dialog.Settings(), expected));
    QVERIFY(!ch.measureBothPorts.load());

    // Clear All forgets the readings: the next one stands alone, not averaged with the first.
    Click(dialog, "clearAll");
    QVERIFY(SameExtension(dialog.Settings(), PortExtensionSettings()));
    Click(dialog, "measurePort1Short");
    QTRY_VERIFY_WITH_TIMEOUT(!dialog.Measuring(), 20000);
    VNAAutoPortExtension fresh;
    PortExtensionSettings alone;
    fresh.Measure(0, VNAAutoPortExtension::Short, demo, ch.stimulus, false, alone);
    QVERIFY(SameExtension(dialog.Settings(), alone));
    model.MeasStop();
}

void TestPortExtensionDialog::editsAndHandOver()
{
    VNAModel model(&none);
    PortExtensionSettings start;
    start.enabled = true;
    start.delay[0] = 1e-9;
    model.SetPortExtension(0, start);
    const double c = 299792500.0;
    {
        VNAPortExtensionDialog dialog(model, 0);
        Type(dialog, "port1Length", "0.6");
        QVERIFY(Near(dialog.Settings().delay[0], 0.6 / c));
        // The delay stays; its length view shrinks with the velocity factor.
        Type(dialog, "velocityFactor", "0.5");
        QVERIFY(Near(dialog.Settings().delay[0], 0.6 / c));
        QCOMPARE(dialog.findChild<KXLineEdit*>("port1Length")->text(), QString("0.3000 m"));
        dialog.reject();
    }
    QVERIFY(SameExtension(model.GetPortExtension(0), start));

    VNAPortExtensionDialog dialog(model, 0);
    Click(dialog, "clearAll");
    Type(dialog, "port2Delay", "2 ns");
    dialog.accept();
    PortExtensionSettings expected;
    expected.delay[1] = 2e-9;
    QVERIFY(SameExtension(model.GetPortExtension(0), expected));
    QVERIFY(model.GetPortExtension(0).enabled);  // on or off is the panel's business
}

void TestPortExtensionDialog::noSweepNoMeasurement()
{
    VNAModel model(&none);
    VNAPortExtensionDialog dialog(model, 0);
    Click(dialog, "measurePort1Open");
    QVERIFY(!dialog.Measuring());
    QCOMPARE(dialog.StatusText(), QString("No sweep is running on this channel."));
}

QTEST_MAIN(TestPortExtensionDialog)
#include "test_port_extension_dialog.moc"
