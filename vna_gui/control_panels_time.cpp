// Control panels: the Time Domain and Time Gating panels.
#include <QCheckBox>
#include <QFormLayout>
#include <QInputDialog>
#include <QMutexLocker>
#include <QSignalBlocker>
#include <cmath>

#include "cable_list.h"
#include "control_panels.h"
#include "kx_widgets.h"
#include "mainwindow.h"
#include "time_domain.h"

namespace
{
// Cable entries match a velocity factor to the third decimal, as the panel shows it.
constexpr double kCableMatch = 5e-4;
constexpr int kNoCable = -1;

// Items in the order of the enumeration's values.
void FillCombo(KXComboBox* box, const QStringList& texts)
{
    for (int value = 0; value < texts.size(); ++value)
    {
        box->AddItem(texts[value], value);
    }
}

KXLineEdit* TimeEdit(QWidget* parent)
{
    auto* e = new KXLineEdit(KXLineEdit::TimeValue, parent);
    e->SetIncrement(1e-9);
    return e;
}

QVector<VNACable> CableChoices()
{
    return BuiltInCables() + Preferences::Get().userCables;
}

// Runs read on the active trace under the trace lock; the panel is disabled while there is none.
template <typename Read>
bool ReadActiveTrace(QWidget* panel, VNAModel& m, Read read)
{
    QMutexLocker lock(&m.traceLock);
    const VNATrace* t = m.ActiveTrace();
    SetAvailable(panel, t != nullptr, NoTraceReason());
    if (t)
    {
        read(*t);
    }
    return t != nullptr;
}
}  // namespace

TimeDomainPanel::TimeDomainPanel(MainWindow* window) : PanelBase(window)
{
    enabled = new QCheckBox(this);
    type = new KXComboBox(this);
    FillCombo(type, {tr("Bandpass"), tr("Lowpass (Step)"), tr("Lowpass (Impulse)")});
    windowType = new KXComboBox(this);
    FillCombo(windowType, {tr("Minimum"), tr("Normal"), tr("Maximum"), tr("Custom")});
    beta = new KXLineEdit(KXLineEdit::Number, this);
    beta->SetRange(0.0, kMaxWindowBeta);
    beta->SetIncrement(0.5);
    beta->SetDecimals(2);
    markerMode = new KXComboBox(this);
    FillCombo(markerMode, {tr("Auto"), tr("Reflection"), tr("Transmission")});
    units = new KXComboBox(this);
    FillCombo(units, {tr("Time(s)"), tr("Distance(m)"), tr("Distance(ft)"), tr("Distance(in)")});
    velocity = new KXLineEdit(KXLineEdit::Number, this);
    velocity->SetRange(kMinVelocityFactor, kMaxVelocityFactor);
    velocity->SetIncrement(0.01);
    cables = new KXComboBox(this);
    auto* addCable = new KXPushButton(tr("Add Cable"), this);
    auto* lowpassFreqs = new KXPushButton(tr("Set Low Pass Frequencies"), this);
    autoScale = new QCheckBox(this);
    start = TimeEdit(this);
    stop = TimeEdit(this);
    center = TimeEdit(this);
    span = TimeEdit(this);

    QFormLayout* f = Form();
    f->addRow(tr("Enabled"), enabled);
    f->addRow(tr("Measurement Type"), type);
    f->addRow(tr("Window"), windowType);
    f->addRow(tr("Kaiser Beta"), beta);
    f->addRow(tr("Marker Mode"), markerMode);
    f->addRow(tr("Marker Units"), units);
    f->addRow(tr("Velocity Factor"), velocity);
    f->addRow(tr("Cable Select"), cables);
    f->addRow(QString(), addCable);
    f->addRow(QString(), lowpassFreqs);
    f->addRow(tr("Auto Scale"), autoScale);
    f->addRow(tr("Start"), start);
    f->addRow(tr("Stop"), stop);
    f->addRow(tr("Center"), center);
    f->addRow(tr("Span"), span);

    using MW = MainWindow;
    const auto valueEdited = QOverload<double>::of(&KXLineEdit::editUpdated);
    // The window pointer is captured by value: a nested lambda reaching it through `this` trips
    // the undefined-behaviour checker's type test on the closure.
    MW* mw = w;
    auto combo = [this, mw](KXComboBox* box, void (MW::*slot)(int))
    {
        connect(box, &KXComboBox::comboIndexChanged, this,
                [mw, box, slot] { (mw->*slot)(box->GetCurrentData().toInt()); });
    };
    connect(enabled, &QCheckBox::toggled, w, QOverload<bool>::of(&MW::transformEnabled));
    combo(type, &MW::transformTypeChanged);
    combo(windowType, &MW::transformWindowChanged);
    connect(beta, valueEdited, w, QOverload<double>::of(&MW::transformWindowBetaChanged));
    combo(markerMode, &MW::transformMarkerModeChanged);
    combo(units, &MW::transformUnitsChanged);
    connect(velocity, valueEdited, w, QOverload<double>::of(&MW::transformVFChanged));
    connect(cables, &KXComboBox::comboIndexChanged, this, &TimeDomainPanel::CableSelected);
    connect(addCable, &QPushButton::clicked, this, &TimeDomainPanel::AddCablePressed);
    connect(lowpassFreqs, &QPushButton::clicked, w, QOverload<>::of(&MW::transformSetLPFreqs));
    connect(autoScale, &QCheckBox::toggled, w, QOverload<bool>::of(&MW::transformAutoScaleChanged));
    connect(start, valueEdited, w, QOverload<double>::of(&MW::transformStartChanged));
    connect(stop, valueEdited, w, QOverload<double>::of(&MW::transformStopChanged));
    connect(center, valueEdited, w, QOverload<double>::of(&MW::transformCenterChanged));
    connect(span, valueEdited, w, QOverload<double>::of(&MW::transformSpanChanged));
}

