#include "control_panels.h"

#include <QAction>
#include <QButtonGroup>
#include <QCheckBox>
#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QMutexLocker>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "kx_widgets.h"
#include "mainwindow.h"
#include "time_domain.h"
#include "trace_formats.h"
#include "vna_trace.h"

void SetChecked(QAbstractButton* b, bool checked)
{
    const QSignalBlocker block(b);
    b->setChecked(checked);
}

namespace
{
// Widgets and menu actions alike: both have a tooltip and an enabled state.
template <typename Control>
void SetControlAvailable(Control* c, bool available, const QString& reason)
{
    // The control's own tooltip, kept the first time it is made unavailable.
    static const char kOwnTip[] = "vnaOwnToolTip";
    if (!c->property(kOwnTip).isValid())
    {
        c->setProperty(kOwnTip, c->toolTip());
    }
    c->setEnabled(available);
    c->setToolTip(available ? c->property(kOwnTip).toString() : reason);
}
}  // namespace

void SetAvailable(QWidget* w, bool available, const QString& reason)
{
    SetControlAvailable(w, available, reason);
}

void SetAvailable(QAction* a, bool available, const QString& reason)
{
    SetControlAvailable(a, available, reason);
}

QString NoTraceReason()
{
    return QCoreApplication::translate("PanelBase",
                                       "No trace is selected: add a trace to use these controls.");
}

namespace
{

void FillFormats(KXComboBox* box)
{
    for (int f = 0; f < kTraceFormatCount; ++f)
    {
        box->AddItem(VNATraceFormatToTruncStr(VNATraceFormat(f)), f);
    }
}

void FillMeasurements(KXComboBox* box)
{
    for (int m = S11; m <= S22; ++m)
    {
        box->AddItem(VNATraceMeasToStr(VNATraceMeas(m)), m);
    }
}
}  // namespace

TitleBar::TitleBar(const QString& title, QWidget* parent) : QLabel(title, parent)
{
    setObjectName(QStringLiteral("TitleBar"));
    QFont f = font();
    f.setBold(true);
    setFont(f);
}

ControlPanel::ControlPanel(const QString& title, QWidget* c, QWidget* parent)
    : QWidget(parent), content(c)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(new TitleBar(title, this));
    layout->addWidget(content);
    layout->addStretch();
}

PanelBase::PanelBase(MainWindow* window) : QWidget(window), w(window)
{
    column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
}

QFormLayout* PanelBase::Form()
{
    if (!form)
    {
        form = new QFormLayout;
        column->addLayout(form);
    }
    return form;
}

// ---------------------------------------------------------------------------------------------

ChannelControlPanel::ChannelControlPanel(MainWindow* window) : PanelBase(window)
{
    auto* addTrace = new KXPushButton(tr("Add Channel + Trace"), this);
    auto* addTracePlot = new KXPushButton(tr("Add Channel + Trace + Plot"), this);
    active = new KXComboBox(this);
    auto* copy = new KXPushButton(tr("Copy"), this);
    auto* remove = new KXPushButton(tr("Delete"), this);
    Column()->addWidget(addTrace);
    Column()->addWidget(addTracePlot);
    Form()->addRow(tr("Active"), active);
    Column()->addWidget(copy);
    Column()->addWidget(remove);
    connect(addTrace, &QPushButton::clicked, w, &MainWindow::addChannelTracePressed);
    connect(addTracePlot, &QPushButton::clicked, w, &MainWindow::addChannelTraceWindowPressed);
    connect(active, &KXComboBox::comboIndexChanged, this,
            [this] { w->channelSelected(active->GetCurrentData().toInt()); });
    connect(copy, &QPushButton::clicked, this,
            [this] { w->channelCopy(w->Model().activeChannelIndex); });
    connect(remove, &QPushButton::clicked, this,
            [this] { w->deleteChannel(w->Model().activeChannelIndex); });
}

