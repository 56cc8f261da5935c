// The time domain through the operator's panels and on the plot: the two panels driven through
// their own controls, the gate coupling of a channel, the cable list kept in the preferences,
// and the time axis, its texts in time and distance, and the gate drawn over the trace.
#include <QCheckBox>
#include <QFormLayout>
#include <QImage>
#include <QInputDialog>
#include <QLabel>
#include <QMutexLocker>
#include <QPainter>
#include <QPushButton>
#include <QtTest>
#include <cmath>

#include "modal_answerer.h"
#include "color_prefs.h"
#include "control_panels.h"
#include "kx_widgets.h"
#include "mainwindow.h"
#include "test_fixtures.h"
#include "time_domain.h"
#include "vna_lib.h"
#include "vna_plot.h"


namespace
{
const char* const kLowpassWarning =
    "The current stimulus settings are not lowpass compatible. Reverting";

// The field of a panel's form row, found by the row's label.
QWidget* Field(QWidget* panel, const QString& label)
{
    for (QFormLayout* form : panel->findChildren<QFormLayout*>())
    {
        for (int row = 0; row < form->rowCount(); ++row)
        {
            QLayoutItem* l = form->itemAt(row, QFormLayout::LabelRole);
            QLayoutItem* f = form->itemAt(row, QFormLayout::FieldRole);
            auto* text = l ? qobject_cast<QLabel*>(l->widget()) : nullptr;
            if (text && f && text->text() == label)
            {
                return f->widget();
            }
        }
    }
    return nullptr;
}

QPushButton* Button(QWidget* panel, const QString& text)
{
    for (QPushButton* b : panel->findChildren<QPushButton*>())
    {
        if (b->text() == text)
        {
            return b;
        }
    }
    return nullptr;
}

// As the operator does: pick the item, which the combo box reports as activated.
void Choose(QWidget* field, const QVariant& data)
{
    auto* box = qobject_cast<KXComboBox*>(field);
    QVERIFY(box);
    const int i = box->findData(data);
    QVERIFY(i >= 0);
    box->setCurrentIndex(i);
    emit box->activated(i);
}

void Type(QWidget* field, const QString& text)
{
    auto* edit = qobject_cast<QLineEdit*>(field);
    QVERIFY(edit);
    QVERIFY(edit->isEnabled());
    edit->setFocus();
    edit->selectAll();
    QTest::keyClicks(edit, text);
    QTest::keyClick(edit, Qt::Key_Return);
}

void Click(QWidget* field)
{
    auto* box = qobject_cast<QAbstractButton*>(field);
    QVERIFY(box);
    box->click();
}

// Gives the next input dialog a text and accepts it.
class InputAnswerer : public QObject
{
public:
    explicit InputAnswerer(const QString& answer) : text(answer)
    {
        connect(&timer, &QTimer::timeout, this,
                [this]
                {
                    if (auto* d = qobject_cast<QInputDialog*>(QApplication::activeModalWidget()))
                    {
                        prompt = d->labelText();
                        d->setTextValue(text);
                        d->accept();
                    }
                });
        timer.start(10);
    }
    QString prompt;

private:
    QString text;
    QTimer timer;
};

struct GateOf
{
    bool enabled;
    int type, shape;
    double start, stop;
    bool operator==(const GateOf& o) const
    {
        // Times typed as "10 ns" are 10 * 1e-9, which may sit one rounding away from 10e-9.
        auto same = [](double a, double b) { return std::fabs(a - b) <= 1e-12 * std::fabs(b); };
        return enabled == o.enabled && type == o.type && shape == o.shape && same(start, o.start) &&
               same(stop, o.stop);
    }
};

// --- plot pixels -----------------------------------------------------------------------------

bool Tinted(QRgb p, const QColor& c)
{
    const QColor q(p);
    const int dh = std::abs(q.hue() - c.hue());
    return q.value() > 70 && q.saturation() > 120 && std::min(dh, 360 - dh) <= 12;
}

bool ColumnTinted(const QImage& img, double x, int y0, int y1, const QColor& c)
{
    for (int y = y0; y <= y1; ++y)
    {
        for (int dx = -1; dx <= 1; ++dx)
        {
            if (Tinted(img.pixel(int(std::floor(x)) + dx, y), c))
            {
                return true;
            }
        }
    }
    return false;
}

// The rows under the graticule, from its left edge, where only the axis texts are drawn.
QImage AxisStrip(const QImage& img, const QRectF& r)
{
    const int x0 = int(r.left()) + 2;
    const int y0 = int(r.bottom()) + 2;
    return img.copy(x0, y0, img.width() - x0, img.height() - y0);
}

// The two axis texts drawn by hand where the plot puts them, through a widget of the plot's size
// and font rendered the same way, for a pixel-exact comparison.
class AxisTexts : public QWidget
{
public:
    AxisTexts(const VNAPlot& plot, const QString& l, const QString& r)
        : rect(plot.PlotRect()), left(l), right(r)
    {
        setFont(plot.font());
        resize(plot.size());
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter p(this);
        p.fillRect(QRect(QPoint(), size()), ColorPrefs::Get().background);
        p.setPen(ColorPrefs::Get().text);
        const int baseline = int(rect.top() + rect.height() + p.fontMetrics().ascent());
        p.drawText(int(rect.left()), baseline, left);
        const int rightEdge = int(rect.left() + rect.width());
        p.drawText(rightEdge - p.fontMetrics().horizontalAdvance(right), baseline, right);
    }

private:
    QRectF rect;
    QString left, right;
};

QImage ExpectedAxis(const VNAPlot& plot, const QString& left, const QString& right)
{
    AxisTexts texts(plot, left, right);
    QImage img(plot.size(), QImage::Format_ARGB32_Premultiplied);
    texts.render(&img);
    return AxisStrip(img, plot.PlotRect());
}

QImage Render(VNAPlot& plot)
{
    QImage img(plot.size(), QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    plot.render(&img);
    return img;
}
}  // namespace

class TestTimeDomainUi : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void transformPanelWarningGridAndRange();
    void cableListSetsVelocityAndOutlivesPreferences();
    void gatingPanelAndChannelCoupling();
    void timeAxisInSecondsAndDistance();
    void gateDrawnOnTheTracesTimeView();

private:
    QWidget* TimePanel() const { return window->Panel(9); }
    QWidget* GatePanel() const { return window->Panel(10); }
    VNATrace* Trace(int index) { return window->Model().traces.value(index, nullptr); }
    GateOf Gate(int index);
    // Read under the trace lock: the measurement loop writes the auto-scaled range.
    VNATransformSettings Transform(int index);
    // A time-domain trace on a plot of its own model, filled with points by value(time).
    int PlotTrace(VNAModel& model, const std::function<double(double)>& value);