void TimeDomainPanel::UpdateControls()
{
    VNATransformSettings s;
    bool on = false;
    if (!ReadActiveTrace(this, w->Model(),
                         [&](const VNATrace& t)
                         {
                             s = t.transform;
                             on = t.transformEnabled;
                         }))
    {
        return;
    }

    SetChecked(enabled, on);
    type->SetByData(int(s.type));
    windowType->SetByData(int(s.window));
    beta->SetValue(s.beta);
    SetAvailable(beta, s.window == WindowCustom, tr("Available with the Custom window."));
    markerMode->SetByData(int(s.markerMode));
    units->SetByData(int(s.units));
    velocity->SetValue(s.velocityFactor);
    FillCables(s.velocityFactor);
    SetChecked(autoScale, s.autoScale);
    start->SetValue(s.start);
    stop->SetValue(s.stop);
    center->SetValue((s.start + s.stop) * 0.5);
    span->SetValue(s.stop - s.start);
    // While auto scale is on, the range follows the data.
    for (KXLineEdit* e : {start, stop, center, span})
    {
        SetAvailable(e, !s.autoScale, tr("Turn off Auto Scale to set the range."));
    }
}

void TimeDomainPanel::FillCables(double velocityFactor)
{
    const QSignalBlocker block(cables);
    cables->clear();
    cables->AddItem(tr("Custom"), kNoCable);
    int shown = kNoCable;
    const QVector<VNACable> list = CableChoices();
    for (int i = 0; i < list.size(); ++i)
    {
        cables->AddItem(
            QStringLiteral("%1 (%2)").arg(list[i].name).arg(list[i].velocityFactor, 0, 'f', 2), i);
        if (shown == kNoCable && std::fabs(list[i].velocityFactor - velocityFactor) < kCableMatch)
        {
            shown = i;
        }
    }
    cables->SetByData(shown);
}

void TimeDomainPanel::CableSelected()
{
    const QVector<VNACable> list = CableChoices();
    const int i = cables->GetCurrentData().toInt();
    if (i >= 0 && i < list.size())
    {
        w->transformVFChanged(list[i].velocityFactor);
    }
}

void TimeDomainPanel::AddCablePressed()
{
    double factor = 1.0;
    {
        QMutexLocker lock(&w->Model().traceLock);
        const VNATrace* t = w->Model().ActiveTrace();
        if (!t || Hidden::Get())
        {
            return;
        }
        factor = t->transform.velocityFactor;
    }
    bool ok = false;
    const QString name = QInputDialog::getText(
        this, tr("Add Cable"), tr("Name for a cable of velocity factor %1:").arg(factor, 0, 'f', 3),
        QLineEdit::Normal, QString(), &ok);
    if (ok)
    {
        w->transformAddCable(name, factor);
    }
}

// ---------------------------------------------------------------------------------------------

TimeGatingPanel::TimeGatingPanel(MainWindow* window) : PanelBase(window)
{
    enabled = new QCheckBox(this);
    start = TimeEdit(this);
    stop = TimeEdit(this);
    center = TimeEdit(this);
    span = TimeEdit(this);
    type = new KXComboBox(this);
    FillCombo(type, {tr("Bandpass"), tr("Notch")});
    shape = new KXComboBox(this);
    FillCombo(shape, {tr("Minimum"), tr("Normal"), tr("Wide"), tr("Maximum")});
    coupled = new QCheckBox(this);

    QFormLayout* f = Form();
    f->addRow(tr("Gating"), enabled);
    f->addRow(tr("Gate Start"), start);
    f->addRow(tr("Gate Stop"), stop);
    f->addRow(tr("Gate Center"), center);
    f->addRow(tr("Gate Span"), span);
    f->addRow(tr("Gate Type"), type);
    f->addRow(tr("Gate Shape"), shape);
    f->addRow(tr("Coupled Settings"), coupled);

    using MW = MainWindow;
    const auto valueEdited = QOverload<double>::of(&KXLineEdit::editUpdated);
    connect(enabled, &QCheckBox::toggled, w, QOverload<bool>::of(&MW::gatingEnabled));
    connect(start, valueEdited, w, QOverload<double>::of(&MW::gatingStartChanged));
    connect(stop, valueEdited, w, QOverload<double>::of(&MW::gatingStopChanged));
    connect(center, valueEdited, w, QOverload<double>::of(&MW::gatingCenterChanged));
    connect(span, valueEdited, w, QOverload<double>::of(&MW::gatingSpanChanged));
    connect(type, &KXComboBox::comboIndexChanged, this,
            [this] { w->gatingTypeChanged(type->GetCurrentData().toInt()); });
    connect(shape, &KXComboBox::comboIndexChanged, this,
            [this] { w->gatingShapeChanged(shape->GetCurrentData().toInt()); });
    connect(coupled, &QCheckBox::toggled, w,
            QOverload<bool>::of(&MW::gatingCoupledSettingsEnabled));
}

void TimeGatingPanel::UpdateControls()
{
    VNAModel& m = w->Model();
    ReadActiveTrace(this, m,
                    [&](const VNATrace& t)
                    {
                        SetChecked(enabled, t.gateEnabled);
                        start->SetValue(t.gateStart);
                        stop->SetValue(t.gateStop);
                        center->SetValue((t.gateStart + t.gateStop) * 0.5);
                        span->SetValue(t.gateStop - t.gateStart);
                        type->SetByData(int(t.gateType));
                        shape->SetByData(int(t.gateShape));
                        const VNAChannel* c = m.channels.value(t.channel, nullptr);
                        SetChecked(coupled, c && c->timeGateCouplingEnabled);
                    });
}
