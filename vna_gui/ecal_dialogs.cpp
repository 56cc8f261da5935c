#include "ecal_dialogs.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QTimer>
#include <QVBoxLayout>
#include <utility>

#include "application_settings.h"
#include "ecal_workflow.h"
#include "maury_ucal_session.h"
#include "preferences.h"
#include "vna_calkit_list.h"

namespace
{
// Shared with the mechanical setup: the last choice is the operator's, whichever way it was made.
const char* const kLastTypeKey = "Calibration";
const char* const kLastKitKey = "CalKit";
// The module's temperature drifts slowly; a reading every few seconds is plenty.
constexpr int kTempUpdateMs = 3000;
}  // namespace

// ---------------------------------------------------------------------------------------------
// ECalSetupDlg

ECalSetupDlg::ECalSetupDlg(QWidget* parent)
    : KXDialog(tr("Start New Electronic Calibration"), parent)
{
    calType = new KXComboBox(this);
    calType->setObjectName(QStringLiteral("calType"));
    calType->AddItem(VNACalTypeToString(SOL), int(SOL));
    calType->AddItem(VNACalTypeToString(SOLT), int(SOLT));
    calKit = new KXComboBox(this);
    calKit->setObjectName(QStringLiteral("calKit"));
    for (const CalKitListEntry& kit : ReadCalKitList())
    {
        calKit->AddItem(kit.name, kit.name);
    }
    characterization = new KXComboBox(this);
    characterization->setObjectName(QStringLiteral("characterization"));
    characterization->AddItem(tr("Factory"), 0);
    characterization->AddItem(tr("User"), 1);
    vnaPort = new KXComboBox(this);
    vnaPort->setObjectName(QStringLiteral("vnaPort"));
    vnaPort->AddItem(tr("Port 1"), 0);
    vnaPort->AddItem(tr("Port 2"), 1);
    uCalPort = new KXComboBox(this);
    uCalPort->setObjectName(QStringLiteral("uCalPort"));
    uCalPort->AddItem(tr("Port A"), 0);
    uCalPort->AddItem(tr("Port B"), 1);

    auto* form = new QFormLayout;
    form->addRow(tr("Cal Type"), calType);
    form->addRow(tr("Cal Kit"), calKit);
    form->addRow(tr("Characterization"), characterization);
    form->addRow(tr("VNA Port"), vnaPort);
    form->addRow(tr("uCal Port"), uCalPort);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    auto* column = new QVBoxLayout(this);
    column->addLayout(form);
    column->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &ECalSetupDlg::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &ECalSetupDlg::reject);
    connect(calKit, &KXComboBox::comboIndexChanged, this, &ECalSetupDlg::calKitUpdated);

    ApplicationSettings settings(GetPreferencesIniPath());
    int lastType = SOLT;
    QString lastKit;
    settings.Load(QString::fromLatin1(kLastTypeKey), lastType);
    settings.Load(QString::fromLatin1(kLastKitKey), lastKit);
    // A thru-less mechanical type falls back to the full two-port one.
    calType->SetByData(lastType == SOL ? int(SOL) : int(SOLT));
    calKit->SetByData(lastKit);
    calKitUpdated();
}

VNACalType ECalSetupDlg::GetCalType() const
{
    return VNACalType(calType->GetCurrentData().toInt());
}

void ECalSetupDlg::SetCalType(VNACalType type)
{
    calType->SetByData(int(type));
}

void ECalSetupDlg::SetSelectCalTypeEnabled(bool enabled)
{
    calType->setEnabled(enabled);
}

int ECalSetupDlg::GetVNAPort() const
{
    return vnaPort->GetCurrentData().toInt();
}

int ECalSetupDlg::GetUCalPort() const
{
    return uCalPort->GetCurrentData().toInt();
}

bool ECalSetupDlg::UseUserCharacterization() const
{
    return characterization->isEnabled() && characterization->GetCurrentData().toInt() == 1;
}

QString ECalSetupDlg::GetCalKitName() const
{
    return calKit->GetCurrentData().toString();
}

bool ECalSetupDlg::GetCalKit(VNACalKit& kit) const
{
    return GetCalKitFromName(GetCalKitName(), kit);
}

void ECalSetupDlg::calKitUpdated()
{
    VNACalKit kit;
    const bool moduleKit = GetCalKit(kit) && kit.IsUCalModule();
    characterization->setEnabled(moduleKit);
    if (!moduleKit)
    {
        characterization->SetByData(0);
    }
}

void ECalSetupDlg::accept()
{
    ApplicationSettings settings(GetPreferencesIniPath());
    settings.Save(QString::fromLatin1(kLastTypeKey), int(GetCalType()));
    settings.Save(QString::fromLatin1(kLastKitKey), GetCalKitName());
    KXDialog::accept();
}

// ---------------------------------------------------------------------------------------------
// ECalMeasureDlg