void ChannelControlPanel::UpdateControls()
{
    const QSignalBlocker block(active);
    active->clear();
    for (const VNAChannel* c : w->Model().channels)
    {
        if (c->enabled)
        {
            active->AddItem(c->Name(), c->index);
        }
    }
    active->SetByData(w->Model().activeChannelIndex);
}

// ---------------------------------------------------------------------------------------------

TriggerControlPanel::TriggerControlPanel(MainWindow* window) : PanelBase(window)
{
    active = new KXComboBox(this);
    SetAvailable(active, false, tr("Shows the active channel; choose it on the Channels panel."));
    Form()->addRow(tr("Active"), active);
    hold = new QRadioButton(tr("Hold"), this);
    single = new QRadioButton(tr("Single"), this);
    continuous = new QRadioButton(tr("Continuous"), this);
    auto* modes = new QButtonGroup(this);
    modes->addButton(hold, 0);
    modes->addButton(single, 1);
    modes->addButton(continuous, 2);
    for (QRadioButton* b : {hold, single, continuous})
    {
        Column()->addWidget(b);
    }
    connect(modes, &QButtonGroup::idClicked, w,
            QOverload<int>::of(&MainWindow::triggerSweepModeChanged));

    auto* scope = new QGroupBox(tr("Trigger Scope"), this);
    auto* scopeLayout = new QVBoxLayout(scope);
    scopeAll = new QRadioButton(tr("All Channels"), scope);
    scopeActive = new QRadioButton(tr("Active Channel"), scope);
    scopeLayout->addWidget(scopeAll);
    scopeLayout->addWidget(scopeActive);
    Column()->addWidget(scope);
    connect(scopeAll, &QRadioButton::toggled, w, &MainWindow::triggerScopeChanged);
}

bool TriggerControlPanel::GetTriggerScopeAllChannels() const
{
    return scopeAll->isChecked();
}

void TriggerControlPanel::SetTriggerScopeAllChannels(bool all)
{
    SetChecked(scopeAll, all);
    SetChecked(scopeActive, !all);
}

void TriggerControlPanel::UpdateControls()
{
    const VNAChannel* c = w->Model().ActiveChannel();
    {
        const QSignalBlocker block(active);
        active->clear();
        if (c)
        {
            active->AddItem(c->Name(), c->index);
        }
    }
    const int mode = c ? int(c->sweepMode.GetMode()) : 2;
    SetChecked(hold, mode == 0);
    SetChecked(single, mode == 1);
    SetChecked(continuous, mode == 2);
    SetTriggerScopeAllChannels(w->Model().triggerScopeAllChannels);
}

// ---------------------------------------------------------------------------------------------

