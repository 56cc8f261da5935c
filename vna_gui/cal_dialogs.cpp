#include "cal_dialogs.h"

#include <QDialogButtonBox>
#include <QEventLoop>
#include <QFormLayout>
#include <QGridLayout>
#include <QHeaderView>
#include <QTableWidget>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>

#include "application_settings.h"
#include "cal_workflow.h"
#include "preferences.h"
#include "vna_calkit_list.h"
#include "vna_device.h"
#include "vna_model.h"

namespace
{
// Polls of a sweep: the background sweeping is in no hurry, a measurement is waited for.
constexpr int kBackgroundPollMs = 64;
constexpr int kMeasurePollMs = 5;
constexpr int kMinSlides = 5;
constexpr int kMaxSlides = 10;

const char* const kLastTypeKey = "Calibration";
const char* const kLastKitKey = "CalKit";

void SizeForFont(QWidget* dialog)
{
    const QFontMetrics m(dialog->font());
    dialog->resize(
        CalUtil::GetDefaultCalDlgSize(m.horizontalAdvance(QLatin1Char('w')), m.height()));
}
}  // namespace

void RunWhileServingEvents(const std::function<void()>& work, const std::function<void()>& tick,
                           int tickMs)
{
    QEventLoop loop;
    std::atomic<bool> finished{false};
    std::thread thread(
        [&]
        {
            work();
            finished.store(true);
        });
    // The loop polls the worker's flag: nothing is posted across threads, so the only hand-over
    // is the atomic flag (and the join), which the thread checker sees.
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop,
                     [&]
                     {
                         if (finished.load())
                         {
                             loop.quit();
                         }
                     });
    poll.start(5);
    QTimer timer;
    if (tick)
    {
        QObject::connect(&timer, &QTimer::timeout, tick);
        timer.start(tickMs);
    }
    if (!finished.load())
    {
        loop.exec();
    }
    thread.join();
}

// ---------------------------------------------------------------------------------------------
// CalSetupDlg

CalSetupDlg::CalSetupDlg(QWidget* parent) : KXDialog(tr("Start New Mechanical Calibration"), parent)
{
    calType = new KXComboBox(this);
    calType->setObjectName(QStringLiteral("calType"));
    calType->AddItem(VNACalTypeToString(SOL), int(SOL));
    calType->AddItem(VNACalTypeToString(SOLT), int(SOLT));
    calType->AddItem(VNACalTypeToString(SOLR), int(SOLR));
    calKit = new KXComboBox(this);
    calKit->setObjectName(QStringLiteral("calKit"));
    for (const CalKitListEntry& kit : ReadCalKitList())
    {
        calKit->AddItem(kit.name, kit.name);
    }
    port = new KXComboBox(this);
    port->setObjectName(QStringLiteral("port"));
    port->AddItem(tr("Port 1"), 0);
    port->AddItem(tr("Port 2"), 1);

    auto* form = new QFormLayout;
    form->addRow(tr("Cal Type"), calType);
    form->addRow(tr("Cal Kit"), calKit);
    form->addRow(tr("Port Select"), port);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    auto* column = new QVBoxLayout(this);
    column->addLayout(form);
    column->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &CalSetupDlg::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &CalSetupDlg::reject);
    connect(calType, &KXComboBox::comboIndexChanged, this, &CalSetupDlg::calTypeUpdated);

    ApplicationSettings settings(GetPreferencesIniPath());
    int lastType = SOLT;
    QString lastKit;
    settings.Load(QString::fromLatin1(kLastTypeKey), lastType);
    settings.Load(QString::fromLatin1(kLastKitKey), lastKit);
    calType->SetByData(lastType);
    calKit->SetByData(lastKit);
    calTypeUpdated();
}

VNACalType CalSetupDlg::GetCalType() const
{
    return VNACalType(calType->GetCurrentData().toInt());
}

