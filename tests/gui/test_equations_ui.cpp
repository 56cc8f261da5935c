// A trace's equation through the window on the instrument simulator: the Math panel's controls
// and the editor its button opens, the chain on live data (S21 over S11 between two traces), the
// status bar's report of a failing equation while the loop keeps sweeping, the label the plot
// draws, and a remote client reading the result. Also the panel's delay given as a length.
#include <QCheckBox>
#include <QComboBox>
#include <QImage>
#include <QLineEdit>
#include <QMutexLocker>
#include <QStatusBar>
#include <QtTest>
#include <complex>

#include "equation_editor.h"
#include "kx_widgets.h"
#include "line_client.h"
#include "mainwindow.h"
#include "modal_answerer.h"
#include "panel_access.h"
#include "status_bar.h"
#include "test_fixtures.h"
#include "vna_lib.h"
#include "vna_plot.h"
#include "vna_sim.h"

using cplx = std::complex<double>;

namespace
{
constexpr int kPoints = 101;
constexpr int kMathPanel = 7;
constexpr int kSweepWaitMs = 30000;
// Metres of line per second of electrical delay at velocity factor 1.
constexpr double kMetresPerSecond = 299792500.0;

QVector<double> Numbers(const QByteArray& reply)
{
    QVector<double> v;
    for (const QByteArray& field : reply.split(','))
    {
        v.append(field.toDouble());
    }
    return v;
}

// Types into a field and finishes the edit as the operator does.
void Type(KXLineEdit* edit, const QString& text)
{
    edit->setFocus();
    edit->selectAll();
    QTest::keyClicks(edit, text);
    QTest::keyClick(edit, Qt::Key_Return);
}

// What the editor showed while it was up. Checked once it has closed: a failed check inside its
// event loop would leave it open.
struct EditorVisit
{
    bool opened = false;
    QStringList statuses;  // its status line after each text
    QStringList labels;    // the trace's label after each text
};
}  // namespace

class TestEquationsUi : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void panelAndEditorOnLiveData();
    void failingEquationKeepsSweeping();
    void labelOnThePlot();
    void remoteClientReadsTheEquation();
    void delayAsLengthOnThePanel();

private:
    QWidget* MathPanel() const { return window->Panel(kMathPanel); }
    QCheckBox* EnabledBox() const
    {
        return testfx::FormField<QCheckBox>(MathPanel(), QStringLiteral("Equation Enabled"));
    }
    QString Label() const;
    KXLineEdit* Field(const char* label) const
    {
        return testfx::FormField<KXLineEdit>(MathPanel(), QLatin1String(label));
    }
    // The :CALCulate#:MEASure# suffix under which a remote client reaches a trace of channel 1.
    int MeasureSuffix(int trace) const;
    QString StatusMessage() const { return window->StatusBar()->currentMessage(); }
    // Opens the editor with the panel's button, switches its "Enabled" box over if asked, and
    // types each text in turn.
    EditorVisit Edit(const QStringList& texts, bool toggleEnabled = false);
    // Processes events until the loop has started this many more sweeps.
    bool SweepMore(int sweeps);
    // With the loop stopped: the trace's values against part(S21 / S11) of the channel's
    // processed data of the same pass.
    void CompareWithRatio(double (*part)(const cplx&));
    // Renders a plot of the window's model and cuts out the equation trace's label.
    QImage LabelImage();
    // The label drawn now is exactly the one drawn for a trace named name.
    void LabelReads(const QString& name);

    VnaLib lib;
    MainWindow* window = nullptr;
    int eq = -1;  // the equation's trace
    int plot = 0;
};

void TestEquationsUi::initTestCase()
{
    testfx::IsolateUserFiles();
    Preferences::Get().scpiPort = 0;
    Preferences::Get().scpiLockoutDialogEnabled = false;
    vnaSimSetServerPort(-1);  // no scene commands: no listener
    QVERIFY2(lib.Load(QStringLiteral(VNA_SIM_LIBRARY)), qPrintable(lib.LoadError()));
    window = new MainWindow(nullptr, &lib);
    window->show();
    QVERIFY(window->Model().device.Connected());
    QVERIFY(!window->Model().device.IsDemoMode());
    // Tr1 S11, Tr2 S21, Tr3 S12, Tr4 S22, and the equation's trace Tr5, selected, in Real.
    window->quickSetupFull2Port(true);
    window->stimPointsChanged(0, kPoints);
    {
        QMutexLocker lock(&window->Model().traceLock);
        plot = window->Model().traces[0]->plot;
    }
    eq = window->CreateTrace(0, plot, S11, Real);
    window->traceSelected(eq);
    window->UpdateAll(0);
}