    VnaLib none;
    MainWindow* window = nullptr;
};

void TestTimeDomainUi::initTestCase()
{
    testfx::IsolateUserFiles();
    Preferences::Get().scpiPort = 0;  // any free port: other tests may hold the usual one
}

void TestTimeDomainUi::init()
{
    Hidden::Set(false);
    Preferences::Get().userCables.clear();
    testfx::ModalAnswerer yes(QMessageBox::Yes);  // accept the demo device
    window = new MainWindow(nullptr, &none);
    window->show();
    QVERIFY(window->Model().device.IsDemoMode());
    window->quickSetupFull2Port(true);
}

void TestTimeDomainUi::cleanup()
{
    Hidden::Set(false);
    window->close();
    delete window;
    window = nullptr;
}

GateOf TestTimeDomainUi::Gate(int index)
{
    QMutexLocker lock(&window->Model().traceLock);
    const VNATrace* t = Trace(index);
    return {t->gateEnabled, t->gateType, t->gateShape, t->gateStart, t->gateStop};
}

VNATransformSettings TestTimeDomainUi::Transform(int index)
{
    QMutexLocker lock(&window->Model().traceLock);
    return Trace(index)->transform;
}

void TestTimeDomainUi::transformPanelWarningGridAndRange()
{
    window->panelButtonClicked(9);
    QWidget* panel = TimePanel();
    const VNAStimulus& stim = window->Model().channels[0]->stimulus;
    window->stimStopFreqChanged(0, Frequency(3e9));
    window->stimStartFreqChanged(0, Frequency(1.003e9));
    window->stimPointsChanged(0, 201);
    QVERIFY(!stim.IsTDLowpassCompatible());
    const int active = window->ActiveTraceIndex();

    // A low-pass type on a grid that misses DC: warned, and band-pass is kept and shown.
    {
        testfx::ModalAnswerer ok(QMessageBox::Ok);
        Choose(Field(panel, "Measurement Type"), TransformLowpassStep);
        QCOMPARE(ok.texts, QStringList{kLowpassWarning});
    }
    QCOMPARE(Transform(active).type, TransformBandpass);
    auto* type = qobject_cast<KXComboBox*>(Field(panel, "Measurement Type"));
    QCOMPARE(type->GetCurrentData().toInt(), int(TransformBandpass));
    // Hidden, the same refusal shows nothing (a box would be up, and answered, inside the call).
    Hidden::Set(true);
    {
        testfx::ModalAnswerer ok(QMessageBox::Ok);
        Choose(Field(panel, "Measurement Type"), TransformLowpassImpulse);
        QVERIFY(ok.texts.isEmpty());
    }
    Hidden::Set(false);
    QCOMPARE(Transform(active).type, TransformBandpass);

    // The low-pass grid: 3 GHz / 201 points is below the lowest frequency, so the step becomes
    // 40 MHz and the points as many as fit under the stop.
    QPushButton* grid = Button(panel, "Set Low Pass Frequencies");
    QVERIFY(grid);
    grid->click();
    QCOMPARE(stim.start, 40e6);
    QCOMPARE(stim.points, int(3e9 / 40e6));
    QCOMPARE(stim.stop, 3e9);
    QVERIFY(std::fabs(stim.StepSize() - stim.start) < 1e-3);
    QVERIFY(window->Model().MeasRunning());
    {
        testfx::ModalAnswerer ok(QMessageBox::Ok);
        Choose(Field(panel, "Measurement Type"), TransformLowpassImpulse);
        QVERIFY(ok.texts.isEmpty());
    }
    QCOMPARE(Transform(active).type, TransformLowpassImpulse);

    // Enabled with auto scale: the range is the whole low-pass record, 2 (N + 1) - 1 points at
    // 1 / (2 stop) apart and centred on zero, and the range fields are locked.
    Click(Field(panel, "Enabled"));
    QVERIFY(Trace(active)->transformEnabled);
    const double dt = 1.0 / (2.0 * stim.stop);
    const int half = stim.points;  // (2 (N + 1) - 1) / 2
    QVERIFY(std::fabs(Transform(active).start + half * dt) < 1e-18);
    QVERIFY(std::fabs(Transform(active).stop - half * dt) < 1e-18);
    QVERIFY(!Field(panel, "Start")->isEnabled());
    QCOMPARE(qobject_cast<QLineEdit*>(Field(panel, "Stop"))->text(), TimeText(half * dt));

    // Typed range: auto scale off, centre and span edits keep each other.
    Click(Field(panel, "Auto Scale"));
    QVERIFY(!Transform(active).autoScale);
    Type(Field(panel, "Center"), "5 ns");
    Type(Field(panel, "Span"), "20 ns");
    QVERIFY(std::fabs(Transform(active).start + 5e-9) < 1e-18);
    QVERIFY(std::fabs(Transform(active).stop - 15e-9) < 1e-18);
    // A start past the stop takes the stop along and keeps the span.
    Type(Field(panel, "Start"), "30 ns");
    QVERIFY(std::fabs(Transform(active).start - 30e-9) < 1e-18);
    QVERIFY(std::fabs(Transform(active).stop - 50e-9) < 1e-18);

    // Custom window: beta is offered and held to its range.
    QVERIFY(!Field(panel, "Kaiser Beta")->isEnabled());
    Choose(Field(panel, "Window"), WindowCustom);
    Type(Field(panel, "Kaiser Beta"), "55");
    QCOMPARE(Transform(active).window, WindowCustom);
    QCOMPARE(Transform(active).beta, kMaxWindowBeta);
    Choose(Field(panel, "Marker Units"), UnitsFeet);
    Choose(Field(panel, "Marker Mode"), MarkerModeTransmission);
    QCOMPARE(Transform(active).units, UnitsFeet);
    QCOMPARE(Transform(active).markerMode, MarkerModeTransmission);
}