ECalMeasureDlg::ECalMeasureDlg(VNADevice& dev, VNACalibration& calibration,
                               MauryUCalSession& session, const QString& title, int roles,
                               QWidget* parent)
    : CalMeasureDlg(dev, calibration, title, roles, parent), module(session)
{
    connect(this, &ECalMeasureDlg::requestTempUpdate, this, &ECalMeasureDlg::performTempUpdate);
    tempTimer = new QTimer(this);
    connect(tempTimer, &QTimer::timeout, this, &ECalMeasureDlg::requestTempUpdate);
    tempTimer->start(kTempUpdateMs);
}

void ECalMeasureDlg::BuildRows(const QStringList& classes)
{
    auto* column = new QVBoxLayout(this);
    column->addWidget(new KXLabel(tr("Cal Kit: ") + cal.GetCalKit().GetDisplayName(), this));
    auto* grid = new QGridLayout;
    for (int k = 0; k < classes.size(); ++k)
    {
        labels.append(StatusLabel(CalUtil::NotCompleteStr()));
        grid->addWidget(new KXLabel(classes[k], this), k, 0);
        grid->addWidget(labels.last(), k, 1);
    }
    tempLabel = new KXLabel(QString(), this);
    tempStatusLabel = new KXLabel(QString(), this);
    grid->addWidget(new KXLabel(tr("Cal Kit Temp:"), this), classes.size(), 0);
    grid->addWidget(tempLabel, classes.size(), 1);
    grid->addWidget(new KXLabel(tr("Cal Kit Status:"), this), classes.size() + 1, 0);
    grid->addWidget(tempStatusLabel, classes.size() + 1, 1);
    column->addLayout(grid);
    auto* row = new QHBoxLayout;
    auto* measure = new KXPushButton(tr("Measure"), this);
    measure->setObjectName(QStringLiteral("measure"));
    auto* cancel = new KXPushButton(tr("Cancel"), this);
    cancel->setObjectName(QStringLiteral("cancel"));
    row->addStretch();
    row->addWidget(measure);
    row->addWidget(cancel);
    column->addLayout(row);
    connect(measure, &QPushButton::clicked, this, &ECalMeasureDlg::measureClicked);
    connect(cancel, &QPushButton::clicked, this, &ECalMeasureDlg::reject);
    emit requestTempUpdate();
}

void ECalMeasureDlg::measureClicked()
{
    if (!IsBusy() && Measure())
    {
        checkIfCalDone();
    }
}

void ECalMeasureDlg::performTempUpdate()
{
    // A module that does not answer holds the queue: one reading at a time.
    if (tempPending)
    {
        return;
    }
    tempPending = true;
    module.Post<std::pair<double, bool>>(
        [](MauryUCal& m) { return std::make_pair(m.GetTemp(), m.TempInRange()); }, this,
        [this](const std::pair<double, bool>& t)
        {
            tempPending = false;
            tempLabel->setText(tr("%1 °C").arg(t.first, 0, 'f', 1));
            tempStatusLabel->setText(t.second ? tr("In Range") : tr("Out of Range"));
        });
}

bool ECalMeasureDlg::PrepareStandard(bool thru)
{
    Q_UNUSED(thru);
    const auto state = MauryUCal::State(pendingState);
    const bool ok = module.Run<bool>([state](MauryUCal& m) { return m.SetState(state); });
    switchFailed = !ok;
    return ok;
}

bool ECalMeasureDlg::Switched(CalClass cls, const std::function<bool()>& measure)
{
    pendingState = UCalStateOfClass(cls);
    switchFailed = false;
    if (measure())
    {
        return true;
    }
    if (switchFailed)
    {
        WarnError(
            tr("Unable to switch the uCal module to the standard.\nCannot continue "
               "calibration."));
    }
    return false;
}

void ECalMeasureDlg::WarnError(const QString& text)
{
    Warn(tr("Error"), text);
}

// ---------------------------------------------------------------------------------------------
// SOLECalDlg

namespace
{
const CalClass kReflectClasses[3] = {CalClassShort, CalClassOpen, CalClassLoad};
}

SOLECalDlg::SOLECalDlg(VNADevice& dev, VNACalibration& calibration, MauryUCalSession& session,
                       QWidget* parent)
    : ECalMeasureDlg(dev, calibration, session,
                     tr("SOL Electronic Calibration - Measure Standards"),
                     VNACalibration::kOnePortRoles, parent)
{
    const int port = cal.GetCalPort() == 0 ? 0 : 1;
    SetDeviceSetup(port == 0, port == 1, true);
    BuildRows({tr("Short"), tr("Open"), tr("Load")});
    StartBackground();
}

bool SOLECalDlg::Measure()
{
    const int port = cal.GetCalPort() == 0 ? 0 : 1;
    for (int k = 0; k < 3; ++k)
    {
        const QVector<CalKitStandardInfo> found =
            FindUCalStd(cal.GetCalKit(), kReflectClasses[k], cal.GetUCalPort());
        if (found.isEmpty())
        {
            WarnError(tr("Unable to find standard.\nCannot continue cal."));
            return false;
        }
        if (found.size() > 1)
        {
            WarnError(
                tr("More than 1 standard that matches the class and target port.\nCannot "
                   "continue calibration"));
            return false;
        }
        const auto kind = CalOnePortRole(k);
        const int id = found.first().ID;
        if (!Switched(kReflectClasses[k],
                      [&] { return MeasureReflect(kind, port, kind, id, labels[k]); }))
        {
            return false;
        }
    }
    return true;
}