void TestEquationsUi::cleanupTestCase()
{
    window->close();
    delete window;
}

QString TestEquationsUi::Label() const
{
    QMutexLocker lock(&window->Model().traceLock);
    return window->Model().traces[eq]->GetNameString();
}

EditorVisit TestEquationsUi::Edit(const QStringList& texts, bool toggleEnabled)
{
    EditorVisit visit;
    testfx::ModalAnswerer answerer;
    answerer.onDialog = [&](QDialog* d)
    {
        auto* editor = qobject_cast<EquationEditor*>(d);
        QComboBox* box = editor ? editor->findChild<QComboBox*>() : nullptr;
        auto* enabled = editor ? editor->findChild<QCheckBox*>() : nullptr;
        visit.opened = box && enabled;
        if (visit.opened)
        {
            if (toggleEnabled)
            {
                enabled->click();
            }
            for (const QString& text : texts)
            {
                box->lineEdit()->selectAll();
                QTest::keyClicks(box->lineEdit(), text);
                visit.statuses << editor->StatusText();
                visit.labels << Label();
            }
        }
        d->reject();
    };
    QPushButton* button = testfx::FindButton(MathPanel(), QStringLiteral("Equation Editor"));
    if (button)
    {
        button->click();
    }
    return visit;
}

bool TestEquationsUi::SweepMore(int sweeps)
{
    const uint64_t target = window->Model().SweepsStarted() + uint64_t(sweeps);
    return QTest::qWaitFor([&] { return window->Model().SweepsStarted() >= target; }, kSweepWaitMs);
}

void TestEquationsUi::CompareWithRatio(double (*part)(const cplx&))
{
    QMutexLocker lock(&window->Model().traceLock);
    const SParameters& p = window->Model().channels[0]->processed;
    const VNATrace& t = *window->Model().traces[eq];
    QCOMPARE(t.y.size(), kPoints);
    QCOMPARE(p.Size(), kPoints);
    for (int i = 0; i < kPoints; ++i)
    {
        const cplx ratio = p.S21[i] / p.S11[i];
        QVERIFY2(std::fabs(t.y[i] - part(ratio)) <= 1e-12 * std::abs(ratio),
                 qPrintable(QString::number(i)));
    }
}

void TestEquationsUi::panelAndEditorOnLiveData()
{
    QCheckBox* enabled = EnabledBox();
    QVERIFY(enabled);
    QVERIFY(!enabled->isChecked());
    QCOMPARE(Label(), QStringLiteral("S11"));
    // Whole sweeps first: points not yet swept read zero, and S21 / S11 would divide by them.
    QVERIFY(SweepMore(3));

    // Typed in the editor and switched on there; the panel then shows it on.
    const EditorVisit v = Edit({QStringLiteral("Tr2/Tr1")}, true);
    QVERIFY(v.opened);
    QCOMPARE(v.statuses, QStringList{QStringLiteral("No known errors")});
    QCOMPARE(v.labels, QStringList{QStringLiteral("Eq=Tr2/Tr1")});
    QVERIFY(enabled->isChecked());
    QVERIFY(SweepMore(2));

    // The last pass of the loop: the trace is S21 / S11 of the very data the pass processed.
    window->MeasStop();
    CompareWithRatio([](const cplx& z) { return z.real(); });
    window->traceFormatChanged(eq, Imag);
    CompareWithRatio([](const cplx& z) { return z.imag(); });
    window->traceFormatChanged(eq, Real);

    // The panel's box switches it off and on again: off, the trace is its own S11 once more.
    enabled->click();
    {
        QMutexLocker lock(&window->Model().traceLock);
        const VNATrace& t = *window->Model().traces[eq];
        QVERIFY(!t.equationEnabled);
        QCOMPARE(t.GetNameString(), QStringLiteral("S11"));
        const CplxVector& s11 = window->Model().channels[0]->processed.S11;
        for (int i = 0; i < kPoints; ++i)
        {
            QCOMPARE(t.y[i], s11[i].real());
        }
    }
    enabled->click();
    QVERIFY(enabled->isChecked());
    CompareWithRatio([](const cplx& z) { return z.real(); });
    window->MeasStart();
}