void TestTimeDomainUi::cableListSetsVelocityAndOutlivesPreferences()
{
    window->panelButtonClicked(9);
    QWidget* panel = TimePanel();
    const int active = window->ActiveTraceIndex();
    auto* cables = qobject_cast<KXComboBox*>(Field(panel, "Cable Select"));
    QVERIFY(cables);
    auto itemOf = [&](const QString& prefix)
    {
        for (int i = 0; i < cables->count(); ++i)
        {
            if (cables->itemText(i).startsWith(prefix))
            {
                return cables->itemData(i);
            }
        }
        return QVariant();
    };

    // Solid polyethylene carries waves at two thirds of the speed of light.
    Choose(cables, itemOf("Solid PE"));
    QCOMPARE(Transform(active).velocityFactor, 0.66);
    QCOMPARE(qobject_cast<QLineEdit*>(Field(panel, "Velocity Factor"))->text(), QString("0.660"));

    // An operator's cable: the factor typed, then named.
    Type(Field(panel, "Velocity Factor"), "0.712");
    QVERIFY(cables->currentText().startsWith("Custom"));
    {
        InputAnswerer name("Bench cable 7");
        Button(panel, "Add Cable")->click();
        QVERIFY(name.prompt.contains("0.712"));
    }
    QCOMPARE(Preferences::Get().userCables.size(), 1);
    QCOMPARE(Preferences::Get().userCables[0].name, QString("Bench cable 7"));
    QVERIFY(cables->currentText().startsWith("Bench cable 7"));
    Choose(cables, itemOf("Foam PE"));
    QCOMPARE(Transform(active).velocityFactor, 0.82);
    Choose(cables, itemOf("Bench cable 7"));
    QCOMPARE(Transform(active).velocityFactor, 0.712);
    // Typed factors are held to what a cable can be.
    Type(Field(panel, "Velocity Factor"), "1.7");
    QCOMPARE(Transform(active).velocityFactor, kMaxVelocityFactor);
    window->transformVFChanged(active, 0.0);
    QCOMPARE(Transform(active).velocityFactor, kMinVelocityFactor);
    window->transformAddCable("   ", 0.5);  // no name: nothing kept
    QCOMPARE(Preferences::Get().userCables.size(), 1);

    // The entry is written with the preferences and read back when they are built again.
    Preferences::Get().SavePreset();
    Preferences::Get().userCables.clear();
    Preferences::Get().LoadPreset();
    QCOMPARE(Preferences::Get().userCables.size(), 1);
    QCOMPARE(Preferences::Get().userCables[0].name, QString("Bench cable 7"));
    QCOMPARE(Preferences::Get().userCables[0].velocityFactor, 0.712);
}