// ---------------------------------------------------------------------------------------------
// SOLTECalDlg

SOLTECalDlg::SOLTECalDlg(VNADevice& dev, VNACalibration& calibration, MauryUCalSession& session,
                         QWidget* parent)
    : ECalMeasureDlg(dev, calibration, session,
                     tr("SOLT Electronic Calibration - Measure Standards"),
                     VNACalibration::kTwoPortRoles, parent),
      map(ECalPortMap(0, calibration.GetUCalPort()))
{
    // The module's thru is a known standard: its HDR data always serves.
    SetDeviceSetup(true, true, true);
    BuildRows({tr("Short"), tr("Open"), tr("Load"), tr("Thru")});
    StartBackground();
}

bool SOLTECalDlg::Measure()
{
    return MeasureSOL() && MeasureThru();
}

bool SOLTECalDlg::MeasureSOL()
{
    for (int k = 0; k < 3; ++k)
    {
        int ids[2] = {-1, -1};
        for (int uCal = 0; uCal < 2; ++uCal)
        {
            const QVector<CalKitStandardInfo> found =
                FindUCalStd(cal.GetCalKit(), kReflectClasses[k], uCal);
            if (found.isEmpty())
            {
                WarnError(uCal == 0 ? tr("Unable to find port A standard for this class.\nCannot "
                                         "continue calibration.")
                                    : tr("Unable to find port B standard for this class.\nCannot "
                                         "continue calibration."));
                return false;
            }
            ids[map.vnaPortOfUCalPort[uCal]] = found.first().ID;
        }
        QLabel* const rowLabels[2] = {labels[k], labels[k]};
        if (!Switched(kReflectClasses[k],
                      [&] { return MeasureReflectBoth(CalOnePortRole(k), ids, rowLabels); }))
        {
            return false;
        }
    }
    return true;
}

bool SOLTECalDlg::MeasureThru()
{
    const QVector<CalKitStandardInfo> thrus = cal.GetCalKit().GetStandardsWithClass(CalClassThru);
    if (thrus.isEmpty())
    {
        WarnError(tr("No thru standard found in cal kit.\nCannot continue calibration."));
        return false;
    }
    return Switched(
        CalClassThru,
        [&] { return CalMeasureDlg::MeasureThru(RoleThru, thrus.first(), false, labels[3]); });
}

// ---------------------------------------------------------------------------------------------
// UCalUserCharDlg

UCalUserCharDlg::UCalUserCharDlg(VNADevice& dev, VNACalibration& record,
                                 const VNACalibration& mechanicalCal, MauryUCalSession& session,
                                 const UCalIdentity& id, UCalUserCharacterization& out,
                                 QWidget* parent)
    : ECalMeasureDlg(dev, record, session, tr("uCal User Characterization - Measure States"),
                     UCalUserCharacterization::kStateCount, parent),
      mechanical(mechanicalCal),
      identity(id),
      result(out)
{
    // Swept as the channel sweeps, so the channel's corrections fit every sweep.
    SetDeviceSetup(true, true, mechanical.GetCalType() != SOLR);
    BuildRows({tr("Short"), tr("Open"), tr("Load"), tr("Thru")});
    uCalPort = new KXComboBox(this);
    uCalPort->setObjectName(QStringLiteral("uCalPort"));
    uCalPort->AddItem(tr("Port A"), 0);
    uCalPort->AddItem(tr("Port B"), 1);
    auto* form = new QFormLayout;
    form->addRow(tr("uCal Port on VNA Port 1"), uCalPort);
    if (auto* column = qobject_cast<QVBoxLayout*>(layout()))
    {
        column->insertLayout(1, form);
    }
    StartBackground();
}

bool UCalUserCharDlg::Measure()
{
    // The port map is fixed by the first measurement: the states measured belong to it.
    if (uCalPort->isEnabled())
    {
        result.Begin(identity, stimulus.GetFreqVector(),
                     ECalPortMap(0, uCalPort->GetCurrentData().toInt()));
        uCalPort->setEnabled(false);
    }
    const CalClass classes[UCalUserCharacterization::kStateCount] = {CalClassShort, CalClassOpen,
                                                                     CalClassLoad, CalClassThru};
    for (int state = 0; state < UCalUserCharacterization::kStateCount; ++state)
    {
        QString error;
        const auto store = [&](const SParametersRaw& raw)
        { return result.AddSweep(state, raw, mechanical, error); };
        if (!Switched(classes[state],
                      [&] { return MeasureRole(state, false, labels[state], store); }))
        {
            if (!error.isEmpty())
            {
                WarnError(error);
            }
            return false;
        }
    }
    double celsius = 0.0;
    RunWhileServingEvents(
        [&] { celsius = module.Run<double>([](MauryUCal& m) { return m.GetTemp(); }); });
    result.SetTemperature(celsius);
    return true;
}