void TestEquationsUi::failingEquationKeepsSweeping()
{
    QVERIFY(window->Model().MeasRunning());
    QVERIFY(EnabledBox()->isChecked());
    // A text that does not parse fails without a reason on the status bar; one that parses may
    // still fail on the data, and says why.
    const EditorVisit v = Edit({QStringLiteral("pi"), QStringLiteral("S21/0")});
    QVERIFY(v.opened);
    QCOMPARE(v.statuses, QStringList({"Invalid equation", "No known errors"}));
    QCOMPARE(v.labels, QStringList({"Eqn Err", "Eqn Err"}));
    const QString reason = QStringLiteral("Eqn Error: Divide by zero");
    QTRY_COMPARE(StatusMessage(), reason);

    // The loop goes on, and so does the trace, with the failure on its label and the bar.
    QVERIFY(SweepMore(3));
    QCOMPARE(Label(), QStringLiteral("Eqn Err"));
    QCOMPARE(StatusMessage(), reason);
    {
        QMutexLocker lock(&window->Model().traceLock);
        QCOMPARE(window->Model().traces[eq]->y.size(), kPoints);
        QVERIFY(!window->Model().traces[eq]->equationValid);
    }

    // Switched off, the report goes, and reports of passes still queued do not bring it back.
    EnabledBox()->click();
    QVERIFY(SweepMore(2));
    QCOMPARE(StatusMessage(), QString());
    QCOMPARE(Label(), QStringLiteral("S11"));
    EnabledBox()->click();
    QTRY_COMPARE(StatusMessage(), reason);

    // Put right in the editor, the trace shows the equation again and the bar stays clear.
    QCOMPARE(Edit({QStringLiteral("S21/S11")}).labels, QStringList{"Eq=S21/S11"});
    QVERIFY(SweepMore(2));
    QCOMPARE(StatusMessage(), QString());
    window->MeasStop();
    CompareWithRatio([](const cplx& z) { return z.real(); });
}