void TestTimeDomainUi::gatingPanelAndChannelCoupling()
{
    window->panelButtonClicked(10);
    QWidget* panel = GatePanel();
    VNAModel& m = window->Model();
    QVector<int> ch0;
    {
        QMutexLocker lock(&m.traceLock);
        ch0 = m.mapper.GetTracesOnChannel(0);
    }
    QCOMPARE(ch0.size(), 4);
    window->addChannelTracePressed();  // a trace on channel 2, outside the coupling
    const int other = window->ActiveTraceIndex();
    QCOMPARE(Trace(other)->channel, 1);
    const GateOf untouched = Gate(other);
    window->traceSelected(ch0[0]);

    // Uncoupled: centre and span reach the active trace only.
    Type(Field(panel, "Gate Center"), "2 ns");
    Type(Field(panel, "Gate Span"), "4 ns");
    QCOMPARE(Gate(ch0[0]).start, 0.0);
    QCOMPARE(Gate(ch0[0]).stop, 4e-9);
    QVERIFY(!(Gate(ch0[1]) == Gate(ch0[0])));

    // Coupling on spreads the active trace's gate over its channel, and later edits from any of
    // its traces follow.
    Click(Field(panel, "Coupled Settings"));
    for (int i : ch0)
    {
        QVERIFY(Gate(i) == Gate(ch0[0]));
    }
    window->traceSelected(ch0[2]);
    QVERIFY(qobject_cast<QCheckBox*>(Field(panel, "Coupled Settings"))->isChecked());
    Click(Field(panel, "Gating"));
    Choose(Field(panel, "Gate Type"), GateNotch);
    Choose(Field(panel, "Gate Shape"), GateShapeMaximum);
    // A start after the stop is a gate of its own, taken as typed.
    Type(Field(panel, "Gate Start"), "10 ns");
    const GateOf expected{true, GateNotch, GateShapeMaximum, 10e-9, 4e-9};
    for (int i : ch0)
    {
        QVERIFY(Gate(i) == expected);
    }
    QVERIFY(Gate(other) == untouched);

    // A measurement defined later on the channel joins with the channel's gate.
    QVERIFY(window->DefineMeasurement(0, 6));
    int joined = -1;
    {
        QMutexLocker lock(&m.traceLock);
        joined = m.mapper.GetPos(0, 6);
    }
    QVERIFY(Gate(joined) == expected);

    // Uncoupled again: an edit stays on its trace.
    Click(Field(panel, "Coupled Settings"));
    QVERIFY(!m.channels[0]->timeGateCouplingEnabled);
    Type(Field(panel, "Gate Stop"), "12 ns");
    QCOMPARE(Gate(ch0[2]).stop, 12e-9);
    QCOMPARE(Gate(ch0[0]).stop, 4e-9);
}