void CalSetupDlg::SetCalType(VNACalType type)
{
    calType->SetByData(int(type));
    calTypeUpdated();
}

void CalSetupDlg::SetSelectCalTypeEnabled(bool enabled)
{
    calType->setEnabled(enabled);
}

int CalSetupDlg::GetPort() const
{
    return port->GetCurrentData().toInt();
}

QString CalSetupDlg::GetCalKitName() const
{
    return calKit->GetCurrentData().toString();
}

bool CalSetupDlg::GetCalKit(VNACalKit& kit) const
{
    return GetCalKitFromName(GetCalKitName(), kit);
}

void CalSetupDlg::calTypeUpdated()
{
    // Only a one-port calibration has a port to choose.
    port->setEnabled(GetCalType() == SOL);
}

void CalSetupDlg::accept()
{
    ApplicationSettings settings(GetPreferencesIniPath());
    settings.Save(QString::fromLatin1(kLastTypeKey), int(GetCalType()));
    settings.Save(QString::fromLatin1(kLastKitKey), GetCalKitName());
    KXDialog::accept();
}

// ---------------------------------------------------------------------------------------------
// VNACalStdPicker and VNASlidingLoadDlg

VNACalStdPicker::VNACalStdPicker(const QVector<CalKitStandardInfo>& standards, QWidget* parent)
    : KXDialog(tr("Select Standard"), parent)
{
    auto* table = new QTableWidget(standards.size(), 4, this);
    table->setHorizontalHeaderLabels({tr("Type"), tr("Gender"), tr("Desc"), QString()});
    table->verticalHeader()->hide();
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    for (int row = 0; row < standards.size(); ++row)
    {
        const CalKitStandardInfo& s = standards[row];
        table->setItem(row, 0, new QTableWidgetItem(VNAStandardToString(s.Type)));
        table->setItem(row, 1, new QTableWidgetItem(VNAGenderToString(s.Gender)));
        table->setItem(row, 2, new QTableWidgetItem(s.Description));
        auto* select = new KXPushButton(tr("Select"), table);
        select->setProperty("std_id", s.ID);
        connect(select, &QPushButton::clicked, this, &VNACalStdPicker::stdSelected);
        table->setCellWidget(row, 3, select);
    }
    table->horizontalHeader()->setSectionResizeMode(2, QHeaderView::Stretch);
    auto* column = new QVBoxLayout(this);
    column->addWidget(table);
    SizeForFont(this);
}

void VNACalStdPicker::stdSelected()
{
    selected = sender()->property("std_id").toInt();
    accept();
}

VNASlidingLoadDlg::VNASlidingLoadDlg(int count, QWidget* parent)
    : KXDialog(tr("Measure Sliding Load"), parent)
{
    auto* column = new QVBoxLayout(this);
    column->addWidget(new KXLabel(tr("Meas Count %1").arg(count), this));
    column->addWidget(new KXLabel(tr("Minimum Meas Count = %1").arg(kMinSlides), this));
    const char* const texts[3] = {QT_TR_NOOP("Measure Next Position and Continue"),
                                  QT_TR_NOOP("Measure Next Position and Finish"),
                                  QT_TR_NOOP("Done")};
    for (int result = 0; result < 3; ++result)
    {
        auto* b = new KXPushButton(tr(texts[result]), this);
        connect(b, &QPushButton::clicked, this, [this, result] { done(result); });
        column->addWidget(b);
    }
}

void VNASlidingLoadDlg::reject()
{
    done(2);
}

// ---------------------------------------------------------------------------------------------
// CalMeasureDlg

CalMeasureDlg::CalMeasureDlg(VNADevice& dev, VNACalibration& calibration, const QString& title,
                             int roles, QWidget* parent)
    : KXDialog(title, parent), device(dev), cal(calibration), stimulus(calibration.GetStimulus())
{
    done.fill(false, roles);
    connect(this, &QDialog::finished, this, &CalMeasureDlg::dialogClosed);
}

