#include "maury_ucal_dialog.h"

#include <QButtonGroup>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHideEvent>
#include <QLabel>
#include <QTimer>
#include <QVBoxLayout>
#include <utility>

namespace
{
const char* const kStateNames[4] = {QT_TRANSLATE_NOOP("MauryUCalControlsDlg", "Short"),
                                    QT_TRANSLATE_NOOP("MauryUCalControlsDlg", "Open"),
                                    QT_TRANSLATE_NOOP("MauryUCalControlsDlg", "Load"),
                                    QT_TRANSLATE_NOOP("MauryUCalControlsDlg", "Thru")};

const char* const kFieldNames[MauryUCalControlsDlg::FieldCount] = {
    QT_TRANSLATE_NOOP("MauryUCalControlsDlg", "Manufacturer"),
    QT_TRANSLATE_NOOP("MauryUCalControlsDlg", "Model"),
    QT_TRANSLATE_NOOP("MauryUCalControlsDlg", "Serial Number"),
    QT_TRANSLATE_NOOP("MauryUCalControlsDlg", "Firmware"),
    QT_TRANSLATE_NOOP("MauryUCalControlsDlg", "Device"),
    QT_TRANSLATE_NOOP("MauryUCalControlsDlg", "State"),
    QT_TRANSLATE_NOOP("MauryUCalControlsDlg", "Temperature")};
}  // namespace

MauryUCalControlsDlg::MauryUCalControlsDlg(QWidget* parent)
    : KXDialog(tr("Maury uCal Controls"), parent),
      connectButton(new KXPushButton(tr("Connect"), this)),
      stateGroup(new QButtonGroup(this)),
      tempTimer(new QTimer(this))
{
    auto* buttons = new QHBoxLayout;
    for (int s = 0; s < 4; ++s)
    {
        auto* b = new KXPushButton(tr(kStateNames[s]), this);
        b->setCheckable(true);
        b->setEnabled(false);
        stateGroup->addButton(b, s);
        buttons->addWidget(b);
    }
    stateGroup->setExclusive(true);
    auto* form = new QFormLayout;
    for (int f = 0; f < FieldCount; ++f)
    {
        fields[f] = new QLabel(this);
        form->addRow(tr(kFieldNames[f]), fields[f]);
    }
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(connectButton);
    layout->addLayout(buttons);
    layout->addLayout(form);

    connect(connectButton, &QPushButton::clicked, this, &MauryUCalControlsDlg::connectPressed);
    connect(stateGroup, &QButtonGroup::idClicked, this, &MauryUCalControlsDlg::setState);
    tempTimer->setInterval(kTempPeriodMs);
    connect(tempTimer, &QTimer::timeout, this, &MauryUCalControlsDlg::updateTemp);
}

MauryUCalControlsDlg::~MauryUCalControlsDlg() = default;

QString MauryUCalControlsDlg::FieldText(Field field) const
{
    return field >= 0 && field < FieldCount ? fields[field]->text() : QString();
}

void MauryUCalControlsDlg::connectPressed()
{
    if (session)
    {
        EndSession();
        return;
    }
    const QList<UCalPortInfo> devices = MauryUCal::FindDevices();
    if (devices.isEmpty())
    {
        ShowMessageBoxWarning(this, tr("Error"), tr("No Maury uCal device found."));
        return;
    }
    session = std::make_unique<MauryUCalSession>(devices.first());
    connectButton->setEnabled(false);
    session->Post<MauryUCalStatus>(
        [](MauryUCal& m)
        {
            m.Connect();
            return SnapshotOf(m);
        },
        this, [this](const MauryUCalStatus& s) { Connected(s); });
}

void MauryUCalControlsDlg::Connected(const MauryUCalStatus& status)
{
    connectButton->setEnabled(true);
    if (!status.connected)
    {
        // This runs inside one of the session's own calls: it goes once that call returns.
        session.release()->deleteLater();
        ShowMessageBoxWarning(this, tr("Error"), tr("Failed to connect to Maury uCal device."));
        emit moduleUpdated();
        return;
    }
    connected = true;
    connectButton->setText(tr("Disconnect"));
    for (QAbstractButton* b : stateGroup->buttons())
    {
        b->setEnabled(true);
    }
    UpdateIDLabels(status);
    tempTimer->start();
    updateTemp();
    emit moduleUpdated();
}

void MauryUCalControlsDlg::UpdateIDLabels(const MauryUCalStatus& status)
{
    fields[FieldManufacturer]->setText(status.identity.manufacturer);
    fields[FieldModel]->setText(status.identity.model);
    fields[FieldSerialNumber]->setText(status.identity.serialNumber);
    fields[FieldFirmware]->setText(status.identity.firmware);
    fields[FieldDevice]->setText(status.portName);
    ShowState(status.state);
}

void MauryUCalControlsDlg::ShowState(MauryUCal::State state)
{
    if (QAbstractButton* b = stateGroup->button(state))
    {
        b->setChecked(true);  // checking by code emits no buttonClicked
    }
    fields[FieldState]->setText(tr(kStateNames[state]));
}

void MauryUCalControlsDlg::setState(int state)
{
    if (!IsConnected() || state < MauryUCal::Short || state > MauryUCal::Thru)
    {
        return;
    }
    session->Post<MauryUCalStatus>(
        [state](MauryUCal& m)
        {
            m.SetState(MauryUCal::State(state));
            return SnapshotOf(m);
        },
        this,
        [this](const MauryUCalStatus& s)
        {
            // A refused switch shows the state the module is known to be in.
            ShowState(s.state);
            emit moduleUpdated();
        });
}

void MauryUCalControlsDlg::updateTemp()
{
    if (!IsConnected() || tempPending)
    {
        return;
    }
    tempPending = true;
    session->Post<std::pair<double, bool>>(
        [](MauryUCal& m) { return std::make_pair(m.GetTemp(), m.TempInRange()); }, this,
        [this](const std::pair<double, bool>& t)
        {
            tempPending = false;
            fields[FieldTemperature]->setText(
                tr("%1°C - %2")
                    .arg(t.first, 0, 'f', 1)
                    .arg(t.second ? tr("In Range") : tr("Out of Range")));
            emit moduleUpdated();
        });
}

void MauryUCalControlsDlg::hideEvent(QHideEvent* event)
{
    EndSession();
    KXDialog::hideEvent(event);
}

void MauryUCalControlsDlg::EndSession()
{
    tempTimer->stop();
    session.reset();
    connected = false;
    tempPending = false;
    connectButton->setText(tr("Connect"));
    connectButton->setEnabled(true);  // a connection still under way is dropped
    for (QAbstractButton* b : stateGroup->buttons())
    {
        b->setEnabled(false);
    }
    for (QLabel* label : fields)
    {
        label->clear();
    }
}