StimulusControlPanel::StimulusControlPanel(MainWindow* window) : PanelBase(window)
{
    sweepType = new KXComboBox(this);
    sweepType->setObjectName(QStringLiteral("sweepType"));
    sweepType->AddItem(VNASweepTypeToString(SweepLinear), int(SweepLinear));
    sweepType->AddItem(VNASweepTypeToString(SweepSegment), int(SweepSegment));
    editSegments = new KXPushButton(tr("Edit Segments"), this);
    editSegments->setToolTip(
        tr("Edits the segment table of a Segment sweep; choose the sweep "
           "type Segment to define one."));
    start = new KXLineEdit(KXLineEdit::FreqValue, this);
    stop = new KXLineEdit(KXLineEdit::FreqValue, this);
    step = new KXLineEdit(KXLineEdit::FreqValue, this);
    center = new KXLineEdit(KXLineEdit::FreqValue, this);
    span = new KXLineEdit(KXLineEdit::FreqValue, this);
    points = new KXLineEdit(KXLineEdit::Number, this);
    points->SetDecimals(0);
    points->SetRange(1, 64001);
    ifbw = new KXLineEdit(KXLineEdit::FreqValue, this);
    rfOut = new QCheckBox(this);
    power = new KXComboBox(this);
    for (int p = VNAPowerHigh; p <= VNAPowerManualPower; ++p)
    {
        power->AddItem(VNAPowerToString(VNAPowerConfig(p)), p);
    }
    manualAtten = new KXLineEdit(KXLineEdit::Number, this);
    manualAtten->SetUnit(QStringLiteral("dB"));
    manualAtten->SetIncrement(1.0);
    manualAtten->SetDecimals(0);
    manualPower = new KXLineEdit(KXLineEdit::Number, this);
    manualPower->SetUnit(QStringLiteral("dBm"));
    manualPower->SetRange(-40.0, 5.0);
    manualPower->SetDecimals(1);
    avgEnabled = new QCheckBox(this);
    avgCount = new KXLineEdit(KXLineEdit::Number, this);
    avgCount->SetRange(1, 100);
    avgCount->SetIncrement(1);
    avgCount->SetDecimals(0);
    avgCount->SetValue(1);
    restartAvg = new KXPushButton(tr("Restart Avg"), this);

    QFormLayout* f = Form();
    f->addRow(tr("Sweep Type"), sweepType);
    f->addRow(QString(), editSegments);
    f->addRow(tr("Start"), start);
    f->addRow(tr("Stop"), stop);
    f->addRow(tr("Step Size"), step);
    f->addRow(tr("Center"), center);
    f->addRow(tr("Span"), span);
    f->addRow(tr("Sweep Points"), points);
    f->addRow(tr("IF Bandwidth"), ifbw);
    f->addRow(tr("RF Out"), rfOut);
    f->addRow(tr("Power"), power);
    f->addRow(tr("Manual Atten"), manualAtten);
    f->addRow(tr("Manual Power"), manualPower);
    f->addRow(tr("Avg Enabled"), avgEnabled);
    f->addRow(tr("Avg Count"), avgCount);
    Column()->addWidget(restartAvg);

    using FreqSignal = void (KXLineEdit::*)(Frequency);
    using ValueSignal = void (KXLineEdit::*)(double);
    const FreqSignal freqEdited = &KXLineEdit::editUpdated;
    const ValueSignal valueEdited = &KXLineEdit::editUpdated;
    connect(start, freqEdited, this,
            [this](Frequency v) { w->stimStartFreqChanged(Channel(), v); });
    connect(stop, freqEdited, this, [this](Frequency v) { w->stimStopFreqChanged(Channel(), v); });
    connect(step, freqEdited, this, [this](Frequency v) { w->stimStepChanged(Channel(), v); });
    connect(center, freqEdited, this,
            [this](Frequency v) { w->stimCenterFreqChanged(Channel(), v); });
    connect(span, freqEdited, this, [this](Frequency v) { w->stimSpanChanged(Channel(), v); });
    connect(points, valueEdited, this,
            [this](double v) { w->stimPointsChanged(Channel(), int(v)); });
    connect(ifbw, valueEdited, this, [this](double v) { w->stimIFBWChanged(Channel(), v); });
    connect(rfOut, &QCheckBox::toggled, w, &MainWindow::stimRFOutChanged);
    connect(power, &KXComboBox::comboIndexChanged, this,
            [this] { w->stimPowerConfigChanged(Channel(), power->GetCurrentData().toInt()); });
    connect(manualAtten, valueEdited, this,
            [this](double v) { w->stimManualAttenChanged(Channel(), v); });
    connect(manualPower, valueEdited, this,
            [this](double v) { w->stimManualPowerChanged(Channel(), v); });
    connect(avgEnabled, &QCheckBox::toggled, this,
            [this](bool on) { w->stimAvgEnabledChanged(Channel(), on); });
    connect(avgCount, valueEdited, this,
            [this](double v) { w->stimAvgCountChanged(Channel(), int(v)); });
    connect(restartAvg, &QPushButton::clicked, this, [this] { w->stimRestartAvg(Channel()); });
    // Choosing Segment opens the table; the channel changes only once a table is accepted.
    connect(sweepType, &KXComboBox::comboIndexChanged, this,
            [this]
            {
                if (sweepType->GetCurrentData().toInt() == SweepSegment)
                {
                    w->defineSegmentsPushed();
                }
                else
                {
                    w->stimSweepTypeChanged(Channel(), SweepLinear);
                }
            });
    connect(editSegments, &QPushButton::clicked, w, &MainWindow::defineSegmentsPushed);
}