int TestTimeDomainUi::PlotTrace(VNAModel& model, const std::function<double(double)>& value)
{
    QMutexLocker lock(&model.traceLock);
    int index = 0;
    VNATrace* t = model.InternalCreateTrace(index);
    t->SetChannel(0);
    t->SetPlot(0);
    t->SetFormat(LogMag);
    t->transformEnabled = true;
    t->transform.autoScale = false;
    t->transform.start = -10e-9;
    t->transform.stop = 30e-9;
    const int n = 401;
    t->x.resize(n);
    t->y.resize(n);
    for (int i = 0; i < n; ++i)
    {
        t->x[i] = -10e-9 + 40e-9 * i / (n - 1);
        t->y[i] = value(t->x[i]);
    }
    return index;
}

void TestTimeDomainUi::timeAxisInSecondsAndDistance()
{
    VNAModel model(&none);
    ColorPrefs::Get().LoadDefaultsDark();
    VNAPlot plot(model, 0);
    plot.resize(800, 500);
    // A baseline two divisions up with a spike at 12.5 ns reaching one division from the top.
    const int index = PlotTrace(model, [](double) { return 0.0; });
    VNATrace* t = model.traces[index];
    const double top = *t->ref() + *t->refPos() * *t->div();
    const double bottom = top - 10.0 * *t->div();
    for (int i = 0; i < t->x.size(); ++i)
    {
        t->y[i] = std::fabs(t->x[i] - 12.5e-9) < 1e-12 ? top - *t->div() : bottom + 2 * *t->div();
    }

    const QImage inTime = Render(plot);
    const QRectF r = plot.PlotRect();
    const QColor color = ColorPrefs::Get().GetTraceColor(index);
    // Time maps linearly onto the graticule: the spike stands 22.5 / 40 of the way across.
    const double xSpike = r.left() + r.width() * (22.5 / 40.0);
    const double ySpikeTop = r.top() + r.height() * 0.1;
    QVERIFY(ColumnTinted(inTime, xSpike, int(ySpikeTop) + 2, int(ySpikeTop) + 6, color));
    QVERIFY(!ColumnTinted(inTime, xSpike - 20, int(ySpikeTop) + 2, int(ySpikeTop) + 6, color));
    QCOMPARE(AxisStrip(inTime, r), ExpectedAxis(plot, "-10.000 ns", "30.000 ns"));

    // Distance: S11 is a reflection, so the wave travels the distance twice.
    t->transform.units = UnitsMeters;
    t->transform.velocityFactor = 0.7;
    const QImage inMetres = Render(plot);
    const double perSecond = 299792500.0 * 0.7 * 0.5;
    QCOMPARE(AxisStrip(inMetres, r),
             ExpectedAxis(plot, QString::asprintf("%.3f m", -10e-9 * perSecond),
                          QString::asprintf("%.3f m", 30e-9 * perSecond)));
    // Only the texts change: the graticule and the curve stay where time put them.
    QCOMPARE(inMetres.copy(r.toRect()), inTime.copy(r.toRect()));

    // A transmission in feet travels it once.
    t->SetMeas(S21);
    t->transform.units = UnitsFeet;
    const double feetPerSecond = 299792500.0 * 0.7 / 0.3048;
    QCOMPARE(AxisStrip(Render(plot), r),
             ExpectedAxis(plot, QString::asprintf("%.3f ft", -10e-9 * feetPerSecond),
                          QString::asprintf("%.3f ft", 30e-9 * feetPerSecond)));

    // The marker readout takes the trace's own velocity factor, not the channel's.
    VNAMarker& mk = t->markers[0];
    mk.enabled = true;
    mk.index = 225;
    mk.x = t->x[225];
    mk.y = t->y[225];
    model.channels[0]->velocityFactor = 0.5;
    const QImage channelHalf = Render(plot);
    model.channels[0]->velocityFactor = 1.0;
    QCOMPARE(Render(plot), channelHalf);
    t->transform.velocityFactor = 0.8;
    QVERIFY(Render(plot) != channelHalf);
}