CalMeasureDlg::~CalMeasureDlg()
{
    Stop();
}

void CalMeasureDlg::SetDeviceSetup(bool fwd, bool rev, bool hdr)
{
    sweepFwd = fwd;
    sweepRev = rev;
    sweepHdr = hdr;
}

void CalMeasureDlg::StartBackground()
{
    running.store(true);
    background = std::thread(&CalMeasureDlg::BackgroundThread, this);
    SizeForFont(this);
}

void CalMeasureDlg::Stop()
{
    // Once stopped the device is left alone for good: it may be gone by the time the dialog is.
    if (stopped)
    {
        return;
    }
    stopped = true;
    running.store(false);
    device.InterruptWaits();
    {
        // A measurement under way holds the device until its job has seen the stop.
        std::lock_guard<std::mutex> lock(deviceMutex);
    }
    if (background.joinable())
    {
        background.join();
    }
}

bool CalMeasureDlg::HasFinished() const
{
    return std::all_of(done.begin(), done.end(), [](bool d) { return d; });
}

void CalMeasureDlg::Configure(bool thru)
{
    device.Configure(stimulus, true, sweepFwd, sweepRev, sweepHdr, thru && sweepHdr, false);
}

bool CalMeasureDlg::WaitForSweep(int pollMs, bool yieldToMeasurement)
{
    int fwd = 0, rev = 0;
    double percent = 0.0;
    for (;;)
    {
        if (!running.load() || (yieldToMeasurement && pauseRequest.load()))
        {
            return false;
        }
        device.GetSweepUpdate(fwd, rev, percent);
        progressPercent.store(percent);
        if (fwd >= stimulus.points && rev >= stimulus.points)
        {
            return true;
        }
        SystemSleep(pollMs);
    }
}

void CalMeasureDlg::BackgroundThread()
{
    // Keeps the instrument's temperature steady between the measurements; the data is dropped.
    SParametersRaw raw;
    raw.Resize(stimulus.points);
    while (running.load())
    {
        while (pauseRequest.load() && running.load())
        {
            SystemSleep(kBackgroundPollMs);
        }
        std::lock_guard<std::mutex> lock(deviceMutex);
        if (!running.load() || pauseRequest.load())
        {
            continue;
        }
        if (!backgroundConfigured)
        {
            Configure(false);
            backgroundConfigured = true;
        }
        device.StartSweep(raw);
        // A measurement waiting for the device cuts the sweep short.
        if (WaitForSweep(kBackgroundPollMs, true))
        {
            device.FinishSweep();
        }
        else
        {
            device.AbortSweep();
        }
    }
}

bool CalMeasureDlg::RunOnDevice(QLabel* label, const std::function<bool()>& job)
{
    if (!running.load())
    {
        return false;
    }
    label->setText(CalUtil::GetCalWaitingString());
    progressSweep.store(0);
    progressCount.store(1);
    progressPercent.store(0.0);
    bool ok = false;
    pauseRequest.store(true, std::memory_order_seq_cst);
    RunWhileServingEvents(
        [&]
        {
            std::lock_guard<std::mutex> lock(deviceMutex);
            pauseRequest.store(false, std::memory_order_seq_cst);
            ok = running.load() && job();
            // The measurement may have set the instrument up otherwise.
            backgroundConfigured = false;
        },
        [&]
        {
            if (progressSweep.load() > 0)
            {
                label->setText(CalUtil::GetCalMeasStatusString(
                    progressSweep.load(), progressCount.load(), progressPercent.load()));
            }
        });
    return ok && running.load();
}