int StimulusControlPanel::Channel() const
{
    return w->Model().activeChannelIndex;
}

void StimulusControlPanel::UpdateControls()
{
    const VNAChannel* c = w->Model().ActiveChannel();
    if (!c)
    {
        return;
    }
    const VNAStimulus& s = c->stimulus;
    sweepType->SetByData(int(s.type));
    start->SetValue(s.start);
    stop->SetValue(s.stop);
    step->SetValue(s.StepSize());
    center->SetValue(s.center);
    span->SetValue(s.span);
    points->SetValue(s.points);
    ifbw->SetValue(s.ifbw);
    SetChecked(rfOut, w->Model().rfEnabled);
    power->SetByData(int(s.powerConfig));
    manualAtten->SetValue(s.manualAtten);
    manualPower->SetValue(s.manualPower);
    SetChecked(avgEnabled, s.avgEnabled);
    avgCount->SetValue(s.avgCount);
    SetAvailable(manualAtten, s.powerConfig == VNAPowerManualAtten,
                 tr("Available when Power is set to Manual Atten."));
    SetAvailable(manualPower, s.powerConfig == VNAPowerManualPower,
                 tr("Available when Power is set to Manual Power."));
    const bool linear = s.type == SweepLinear;
    SetAvailable(editSegments, s.type == SweepSegment,
                 tr("Choose the sweep type Segment to define a segment table."));
    for (QWidget* e : {static_cast<QWidget*>(start), static_cast<QWidget*>(stop),
                       static_cast<QWidget*>(step), static_cast<QWidget*>(center),
                       static_cast<QWidget*>(span), static_cast<QWidget*>(points)})
    {
        SetAvailable(e, linear,
                     tr("A segment sweep takes its frequencies and points from its segment "
                        "table."));
    }
}

// ---------------------------------------------------------------------------------------------

