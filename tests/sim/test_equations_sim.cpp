// Equations in the running measurement loop over the simulated instrument: the chain evaluates
// them on the measurement thread, reading traces of two channels, while the interface edits them.
#include <QMutexLocker>
#include <QtTest>
#include <complex>

#include "test_fixtures.h"
#include "vna_lib.h"
#include "vna_model.h"
#include "vna_sim.h"

using cplx = std::complex<double>;

namespace
{
VNATrace* AddEquationTrace(VNAModel& model, int channel, VNATraceFormat format,
                           const QString& equation)
{
    VNATrace* t = testfx::AddTrace(model, channel, S11, format);
    QMutexLocker lock(&model.traceLock);
    t->equation = equation;
    t->equationEnabled = true;
    return t;
}
}  // namespace

class TestEquationsSim : public QObject
{
    Q_OBJECT

private:
    VnaLib lib;

private slots:
    void initTestCase()
    {
        testfx::IsolateUserFiles();
        vnaSimSetServerPort(-1);  // no scene commands needed: no listener
        QVERIFY2(lib.Load(QStringLiteral(VNA_SIM_LIBRARY)), qPrintable(lib.LoadError()));
    }

    void equationsOnLiveChannels()
    {
        vnaSimReset();
        vnaSimSetNoise(0);
        VNAModel model(&lib);
        QVERIFY(model.device.Connect());
        for (int c = 0; c < 2; ++c)
        {
            VNAChannel& ch = *model.channels[c];
            ch.enabled = true;
            ch.stimulus = testfx::Stimulus(1e9, 9e9, 201);
            ch.stimulus.ifbw = 100000;
        }
        testfx::AddTrace(model, 0, S21, LogMag);
        testfx::AddTrace(model, 0, S11, LogMag);
        VNATrace* re = AddEquationTrace(model, 0, Real, "Tr1/Tr2");
        VNATrace* im = AddEquationTrace(model, 0, Imag, "Tr1/Tr2");
        testfx::AddTrace(model, 1, S22, LogMag);
        VNATrace* other = AddEquationTrace(model, 0, Real, "Tr5*2");

        // The interface edits an equation at every look while the loop sweeps both channels.
        model.MeasStart();
        int edits = 0;
        QVERIFY(testfx::WaitFor(
            [&]
            {
                model.SetTraceEquation(2, ++edits % 2 ? "Tr2*Tr1" : "Tr1/Tr2");
                return model.SweepsStarted() >= 10;
            }));
        model.MeasStop();
        QVERIFY(edits > 1);
        model.SetTraceEquation(2, "Tr1/Tr2");

        QMutexLocker lock(&model.traceLock);
        const SParameters& a = model.channels[0]->processed;
        const SParameters& b = model.channels[1]->processed;
        QCOMPARE(a.Size(), 201);
        QCOMPARE(b.Size(), 201);
        QVERIFY(re->equationValid && im->equationValid && other->equationValid);
        QCOMPARE(re->GetNameString(), QStringLiteral("Eq=Tr1/Tr2"));
        for (int i = 0; i < 201; ++i)
        {
            const cplx ratio = a.S21[i] / a.S11[i];
            QVERIFY(std::abs(ratio) > 0.0);
            QVERIFY(std::fabs(re->y[i] - ratio.real()) <= 1e-12 * std::abs(ratio));
            QVERIFY(std::fabs(im->y[i] - ratio.imag()) <= 1e-12 * std::abs(ratio));
            // Another channel's data, from its own last pass.
            QCOMPARE(other->y[i], 2.0 * b.S22[i].real());
        }
        lock.unlock();
        model.device.Disconnect();
    }
};

QTEST_GUILESS_MAIN(TestEquationsSim)
#include "test_equations_sim.moc"