bool CalMeasureDlg::MeasureStandard(QLabel* label, bool thru, SParametersRaw& out)
{
    const int count = stimulus.avgEnabled ? std::max(1, int(stimulus.avgCount)) : 1;
    SParametersRaw sum;
    const bool ok = RunOnDevice(label,
                                [&]
                                {
                                    if (!PrepareStandard(thru))
                                    {
                                        return false;
                                    }
                                    Configure(thru);
                                    progressCount.store(count);
                                    for (int k = 0; k < count; ++k)
                                    {
                                        progressSweep.store(k + 1);
                                        SParametersRaw r;
                                        r.Resize(stimulus.points);
                                        device.StartSweep(r);
                                        if (!WaitForSweep(kMeasurePollMs, false))
                                        {
                                            device.AbortSweep();
                                            return false;
                                        }
                                        device.FinishSweep();
                                        k == 0 ? void(sum = r) : sum.Add(r);
                                    }
                                    // A plain mean of the raw sweeps.
                                    sum.Scale(1.0 / count);
                                    return true;
                                });
    if (!ok)
    {
        return false;
    }
    out = sum;
    emit measUpdated(out);
    return true;
}

bool CalMeasureDlg::MeasureSwitchTerms(QLabel* label)
{
    SParametersRaw receivers[2];
    const bool ok = RunOnDevice(label,
                                [&]
                                {
                                    // One sweep driving each port: averaging does not apply.
                                    progressCount.store(2);
                                    for (int port = 0; port < 2; ++port)
                                    {
                                        progressSweep.store(port + 1);
                                        receivers[port].Resize(stimulus.points);
                                        device.ConfigureRecievers(stimulus, port);
                                        device.GetRecievers(receivers[port]);
                                        if (!running.load())
                                        {
                                            return false;
                                        }
                                    }
                                    return true;
                                });
    if (ok)
    {
        StoreSwitchTerms(cal, receivers[0], receivers[1]);
    }
    return ok;
}

bool CalMeasureDlg::MeasureSlidingLoad(QLabel* label, SParametersRaw& out)
{
    QVector<SParametersRaw> slides;
    // Ten positions at most: going on after the tenth finishes.
    for (int pass = 0; pass < kMaxSlides; ++pass)
    {
        VNASlidingLoadDlg position(pass, this);
        const int result = position.exec();
        if (result == 0 || result == 1)
        {
            SParametersRaw slide;
            if (!MeasureStandard(label, false, slide))
            {
                return false;
            }
            slides.append(slide);
        }
        if (result != 0)
        {
            break;
        }
    }
    if (slides.size() < kMinSlides)
    {
        ShowMessageBoxWarning(this, tr("Error"),
                              tr("Did not measure the minimum number of slides (5).\nSliding "
                                 "load measurement failed."));
        return false;
    }
    // The calibration's own port, whichever port the load is on.
    SolveSlidingLoad(slides.data(), slides.size(), cal.GetCalPort(), false);
    out = slides[0];
    return true;
}

bool CalMeasureDlg::BeginStep()
{
    if (busy > 0 || !running.load())
    {
        return false;
    }
    Enter();
    SetControlsEnabled(false);
    return true;
}

void CalMeasureDlg::EndStep()
{
    SetControlsEnabled(running.load());
    Leave();
}

void CalMeasureDlg::Leave()
{
    if (--busy == 0 && deleteWhenIdle)
    {
        deleteLater();
    }
}

void CalMeasureDlg::DeleteWhenIdle()
{
    deleteWhenIdle = true;
    if (busy == 0)
    {
        deleteLater();
    }
}

bool CalMeasureDlg::MeasureReflect(int role, int port, CalOnePortRole kind, int id, QLabel* label)
{
    bool found = false;
    const CalKitStandardInfo standard = cal.GetCalKit().GetStandard(id, found);
    if (!found || !StandardFitsRole(standard, kind) || !BeginStep())
    {
        return false;
    }
    SParametersRaw raw;
    const bool ok = kind == RoleLoad && standard.IsSlidingLoad()
                        ? MeasureSlidingLoad(label, raw)
                        : MeasureStandard(label, false, raw);
    SetDone(role, ok ? MergeReflectStandard(cal, port, kind, standard, raw) : done[role], label,
            ok);
    EndStep();
    return ok;
}