TraceControlPanel::TraceControlPanel(MainWindow* window) : PanelBase(window)
{
    trace = new KXComboBox(this);
    channel = new KXComboBox(this);
    plot = new KXComboBox(this);
    meas = new KXComboBox(this);
    FillMeasurements(meas);
    format = new KXComboBox(this);
    FillFormats(format);
    hold = new KXComboBox(this);
    for (int h = HoldOff; h <= HoldMax; ++h)
    {
        hold->AddItem(VNATraceHoldToStr(VNATraceHold(h)), h);
    }
    auto* restartHold = new KXPushButton(tr("Restart Hold"), this);
    ref = new KXLineEdit(KXLineEdit::Number, this);
    div = new KXLineEdit(KXLineEdit::Number, this);
    refPos = new KXLineEdit(KXLineEdit::Number, this);
    refPos->SetRange(0, 10);
    refPos->SetDecimals(1);
    auto* autoScale = new KXPushButton(tr("Auto Scale"), this);
    auto* autoScaleAll = new KXPushButton(tr("Auto Scale All"), this);
    auto* defaultScale = new KXPushButton(tr("Default Scale"), this);
    auto* defaultScaleAll = new KXPushButton(tr("Default Scale All"), this);
    coupling = new KXComboBox(this);
    for (int c = ScaleCouplingOff; c <= ScaleCouplingAll; ++c)
    {
        coupling->AddItem(VNATraceScaleCouplingToStr(VNATraceScaleCoupling(c)), c);
    }
    useName = new QCheckBox(this);
    name = new KXLineEdit(KXLineEdit::Text, this);
    auto* addTrace = new KXPushButton(tr("Add Trace"), this);
    auto* deleteTrace = new KXPushButton(tr("Delete Trace"), this);
    auto* exportTrace = new KXPushButton(tr("Export Trace"), this);

    QFormLayout* f = Form();
    f->addRow(tr("Trace"), trace);
    f->addRow(tr("Channel"), channel);
    f->addRow(tr("Plot"), plot);
    f->addRow(tr("Meas"), meas);
    f->addRow(tr("Format"), format);
    f->addRow(tr("Trace Hold"), hold);
    f->addRow(QString(), restartHold);
    f->addRow(tr("Ref"), ref);
    f->addRow(tr("Div"), div);
    f->addRow(tr("Ref Position"), refPos);
    f->addRow(autoScale, autoScaleAll);
    f->addRow(defaultScale, defaultScaleAll);
    f->addRow(tr("Scale Coupling"), coupling);
    f->addRow(tr("Use Custom Name"), useName);
    f->addRow(tr("Custom Name"), name);
    Column()->addWidget(addTrace);
    Column()->addWidget(deleteTrace);
    Column()->addWidget(exportTrace);

    const auto valueEdited = QOverload<double>::of(&KXLineEdit::editUpdated);
    connect(trace, &KXComboBox::comboIndexChanged, this,
            [this] { w->traceSelected(trace->GetCurrentData().toInt()); });
    connect(channel, &KXComboBox::comboIndexChanged, this,
            [this] { w->traceChannelChanged(channel->GetCurrentData().toInt()); });
    connect(plot, &KXComboBox::comboIndexChanged, this,
            [this] { w->tracePlotChanged(plot->GetCurrentData().toInt()); });
    connect(meas, &KXComboBox::comboIndexChanged, this,
            [this] { w->traceMeasChanged(meas->GetCurrentData().toInt()); });
    connect(format, &KXComboBox::comboIndexChanged, this,
            [this] { w->traceFormatChanged(format->GetCurrentData().toInt()); });
    connect(hold, &KXComboBox::comboIndexChanged, this,
            [this] { w->traceHoldChanged(hold->GetCurrentData().toInt()); });
    connect(restartHold, &QPushButton::clicked, w, QOverload<>::of(&MainWindow::traceHoldRestart));
    connect(ref, valueEdited, w, QOverload<double>::of(&MainWindow::traceRefChanged));
    connect(div, valueEdited, w, QOverload<double>::of(&MainWindow::traceDivChanged));
    connect(refPos, valueEdited, w, QOverload<double>::of(&MainWindow::traceRefPosChanged));
    connect(autoScale, &QPushButton::clicked, w, QOverload<>::of(&MainWindow::traceAutoScale));
    connect(autoScaleAll, &QPushButton::clicked, w, &MainWindow::traceAutoScaleAll);
    connect(defaultScale, &QPushButton::clicked, w,
            QOverload<>::of(&MainWindow::traceDefaultScale));
    connect(defaultScaleAll, &QPushButton::clicked, w, &MainWindow::traceDefaultScaleAll);
    connect(coupling, &KXComboBox::comboIndexChanged, this,
            [this] { w->traceScaleCouplingChanged(coupling->GetCurrentData().toInt()); });
    connect(useName, &QCheckBox::toggled, w, &MainWindow::traceUseNameChanged);
    connect(name, QOverload<QString>::of(&KXLineEdit::editUpdated), w,
            &MainWindow::traceNameChanged);
    connect(addTrace, &QPushButton::clicked, w, &MainWindow::addTrace);
    connect(deleteTrace, &QPushButton::clicked, this,
            [this] { w->traceDelete(w->ActiveTraceIndex()); });
    connect(exportTrace, &QPushButton::clicked, w, &MainWindow::traceExport);
}