void TestTimeDomainUi::gateDrawnOnTheTracesTimeView()
{
    VNAModel model(&none);
    ColorPrefs::Get().LoadDefaultsDark();
    VNAPlot plot(model, 0);
    plot.resize(800, 500);
    // The curve below the graticule, out of the way.
    const int index = PlotTrace(model, [](double) { return -1e6; });
    VNATrace* t = model.traces[index];
    t->gateStart = 1e-9;
    t->gateStop = 21e-9;
    const QImage off = Render(plot);
    t->gateEnabled = true;
    const QImage bandpass = Render(plot);
    const QRectF r = plot.PlotRect();
    const QColor color = ColorPrefs::Get().GetTraceColor(index);
    auto x = [&](double time) { return r.left() + r.width() * (time + 10e-9) / 40e-9; };
    const int y0 = int(r.top() + r.height() * 0.55), y1 = y0 + 4;

    QVERIFY(!ColumnTinted(off, x(1e-9), y0, y1, color));
    QVERIFY(ColumnTinted(bandpass, x(1e-9), y0, y1, color));
    QVERIFY(ColumnTinted(bandpass, x(21e-9), y0, y1, color));
    // The centre line is dashed: lit in some rows of a division, dark in others.
    int lit = 0;
    const int div = int(r.height() / 10);
    for (int y = int(r.top()) + div + 2; y < int(r.top()) + 2 * div - 2; ++y)
    {
        lit += ColumnTinted(bandpass, x(11e-9), y, y, color) ? 1 : 0;
    }
    QVERIFY(lit > 0 && lit < div - 4);
    // Inside the gate the background is shaded with the trace's hue; outside it is not.
    const QColor inside(bandpass.pixel(int(x(7e-9)), y0));
    const QColor outside(bandpass.pixel(int(x(-5e-9)), y0));
    QCOMPARE(outside, QColor(off.pixel(int(x(-5e-9)), y0)));
    QVERIFY(inside != outside);
    QVERIFY(std::abs(inside.hue() - color.hue()) <= 12);
    // The span bar joins start and stop just under the top edge.
    QVERIFY(ColumnTinted(bandpass, x(16e-9), int(r.top()) + 3, int(r.top()) + 5, color));

    // A notch is hatched: some pixels of its stretch shaded, some not.
    t->gateType = GateNotch;
    const QImage notch = Render(plot);
    int shaded = 0, plain = 0;
    for (int dx = 0; dx < 20; ++dx)
    {
        const QColor p(notch.pixel(int(x(7e-9)) + dx, y0));
        (p == outside ? plain : shaded) += 1;
    }
    QVERIFY(shaded > 0 && plain > 0);

    // The frequency view of the same trace has no gate drawn.
    t->transformEnabled = false;
    t->gateType = GateBandpass;
    model.channels[0]->stimulus = testfx::Stimulus(1e9, 2e9, 401);
    for (int i = 0; i < t->x.size(); ++i)
    {
        t->x[i] = 1e9 + 1e9 * i / (t->x.size() - 1);
    }
    const QImage frequency = Render(plot);
    t->gateEnabled = false;
    QCOMPARE(Render(plot), frequency);
}

QTEST_MAIN(TestTimeDomainUi)
#include "test_time_domain_ui.moc"