bool CalMeasureDlg::MeasureReflectBoth(CalOnePortRole kind, const int ids[2],
                                       QLabel* const labels[2])
{
    CalKitStandardInfo standards[2];
    for (int port = 0; port < 2; ++port)
    {
        bool found = false;
        standards[port] = cal.GetCalKit().GetStandard(ids[port], found);
        if (!found || !StandardFitsRole(standards[port], kind))
        {
            return false;
        }
    }
    if (!BeginStep())
    {
        return false;
    }
    SParametersRaw raw;
    const bool ok = MeasureStandard(labels[0], false, raw);
    for (int port = 0; port < 2; ++port)
    {
        const int role = 3 * port + kind;
        SetDone(role, ok ? MergeReflectStandard(cal, port, kind, standards[port], raw) : done[role],
                labels[port], ok);
    }
    EndStep();
    return ok;
}

bool CalMeasureDlg::MeasureThru(int role, const CalKitStandardInfo& standard, bool unknown,
                                QLabel* label)
{
    if (!BeginStep())
    {
        return false;
    }
    SParametersRaw raw;
    bool ok = MeasureStandard(label, true, raw);
    // The switch terms are taken with the thru still connected.
    ok = ok && (!unknown || MeasureSwitchTerms(label));
    SetDone(role, ok ? MergeThruStandard(cal, standard, raw) : done[role], label, ok);
    EndStep();
    return ok;
}

bool CalMeasureDlg::MeasureRole(int role, bool thru, QLabel* label,
                                const std::function<bool(const SParametersRaw&)>& store)
{
    if (!BeginStep())
    {
        return false;
    }
    SParametersRaw raw;
    const bool ok = MeasureStandard(label, thru, raw) && store(raw);
    SetDone(role, ok || done[role], label, ok);
    EndStep();
    return ok;
}

bool CalMeasureDlg::MeasureIsolation(QLabel* label)
{
    if (!BeginStep())
    {
        return false;
    }
    SParametersRaw raw;
    const bool ok = MeasureStandard(label, false, raw);
    if (ok)
    {
        StoreIsolation(cal, raw);
    }
    label->setText(ok ? CalUtil::CompleteStr() : tr("Optional"));
    EndStep();
    return ok;
}

void CalMeasureDlg::SetDone(int role, bool isDone, QLabel* label, bool measured)
{
    done[role] = isDone;
    if (isDone)
    {
        label->setText(CalUtil::CompleteStr());
    }
    else
    {
        label->setText(measured ? CalUtil::PartialCompleteStr() : CalUtil::NotCompleteStr());
    }
}

int CalMeasureDlg::GetStdIDByClass(CalClass cls)
{
    const QVector<CalKitStandardInfo> standards = cal.GetCalKit().GetStandardsWithClass(cls);
    if (standards.isEmpty())
    {
        return -1;
    }
    // Without a screen nobody can pick: the class's first choice serves.
    if ((standards.size() == 1 && !Preferences::Get().showStdSelectorOneStd) || Hidden::Get())
    {
        return standards.first().ID;
    }
    VNACalStdPicker picker(standards, this);
    return picker.exec() == QDialog::Accepted ? picker.GetSelectedID() : -1;
}

void CalMeasureDlg::SetControlsEnabled(bool enabled)
{
    for (QPushButton* b : findChildren<QPushButton*>())
    {
        b->setEnabled(enabled);
    }
}

QLabel* CalMeasureDlg::StatusLabel(const QString& text)
{
    auto* label = new KXLabel(text, this);
    label->setTextFormat(Qt::RichText);
    return label;
}

void CalMeasureDlg::Warn(const QString& title, const QString& text)
{
    Enter();
    ShowMessageBoxWarning(this, title, text);
    Leave();
}