void TraceControlPanel::UpdateControls()
{
    VNAModel& m = w->Model();
    QMutexLocker lock(&m.traceLock);
    {
        const QSignalBlocker b1(trace), b2(channel), b3(plot);
        trace->clear();
        for (int i = 0; i < m.traces.size(); ++i)
        {
            if (m.traces[i])
            {
                trace->AddItem(QStringLiteral("%1: %2 %3")
                                   .arg(i + 1)
                                   .arg(m.channels[m.traces[i]->channel]->GetShortName(),
                                        m.traces[i]->GetNameString()),
                               i);
            }
        }
        channel->clear();
        for (const VNAChannel* c : m.channels)
        {
            if (c->enabled)
            {
                channel->AddItem(c->Name(), c->index);
            }
        }
        plot->clear();
        for (int p = 0; p < VNAModel::kPlotCount; ++p)
        {
            if (w->Plot(p))
            {
                plot->AddItem(tr("Plot %1").arg(p + 1), p);
            }
        }
    }
    coupling->SetByData(m.scaleCoupling);
    const VNATrace* t = m.ActiveTrace();
    SetAvailable(this, t != nullptr, NoTraceReason());
    if (!t)
    {
        return;
    }
    trace->SetByData(m.selectedTraceIndex);
    channel->SetByData(t->channel);
    plot->SetByData(t->plot);
    meas->SetByData(int(t->meas));
    format->SetByData(int(t->format));
    hold->SetByData(int(t->hold));
    ref->SetUnit(t->unitRef);
    div->SetUnit(t->unitDiv);
    ref->SetValue(*t->ref());
    div->SetValue(*t->div());
    refPos->SetValue(*t->refPos());
    SetChecked(useName, t->useName);
    name->SetText(t->name);
}

// ---------------------------------------------------------------------------------------------

MathPanel::MathPanel(MainWindow* window) : PanelBase(window)
{
    auto* store = new KXPushButton(tr("Data \u2192 Memory"), this);
    memState = new QLabel(this);
    mathOp = new KXComboBox(this);
    for (int op = MathOff; op <= MathData; ++op)
    {
        mathOp->AddItem(VNATraceMathToString(VNATraceMathOp(op)), op);
    }
    interpolate = new QCheckBox(this);
    showMem = new QCheckBox(this);
    smooth = new QCheckBox(this);
    aperture = new KXLineEdit(KXLineEdit::Number, this);
    aperture->SetRange(0.1, 25.0);
    aperture->SetIncrement(0.5);
    aperture->SetDecimals(1);
    equationEnabled = new QCheckBox(this);
    auto* equationEditor = new KXPushButton(tr("Equation Editor"), this);
    statsEnabled = new QCheckBox(this);
    autoRange = new QCheckBox(this);
    rangeStart = new KXLineEdit(KXLineEdit::FreqValue, this);
    rangeStop = new KXLineEdit(KXLineEdit::FreqValue, this);
    delay = new KXLineEdit(KXLineEdit::TimeValue, this);
    velocity = new KXLineEdit(KXLineEdit::Number, this);
    velocity->SetRange(0.01, 1.0);
    velocity->SetIncrement(0.01);
    velocity->SetDecimals(3);
    length = new KXLineEdit(KXLineEdit::Number, this);
    length->SetUnit(QStringLiteral("m"));
    length->SetDecimals(4);
    magOffset = new KXLineEdit(KXLineEdit::Number, this);
    magOffset->SetUnit(QStringLiteral("dB"));
    magSlope = new KXLineEdit(KXLineEdit::Number, this);
    magSlope->SetUnit(QStringLiteral("dB/GHz"));
    phaseOffset = new KXLineEdit(KXLineEdit::Number, this);
    phaseOffset->SetUnit(QStringLiteral("\u00b0"));

    Column()->addWidget(store);
    QFormLayout* f = Form();
    f->addRow(tr("Math Mem"), memState);
    f->addRow(tr("Math Op"), mathOp);
    f->addRow(tr("Math Interpolate"), interpolate);
    f->addRow(tr("Show Memory Trace"), showMem);
    f->addRow(tr("Smoothing"), smooth);
    f->addRow(tr("Aperture (%)"), aperture);
    f->addRow(tr("Equation Enabled"), equationEnabled);
    f->addRow(equationEditor);
    f->addRow(tr("Stats Enabled"), statsEnabled);
    f->addRow(tr("Auto Range"), autoRange);
    f->addRow(tr("Range Start"), rangeStart);
    f->addRow(tr("Range Stop"), rangeStop);
    f->addRow(tr("Electrical Delay"), delay);
    f->addRow(tr("Velocity Factor"), velocity);
    f->addRow(tr("Length"), length);
    f->addRow(tr("Mag Offset"), magOffset);
    f->addRow(tr("Mag Slope"), magSlope);
    f->addRow(tr("Phase Offset"), phaseOffset);

    const auto valueEdited = QOverload<double>::of(&KXLineEdit::editUpdated);
    const auto freqEdited = QOverload<Frequency>::of(&KXLineEdit::editUpdated);
    connect(store, &QPushButton::clicked, w, QOverload<>::of(&MainWindow::traceStoreMem));
    connect(mathOp, &KXComboBox::comboIndexChanged, this,
            [this] { w->traceMathOpChanged(mathOp->GetCurrentData().toInt()); });
    connect(interpolate, &QCheckBox::toggled, w,
            QOverload<bool>::of(&MainWindow::traceMathInterpolateChanged));
    connect(showMem, &QCheckBox::toggled, w,
            QOverload<bool>::of(&MainWindow::traceShowMemTraceChanged));
    connect(smooth, &QCheckBox::toggled, w,
            QOverload<bool>::of(&MainWindow::traceSmoothEnabledChanged));
    connect(aperture, valueEdited, w,
            QOverload<double>::of(&MainWindow::traceSmoothAperatureChanged));
    connect(equationEnabled, &QCheckBox::toggled, w,
            QOverload<bool>::of(&MainWindow::equationEnabledChanged));
    connect(equationEditor, &QPushButton::clicked, w, &MainWindow::equationEditorPressed);
    connect(statsEnabled, &QCheckBox::toggled, w,
            QOverload<bool>::of(&MainWindow::traceStatsEnabledChanged));
    connect(autoRange, &QCheckBox::toggled, w,
            QOverload<bool>::of(&MainWindow::traceStatsAutoRangeChanged));
    connect(rangeStart, freqEdited, w,
            QOverload<Frequency>::of(&MainWindow::traceStatsStartChanged));
    connect(rangeStop, freqEdited, w, QOverload<Frequency>::of(&MainWindow::traceStatsStopChanged));
    connect(delay, valueEdited, w, QOverload<double>::of(&MainWindow::traceElecDelayChanged));
    connect(velocity, valueEdited, w, &MainWindow::mathVelocityFactorChanged);
    connect(length, valueEdited, w, &MainWindow::mathLengthChanged);
    connect(magOffset, valueEdited, w, QOverload<double>::of(&MainWindow::traceMagOffsetChanged));
    connect(magSlope, valueEdited, w, QOverload<double>::of(&MainWindow::traceMagSlopeChanged));
    connect(phaseOffset, valueEdited, w,
            QOverload<double>::of(&MainWindow::tracePhaseOffsetChanged));
}