QImage TestEquationsUi::LabelImage()
{
    VNAPlot view(window->Model(), plot);
    const QSize size(1000, 500);
    view.resize(size);
    QImage img(size, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    view.render(&img);
    for (const VNAPlot::TraceLabelPos& l : view.LabelPositions())
    {
        if (l.trace == eq)
        {
            return img.copy(l.rect);
        }
    }
    return QImage();
}

void TestEquationsUi::LabelReads(const QString& name)
{
    const QImage drawn = LabelImage();
    QVERIFY(!drawn.isNull());
    window->traceNameChanged(name);
    window->traceUseNameChanged(true);
    const QImage named = LabelImage();
    window->traceUseNameChanged(false);
    QVERIFY2(drawn == named, qPrintable(name));
}

void TestEquationsUi::labelOnThePlot()
{
    // Still, so that only the label changes between two drawings.
    window->MeasStop();
    QCOMPARE(Edit({QStringLiteral("Tr2/Tr1")}).labels, QStringList{"Eq=Tr2/Tr1"});
    const QImage equation = LabelImage();
    LabelReads(QStringLiteral("Eq=Tr2/Tr1"));
    // Drawings of different labels differ: the comparisons above could fail.
    EnabledBox()->click();
    QCOMPARE(Label(), QStringLiteral("S11"));
    QVERIFY(LabelImage() != equation);
    EnabledBox()->click();

    // Sixteen characters of a longer equation and "..", and the failure.
    Edit({QStringLiteral("Tr2/Tr1*1+0*S21/S11")});
    LabelReads(QStringLiteral("Eq=Tr2/Tr1*1+0*S21/.."));
    Edit({QStringLiteral("Tr2/0")});
    LabelReads(QStringLiteral("Eqn Err"));
    window->MeasStart();
}

int TestEquationsUi::MeasureSuffix(int trace) const
{
    QMutexLocker lock(&window->Model().traceLock);
    for (int place = 0; place < 16; ++place)
    {
        if (window->Model().mapper.GetPos(0, place) == trace)
        {
            return place + 1;
        }
    }
    return -1;
}

void TestEquationsUi::remoteClientReadsTheEquation()
{
    // Still, so that the client reads the equation and its operands from one pass.
    window->MeasStop();
    QVERIFY(window->Model().SetTraceEquation(eq, QStringLiteral("Tr2/Tr1")));
    QVERIFY(window->Model().SetTraceEquationEnabled(eq, true));
    const int eqSuffix = MeasureSuffix(eq), s11Suffix = MeasureSuffix(0),
              s21Suffix = MeasureSuffix(1);
    QVERIFY(eqSuffix > 0 && s11Suffix > 0 && s21Suffix > 0);
    const quint16 port = window->SCPIServerPort();
    QVERIFY(port != 0);

    QByteArray fdata, s11, s21, velocity;
    bool connected = false;
    testfx::RunClients({[&]
                        {
                            testfx::LineClient c;
                            connected = c.Connect(port);
                            if (!connected)
                            {
                                return;
                            }
                            const auto data = [&](int suffix, const char* kind)
                            {
                                return c.Query(QStringLiteral(":CALC1:MEAS%1:DATA:%2?")
                                                   .arg(suffix)
                                                   .arg(QLatin1String(kind))
                                                   .toLatin1());
                            };
                            fdata = data(eqSuffix, "FDATA");
                            s11 = data(s11Suffix, "SDATA");
                            s21 = data(s21Suffix, "SDATA");
                            c.Send(":SENS1:CORR:RVEL:COAX 0.75\n");
                            velocity = c.Query(":SENS1:CORR:RVEL:COAX?");
                        }});
    QVERIFY(connected);

    // The formatted trace (Real) is Re(S21 / S11) of the pairs the client read, to the ten
    // digits the replies carry.
    const QVector<double> y = Numbers(fdata), a = Numbers(s11), b = Numbers(s21);
    QCOMPARE(y.size(), kPoints);
    QCOMPARE(a.size(), 2 * kPoints);
    QCOMPARE(b.size(), 2 * kPoints);
    for (int i = 0; i < kPoints; ++i)
    {
        const cplx ratio = cplx(b[2 * i], b[2 * i + 1]) / cplx(a[2 * i], a[2 * i + 1]);
        QVERIFY2(std::fabs(y[i] - ratio.real()) <= 1e-8 * std::abs(ratio),
                 qPrintable(QString::number(i)));
    }
    QCOMPARE(Label(), QStringLiteral("Eq=Tr2/Tr1"));

    // A remote velocity factor is the one the panel shows, and the panel's reaches the client.
    QCOMPARE(velocity.toDouble(), 0.75);
    QCOMPARE(Field("Velocity Factor")->Value(), 0.75);
    Type(Field("Velocity Factor"), QStringLiteral("0.5"));
    testfx::RunClients({[&]
                        {
                            testfx::LineClient c;
                            velocity =
                                c.Connect(port) ? c.Query(":SENS1:CORR:RVEL:COAX?") : QByteArray();
                        }});
    QCOMPARE(velocity.toDouble(), 0.5);
}

void TestEquationsUi::delayAsLengthOnThePanel()
{
    KXLineEdit* delay = Field("Electrical Delay");
    KXLineEdit* velocity = Field("Velocity Factor");
    KXLineEdit* length = Field("Length");
    QVERIFY(delay && velocity && length);
    const auto state = [&](double& seconds, double& factor)
    {
        QMutexLocker lock(&window->Model().traceLock);
        seconds = window->Model().traces[eq]->elecDelay;
        factor = window->Model().channels[0]->velocityFactor;
    };
    const auto near = [](double a, double b) { return std::fabs(a - b) <= 1e-12 * std::fabs(b); };
    double seconds = 0.0, factor = 0.0;

    // The length follows the delay, and the velocity factor, which leaves the delay alone.
    Type(delay, QStringLiteral("2 ns"));
    Type(velocity, QStringLiteral("0.66"));
    state(seconds, factor);
    QVERIFY(near(seconds, 2e-9));
    QCOMPARE(factor, 0.66);
    QVERIFY(near(length->Value(), 2e-9 * kMetresPerSecond * 0.66));

    // A length sets the delay that a line of that length at this velocity factor makes.
    Type(length, QStringLiteral("0.5 m"));
    state(seconds, factor);
    QVERIFY(near(seconds, 0.5 / (kMetresPerSecond * 0.66)));
    QVERIFY(near(delay->Value(), seconds));
    QVERIFY(near(length->Value(), 0.5));
    Type(length, QStringLiteral("-1.2"));
    state(seconds, factor);
    QVERIFY(near(seconds, -1.2 / (kMetresPerSecond * 0.66)));

    // A factor above 1 is held at 1; text that is no number changes nothing.
    Type(velocity, QStringLiteral("1.5"));
    state(seconds, factor);
    QCOMPARE(factor, 1.0);
    QVERIFY(near(length->Value(), seconds * kMetresPerSecond));
    Type(velocity, QStringLiteral("fast"));
    Type(length, QStringLiteral("long"));
    double seconds2 = 0.0;
    state(seconds2, factor);
    QCOMPARE(factor, 1.0);
    QCOMPARE(seconds2, seconds);
    QCOMPARE(velocity->Value(), 1.0);
    window->traceElecDelayChanged(eq, 0.0);
}

QTEST_MAIN(TestEquationsUi)
#include "test_equations_ui.moc"