void CalMeasureDlg::AddFinishButtons(QBoxLayout* column)
{
    auto* row = new QHBoxLayout;
    auto* finish = new KXPushButton(tr("Done"), this);
    finish->setObjectName(QStringLiteral("done"));
    auto* cancel = new KXPushButton(tr("Cancel"), this);
    cancel->setObjectName(QStringLiteral("cancel"));
    row->addStretch();
    row->addWidget(finish);
    row->addWidget(cancel);
    column->addLayout(row);
    connect(finish, &QPushButton::clicked, this, &CalMeasureDlg::checkIfCalDone);
    connect(cancel, &QPushButton::clicked, this, &CalMeasureDlg::reject);
}

void CalMeasureDlg::checkIfCalDone()
{
    if (busy > 0)
    {
        return;
    }
    if (!HasFinished())
    {
        Enter();
        ShowMessageBoxWarning(this, tr("Not Complete"),
                              tr("Calibration incomplete, finish calibration."));
        Leave();
        return;
    }
    accept();
}

void CalMeasureDlg::reject()
{
    if (!running.load())
    {
        KXDialog::reject();  // stopped: nothing left to ask about
        return;
    }
    if (busy > 0)
    {
        return;  // the step under way ends first
    }
    if (!HasFinished())
    {
        Enter();
        const bool cancel = ShowMessageBoxQuestion(
            this, tr("Question"), tr("Calibration incomplete, are you sure you wish to cancel?"));
        Leave();
        if (!cancel || deleteWhenIdle)
        {
            return;
        }
    }
    KXDialog::reject();
}

// ---------------------------------------------------------------------------------------------
// SOLCalDlg

SOLCalDlg::SOLCalDlg(VNADevice& dev, VNACalibration& calibration, QWidget* parent)
    : CalMeasureDlg(dev, calibration, tr("SOL Mechanical Calibration - Measure Standards"),
                    VNACalibration::kOnePortRoles, parent)
{
    const int port = cal.GetCalPort() == 0 ? 0 : 1;
    SetDeviceSetup(port == 0, port == 1, true);
    auto* column = new QVBoxLayout(this);
    column->addWidget(new KXLabel(tr("Cal Kit: ") + cal.GetCalKit().GetDisplayName(), this));
    column->addWidget(new KXLabel(port == 0 ? tr("Port 1") : tr("Port 2"), this));
    auto* grid = new QGridLayout;
    const char* const texts[3] = {QT_TR_NOOP("Short"), QT_TR_NOOP("Open"), QT_TR_NOOP("Load")};
    const CalClass classes[3] = {CalClassShort, CalClassOpen, CalClassLoad};
    for (int k = 0; k < 3; ++k)
    {
        auto* b = new KXPushButton(tr(texts[k]), this);
        b->setObjectName(QString::fromLatin1(texts[k]).toLower());
        labels[k] = StatusLabel(CalUtil::NotCompleteStr());
        grid->addWidget(b, k, 0);
        grid->addWidget(labels[k], k, 1);
        const CalClass cls = classes[k];
        connect(b, &QPushButton::clicked, this,
                [this, k, cls] { Measure(CalOnePortRole(k), GetStdIDByClass(cls)); });
    }
    column->addLayout(grid);
    AddFinishButtons(column);
    StartBackground();
}

bool SOLCalDlg::Measure(CalOnePortRole kind, int id)
{
    return MeasureReflect(kind, cal.GetCalPort() == 0 ? 0 : 1, kind, id, labels[kind]);
}

bool SOLCalDlg::MeasShort(int id)
{
    return Measure(RoleShort, id);
}

bool SOLCalDlg::MeasOpen(int id)
{
    return Measure(RoleOpen, id);
}

bool SOLCalDlg::MeasLoad(int id)
{
    return Measure(RoleLoad, id);
}

// ---------------------------------------------------------------------------------------------
// SOLTCalDlg