void MathPanel::UpdateControls()
{
    VNAModel& m = w->Model();
    QMutexLocker lock(&m.traceLock);
    const VNATrace* t = m.ActiveTrace();
    SetAvailable(this, t != nullptr, NoTraceReason());
    if (!t)
    {
        return;
    }
    memState->setText(t->hasMem ? tr("Stored") : tr("Empty"));
    mathOp->SetByData(int(t->mathOp));
    SetChecked(interpolate, t->mathInterpolate);
    SetChecked(showMem, t->showMemTrace);
    SetChecked(smooth, t->smoothEnabled);
    aperture->SetValue(t->smoothPercent);
    SetChecked(equationEnabled, t->equationEnabled);
    SetChecked(statsEnabled, t->statsEnabled);
    SetChecked(autoRange, t->statsAutoRange);
    rangeStart->SetValue(t->statsStart);
    rangeStop->SetValue(t->statsStop);
    for (KXLineEdit* e : {rangeStart, rangeStop})
    {
        SetAvailable(e, !t->statsAutoRange, tr("Turn off Auto Range to set the range."));
    }
    delay->SetValue(t->elecDelay);
    const VNAChannel* ch = m.channels[t->channel];
    velocity->SetValue(ch->velocityFactor);
    length->SetValue(ElecDelayToLength(t->elecDelay, ch->velocityFactor));
    magOffset->SetValue(t->offsetMag);
    magSlope->SetValue(t->offsetMagSlope);
    phaseOffset->SetValue(t->offsetPhase);
}

