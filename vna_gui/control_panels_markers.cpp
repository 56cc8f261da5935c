// Control panels: the Markers panel.
#include <QCheckBox>
#include <QCoreApplication>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QMutexLocker>
#include <QVBoxLayout>
#include <initializer_list>

#include "control_panels.h"
#include "kx_widgets.h"
#include "mainwindow.h"
#include "vna_trace.h"

namespace
{
struct PanelButton
{
    const char* text;
    void (MainWindow::*slot)();
};

// A row of buttons, each calling a slot of the window; the buttons in the order given.
QVector<KXPushButton*> AddButtonRow(QBoxLayout* column, QWidget* parent, MainWindow* w,
                                    std::initializer_list<PanelButton> entries)
{
    auto* row = new QHBoxLayout;
    QVector<KXPushButton*> buttons;
    for (const PanelButton& s : entries)
    {
        auto* b =
            new KXPushButton(QCoreApplication::translate("MarkerControlPanel", s.text), parent);
        QObject::connect(b, &QPushButton::clicked, w, s.slot);
        row->addWidget(b);
        buttons.append(b);
    }
    column->addLayout(row);
    return buttons;
}

KXLineEdit* NumberEdit(QWidget* parent, double minimum, double maximum, int decimals)
{
    auto* e = new KXLineEdit(KXLineEdit::Number, parent);
    e->SetRange(minimum, maximum);
    e->SetDecimals(decimals);
    return e;
}
}  // namespace

MarkerControlPanel::MarkerControlPanel(MainWindow* window) : PanelBase(window)
{
    BuildMarkerRows();
    BuildSearchRows();
    BuildBandwidthRows();
    AddButtonRow(Column(), this, w,
                 {{QT_TR_NOOP("Disable All on Trace"), &MainWindow::markerDisableAllTrace},
                  {QT_TR_NOOP("Disable All on Channel"), &MainWindow::markerDisableAllChannel}});
    AddButtonRow(Column(), this, w, {{QT_TR_NOOP("Disable All"), &MainWindow::markerDisableAll}});
}

void MarkerControlPanel::BuildMarkerRows()
{
    traceName = new QLabel(this);
    marker = new KXComboBox(this);
    for (int i = 0; i < VNATrace::kReferenceMarker; ++i)
    {
        marker->AddItem(QString::number(i + 1), i);
    }
    marker->AddItem(tr("R"), int(VNATrace::kReferenceMarker));
    enabled = new QCheckBox(this);
    fixed = new QCheckBox(this);
    delta = new QCheckBox(this);
    frequency = new KXLineEdit(KXLineEdit::FreqValue, this);
    time = new KXLineEdit(KXLineEdit::TimeValue, this);
    readout = new QLabel(this);
    readout->setTextInteractionFlags(Qt::TextSelectableByMouse);

    QFormLayout* f = Form();
    f->addRow(tr("Trace"), traceName);
    f->addRow(tr("Marker"), marker);
    f->addRow(tr("Enabled"), enabled);
    f->addRow(tr("Fixed"), fixed);
    f->addRow(tr("Delta"), delta);
    f->addRow(tr("Frequency"), frequency);
    f->addRow(tr("Time"), time);
    f->addRow(tr("Readout"), readout);

    connect(marker, &KXComboBox::comboIndexChanged, this,
            [this] { w->markerSelected(marker->GetCurrentData().toInt()); });
    connect(enabled, &QCheckBox::toggled, w, QOverload<bool>::of(&MainWindow::markerEnable));
    connect(fixed, &QCheckBox::toggled, w, QOverload<bool>::of(&MainWindow::markerFixed));
    connect(delta, &QCheckBox::toggled, w, QOverload<bool>::of(&MainWindow::markerDelta));
    connect(frequency, QOverload<Frequency>::of(&KXLineEdit::editUpdated), w,
            &MainWindow::markerSetFreq);
    connect(time, QOverload<double>::of(&KXLineEdit::editUpdated), w, &MainWindow::markerSetTime);

    AddButtonRow(Column(), this, w,
                 {{QT_TR_NOOP("Marker \u2192 Ref"), &MainWindow::markerToRef},
                  {QT_TR_NOOP("Marker \u2192 Start"), &MainWindow::markerToStart}});
    AddButtonRow(Column(), this, w,
                 {{QT_TR_NOOP("Marker \u2192 Stop"), &MainWindow::markerToStop},
                  {QT_TR_NOOP("Marker \u2192 Center"), &MainWindow::markerToCenter}});
}