SOLTCalDlg::SOLTCalDlg(VNADevice& dev, VNACalibration& calibration, QWidget* parent)
    : CalMeasureDlg(dev, calibration,
                    calibration.GetCalType() == SOLR ? tr("SOLR Calibration - Measure Standards")
                                                     : tr("SOLT Calibration - Measure Standards"),
                    VNACalibration::kTwoPortRoles, parent)
{
    // Without HDR the instrument runs its unknown-thru model.
    SetDeviceSetup(true, true, !Unknown());
    auto* column = new QVBoxLayout(this);
    column->addWidget(new KXLabel(tr("Cal Kit: ") + cal.GetCalKit().GetDisplayName(), this));
    auto* grid = new QGridLayout;
    const char* const texts[3] = {QT_TR_NOOP("Short"), QT_TR_NOOP("Open"), QT_TR_NOOP("Load")};
    const CalClass classes[3] = {CalClassShort, CalClassOpen, CalClassLoad};
    for (int port = 0; port < 2; ++port)
    {
        grid->addWidget(new KXLabel(port == 0 ? tr("Port 1") : tr("Port 2"), this), 0, 2 * port);
        for (int k = 0; k < 3; ++k)
        {
            auto* b = new KXPushButton(tr(texts[k]), this);
            b->setObjectName(
                QStringLiteral("p%1%2").arg(port + 1).arg(QString::fromLatin1(texts[k]).toLower()));
            const int role = 3 * port + k;
            labels[role] = StatusLabel(CalUtil::NotCompleteStr());
            grid->addWidget(b, k + 1, 2 * port);
            grid->addWidget(labels[role], k + 1, 2 * port + 1);
            const CalClass cls = classes[k];
            connect(b, &QPushButton::clicked, this,
                    [this, port, k, cls]
                    { Measure(port, CalOnePortRole(k), GetStdIDByClass(cls)); });
        }
    }
    auto* thru = new KXPushButton(tr("Thru"), this);
    thru->setObjectName(QStringLiteral("thru"));
    labels[RoleThru] = StatusLabel(CalUtil::NotCompleteStr());
    auto* iso = new KXPushButton(tr("Iso"), this);
    iso->setObjectName(QStringLiteral("iso"));
    isoLabel = StatusLabel(tr("Optional"));
    grid->addWidget(thru, 4, 0);
    grid->addWidget(labels[RoleThru], 4, 1);
    grid->addWidget(iso, 5, 0);
    grid->addWidget(isoLabel, 5, 1);
    column->addLayout(grid);
    AddFinishButtons(column);
    // An unknown thru needs no standard of the kit.
    connect(thru, &QPushButton::clicked, this,
            [this] { MeasThru(Unknown() ? -1 : GetStdIDByClass(CalClassThru)); });
    connect(iso, &QPushButton::clicked, this, &SOLTCalDlg::MeasIso);
    StartBackground();
}

bool SOLTCalDlg::Measure(int port, CalOnePortRole kind, int id)
{
    if (port != 0 && port != 1)
    {
        return false;
    }
    return MeasureReflect(3 * port + kind, port, kind, id, labels[3 * port + kind]);
}

bool SOLTCalDlg::MeasShort(int port, int id)
{
    return Measure(port, RoleShort, id);
}

bool SOLTCalDlg::MeasOpen(int port, int id)
{
    return Measure(port, RoleOpen, id);
}

bool SOLTCalDlg::MeasLoad(int port, int id)
{
    return Measure(port, RoleLoad, id);
}

bool SOLTCalDlg::MeasThru(int id)
{
    // An unknown thru is mapped as a default standard over the whole range.
    CalKitStandardInfo standard;
    if (!Unknown())
    {
        bool found = false;
        standard = cal.GetCalKit().GetStandard(id, found);
        if (!found || !standard.IsStandardType(VNAStdThru))
        {
            return false;
        }
    }
    return MeasureThru(RoleThru, standard, Unknown(), labels[RoleThru]);
}

bool SOLTCalDlg::MeasIso()
{
    return MeasureIsolation(isoLabel);
}