// ---------------------------------------------------------------------------------------------

SettingsPanel::SettingsPanel(MainWindow* window) : PanelBase(window)
{
    reference = new KXComboBox(this);
    reference->AddItem(tr("Internal"), int(VNAReferenceInternal));
    reference->AddItem(tr("External"), int(VNAReferenceExternal));
    z0 = new KXLineEdit(KXLineEdit::Number, this);
    z0->SetUnit(QStringLiteral("\u03a9"));
    z0->SetRange(1.0, 1000.0);
    z0->SetDecimals(1);
    spurReject = new QCheckBox(this);
    QFormLayout* f = Form();
    f->addRow(tr("Reference"), reference);
    f->addRow(tr("System Z0"), z0);
    f->addRow(tr("Spur Reject"), spurReject);
    connect(reference, &KXComboBox::comboIndexChanged, this,
            [this] { w->setReference(VNAReference(reference->GetCurrentData().toInt())); });
    connect(z0, QOverload<double>::of(&KXLineEdit::editUpdated), w, &MainWindow::systemZ0Changed);
    connect(spurReject, &QCheckBox::toggled, w, &MainWindow::setSpurReject);
}

void SettingsPanel::UpdateControls()
{
    reference->SetByData(int(w->Model().reference));
    z0->SetValue(gSystemZ0);
    SetChecked(spurReject, w->Model().spurReject);
}

// ---------------------------------------------------------------------------------------------

PendingControlsPanel::PendingControlsPanel(MainWindow* window, const QStringList& controls)
    : PanelBase(window)
{
    for (const QString& c : controls)
    {
        auto* b = new KXPushButton(c, this);
        SetAvailable(b, false, tr("Not available in this version of the program."));
        Column()->addWidget(b);
    }
}

// ---------------------------------------------------------------------------------------------

NewTraceDialog::NewTraceDialog(int activePlot, const QVector<int>& plotNumbers, int channelCount,
                               int activeChannel, QWidget* parent)
    : QDialog(parent)
{
    setWindowTitle(tr("New Trace"));
    channel = new KXComboBox(this);
    for (int c = 0; c < channelCount; ++c)
    {
        channel->AddItem(tr("Channel %1").arg(c + 1), c);
    }
    channel->SetByData(activeChannel);
    auto* measBox = new QGroupBox(tr("Meas"), this);
    auto* measLayout = new QHBoxLayout(measBox);
    for (int m = S11; m <= S22; ++m)
    {
        meas[m] = new QCheckBox(VNATraceMeasToStr(VNATraceMeas(m)), measBox);
        measLayout->addWidget(meas[m]);
    }
    meas[S11]->setChecked(true);
    plot = new KXComboBox(this);
    for (int p : plotNumbers)
    {
        plot->AddItem(tr("Plot %1").arg(p + 1), p);
    }
    plot->AddItem(tr("Create in New Plot"), -1);
    plot->SetByData(activePlot);
    format = new KXComboBox(this);
    FillFormats(format);
    format->SetByData(int(LogMag));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    auto* layout = new QFormLayout(this);
    layout->addRow(tr("Channel"), channel);
    layout->addRow(measBox);
    layout->addRow(tr("Plot"), plot);
    layout->addRow(tr("Format"), format);
    layout->addRow(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

int NewTraceDialog::Channel() const
{
    return channel->GetCurrentData().toInt();
}

QVector<int> NewTraceDialog::MeasList() const
{
    QVector<int> list;
    for (int m = S11; m <= S22; ++m)
    {
        if (meas[m]->isChecked())
        {
            list.append(m);
        }
    }
    return list;
}

int NewTraceDialog::Plot() const
{
    return plot->GetCurrentData().toInt();
}

int NewTraceDialog::Format() const
{
    return format->GetCurrentData().toInt();
}