void MarkerControlPanel::BuildSearchRows()
{
    auto* group = new QGroupBox(tr("Search"), this);
    auto* column = new QVBoxLayout(group);
    AddButtonRow(column, group, w,
                 {{QT_TR_NOOP("Peak Search"), &MainWindow::markerPeakMax},
                  {QT_TR_NOOP("Min Peak"), &MainWindow::markerPeakMin}});
    const QVector<KXPushButton*> steps =
        AddButtonRow(column, group, w,
                     {{QT_TR_NOOP("Peak Left"), &MainWindow::markerPeakLeft},
                      {QT_TR_NOOP("Peak Right"), &MainWindow::markerPeakRight},
                      {QT_TR_NOOP("Next Peak"), &MainWindow::markerPeakNext}});
    peakLeft = steps[0];
    peakRight = steps[1];
    peakNext = steps[2];
    threshold = NumberEdit(group, -1000.0, 1000.0, 2);
    excursion = NumberEdit(group, -100.0, 100.0, 2);
    tracking = new KXComboBox(group);
    for (int k = MarkerTrackingOff; k <= MarkerTrackingPeak; ++k)
    {
        tracking->AddItem(VNAMarkerTrackingToStr(VNAMarkerTrackingFunction(k)), k);
    }
    coupling = new KXComboBox(group);
    for (int c = MarkerCouplingOff; c <= MarkerCouplingAll; ++c)
    {
        coupling->AddItem(MarkerCouplingMethodToStr(MarkerCouplingMethod(c)), c);
    }
    auto* form = new QFormLayout;
    form->addRow(tr("Threshold"), threshold);
    form->addRow(tr("Excursion"), excursion);
    form->addRow(tr("Tracking"), tracking);
    form->addRow(tr("Coupling"), coupling);
    column->addLayout(form);
    Column()->addWidget(group);

    const auto valueEdited = QOverload<double>::of(&KXLineEdit::editUpdated);
    connect(threshold, valueEdited, w, QOverload<double>::of(&MainWindow::markerThresholdChanged));
    connect(excursion, valueEdited, w, QOverload<double>::of(&MainWindow::markerExcursionChanged));
    connect(tracking, &KXComboBox::comboIndexChanged, this,
            [this] { w->markerTrackingChanged(tracking->GetCurrentData().toInt()); });
    connect(coupling, &KXComboBox::comboIndexChanged, this,
            [this] { w->markerSetCoupling(coupling->GetCurrentData().toInt()); });
}

void MarkerControlPanel::BuildBandwidthRows()
{
    auto* group = new QGroupBox(tr("Bandwidth"), this);
    auto* column = new QVBoxLayout(group);
    bwEnabled = new QCheckBox(group);
    bwLimit = NumberEdit(group, -100.0, -1.0, 2);
    bwLimit->SetUnit(QStringLiteral("dB"));
    bwTracking = new QCheckBox(group);
    auto* form = new QFormLayout;
    form->addRow(tr("Bandwidth Search"), bwEnabled);
    form->addRow(tr("BW Threshold"), bwLimit);
    form->addRow(tr("BW Tracking"), bwTracking);
    column->addLayout(form);
    AddButtonRow(column, group, w, {{QT_TR_NOOP("Search"), &MainWindow::markerBWSearch}});
    Column()->addWidget(group);

    connect(bwEnabled, &QCheckBox::toggled, w, QOverload<bool>::of(&MainWindow::markerBWEnable));
    connect(bwLimit, QOverload<double>::of(&KXLineEdit::editUpdated), w,
            QOverload<double>::of(&MainWindow::markerBWLimitChanged));
    connect(bwTracking, &QCheckBox::toggled, w,
            QOverload<bool>::of(&MainWindow::markerBWTrackingEnable));
}

void MarkerControlPanel::UpdateControls()
{
    VNAModel& m = w->Model();
    QMutexLocker lock(&m.traceLock);
    coupling->SetByData(m.markerCoupling);
    const VNATrace* t = m.ActiveTrace();
    SetAvailable(this, t != nullptr, NoTraceReason());
    if (!t)
    {
        traceName->clear();
        readout->clear();
        return;
    }
    const int active = t->activeMarker;
    traceName->setText(
        QStringLiteral("Tr%1 %2").arg(m.selectedTraceIndex + 1).arg(t->GetNameString()));
    marker->SetByData(active);
    // A state file may name a marker that does not exist: the list offers the real ones.
    const VNAMarker* selected = t->GetMarker(active);
    if (!selected)
    {
        readout->clear();
        return;
    }
    const VNAMarker& mk = *selected;
    SetChecked(enabled, mk.enabled);
    SetChecked(fixed, mk.fixed);
    SetChecked(delta, mk.delta);
    // The reference marker is what the others read against.
    SetAvailable(delta, !t->RefMarkerSelected(),
                 tr("The reference marker cannot be a delta marker."));
    // The marker stands on a frequency, or on a time once the trace is transformed; the other
    // field is left empty.
    const bool timeDomain = t->transformEnabled;
    SetAvailable(frequency, !timeDomain,
                 tr("The trace is transformed to time: place the marker by its time."));
    SetAvailable(time, timeDomain, tr("Available when the trace's time transform is on."));
    if (timeDomain)
    {
        frequency->SetText(QString());
        time->SetValue(mk.x);
    }
    else
    {
        frequency->SetValue(mk.f);
        time->SetText(QString());
    }
    readout->setText(mk.enabled ? t->GetMarkerReadout(active) : QStringLiteral("-"));
    // The chart has no frequency axis to step along.
    const bool rectangular = !IsSmithFormat(t->format);
    for (KXPushButton* b : {peakLeft, peakRight, peakNext})
    {
        SetAvailable(b, rectangular, tr("Not available for Smith chart formats."));
    }
    threshold->SetUnit(t->unitRef);
    threshold->SetValue(mk.threshold);
    excursion->SetUnit(t->unitRef);
    excursion->SetValue(mk.excursion);
    tracking->SetByData(int(mk.tracking));
    SetChecked(bwEnabled, t->bwSearchEnabled);
    bwLimit->SetValue(t->bwSearchLimit);
    SetChecked(bwTracking, t->bwSearchTracking);
}
