#include "vna_model.h"

#include <malloc.h>
#include <pthread.h>
#include <QDebug>
#include <QMutexLocker>

#include <chrono>

void SetThreadName(std::thread& thread, const char* name)
{
    // Linux limits thread names to 15 characters plus the terminator.
    char shortName[16] = {};
    strncpy(shortName, name, sizeof(shortName) - 1);
    pthread_setname_np(thread.native_handle(), shortName);
}

void SystemSleep(int ms)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

namespace
{
// At the largest sweeps the loop lets go of megabyte buffers and takes new ones every display
// cycle (copy-on-write copies of the sweep records). By default the C library hands such memory
// back to the kernel at once and faults it in again on the next allocation, which costs tens of
// milliseconds a cycle, and as much again on the wait for a stop: keep it in the process.
void KeepLargeBuffersInProcess()
{
    static std::once_flag once;
    std::call_once(once,
                   []
                   {
                       mallopt(M_MMAP_THRESHOLD, 64 << 20);
                       mallopt(M_TRIM_THRESHOLD, 256 << 20);
                   });
}
}  // namespace

VNAModel::VNAModel(const VnaLib* library, QObject* parent) : QObject(parent), device(library)
{
    KeepLargeBuffersInProcess();
    for (int i = 0; i < kChannelCount; ++i)
    {
        channels.append(new VNAChannel(i));
    }
    channels[0]->enabled = true;
}

VNAModel::~VNAModel()
{
    MeasStop();
    DeleteAllTraces();
    qDeleteAll(channels);
    channels.clear();
}

void VNAModel::MeasStart()
{
    if (deviceHeld || !device.Connected() || measRunning.load())
    {
        return;
    }
    measRunning.store(true);
    measThread = std::thread(&VNAModel::MeasThread, this);
    SetThreadName(measThread, "MeasThread");
}

void VNAModel::MeasStop()
{
    if (!measThread.joinable())
    {
        return;
    }
    measRunning.store(false);
    WakeLoop();
    measThread.join();
}

void VNAModel::RequestReconfigure()
{
    reconfigure.store(true, std::memory_order_seq_cst);
    if (measRunning.load())
    {
        WakeLoop();
    }
}

void VNAModel::WakeLoop()
{
    {
        std::lock_guard<std::mutex> lock(cycleMutex);
    }
    cycleWake.notify_all();
    device.InterruptWaits();
}

void VNAModel::WaitCycle()
{
    std::unique_lock<std::mutex> lock(cycleMutex);
    cycleWake.wait_for(lock, std::chrono::milliseconds(kDisplayCycleMs),
                       [this] { return !measRunning.load() || reconfigure.load(); });
}

int VNAModel::GetNextAvailableChannelIndex() const
{
    for (int i = 0; i < channels.size(); ++i)
    {
        if (!channels[i]->enabled)
        {
            return i;
        }
    }
    return -1;
}

int VNAModel::GetNextTraceIndex() const
{
    for (int i = 0; i < traces.size(); ++i)
    {
        if (!traces[i])
        {
            return i;
        }
    }
    return traces.size();
}

int VNAModel::GetFirstTraceIndex() const
{
    for (int i = 0; i < traces.size(); ++i)
    {
        if (traces[i])
        {
            return i;
        }
    }
    return 0;
}

VNATrace* VNAModel::InternalCreateTrace(int& index)
{
    index = GetNextTraceIndex();
    if (index >= traces.size())
    {
        traces.resize(index + 1);
    }
    traces[index] = new VNATrace();
    return traces[index];
}

VNATrace* VNAModel::ActiveTrace() const
{
    return IsValidTraceIndex(selectedTraceIndex) ? traces[selectedTraceIndex] : nullptr;
}

void VNAModel::SetSelectedTrace(int index)
{
    QMutexLocker lock(&traceLock);
    selectedTraceIndex = index;
}

void VNAModel::DeleteAllTraces()
{
    QMutexLocker lock(&traceLock);
    qDeleteAll(traces);
    traces.clear();
    mapper.Clear();
    selectedTraceIndex = 0;
}

void VNAModel::channelPortsEnabled(int channel, bool& fwd, bool& rev)
{
    fwd = rev = false;
    // The traces and the channel's correction switches are written under the trace lock.
    QMutexLocker lock(&traceLock);
    for (int t : mapper.GetTracesOnChannel(channel))
    {
        const VNATrace* trace = traces.value(t, nullptr);
        if (!trace)
        {
            continue;
        }
        if (trace->meas > S21)
        {
            rev = true;
        }
        else
        {
            fwd = true;
        }
    }
    if (!fwd && !rev)
    {
        fwd = true;
    }
    const VNAChannel& ch = *channels[channel];
    if (ch.measureBothPorts.load())
    {
        fwd = rev = true;
    }
    if (ch.calibration.CorrectionsLoaded() && Is2PortCal(ch.calibration.GetCalType()))
    {
        fwd = rev = true;
    }
    // The factory correction is a two-port one too: corrected S11 needs the reverse sweep.
    if (ch.AppliesFactoryCorrection() && Is2PortCal(ch.factoryCalibration.GetCalType()))
    {
        fwd = rev = true;
    }
}

uint64_t VNAModel::BeginFreshSweep(int channel)
{
    VNAChannel& ch = *channels[channel];
    // A restart throws away the sweep under way and clears averaging, so the sweep waited for
    // is taken whole with what is connected now.
    MeasStop();
    ch.measureBothPorts = true;
    if (ch.sweepMode.GetMode() == VNASweepMode::Hold)
    {
        ch.sweepMode.SetMode(VNASweepMode::Single);
    }
    const uint64_t target = ch.sweepsDone.load() + 1;
    MeasStart();
    return target;
}

void VNAModel::EndFreshSweep(int channel)
{
    channels[channel]->measureBothPorts = false;
}

qint64 VNAModel::FreshSweepTimeoutMs() const
{
    double sweepTime = 0.0;
    for (const VNAChannel* c : channels)
    {
        sweepTime += c->enabled ? 2.0 * c->stimulus.EstimateSweepTime() : 0.0;
    }
    return 5000 + qint64(4000.0 * sweepTime);
}

void VNAModel::SetTriggerMode(int channel, VNASweepMode::Mode mode)
{
    if (!IsValidChannelIndex(channel))
    {
        return;
    }
    // A press of Single always restarts from the beginning of a sweep.
    if (mode != VNASweepMode::Continuous)
    {
        MeasStop();
    }
    if (triggerScopeAllChannels)
    {
        for (VNAChannel* c : channels)
        {
            c->sweepMode.SetMode(mode);
        }
    }
    else
    {
        bool hasActiveTrace;
        {
            QMutexLocker lock(&traceLock);
            hasActiveTrace = ActiveTrace() != nullptr;
        }
        if (hasActiveTrace)
        {
            channels[channel]->sweepMode.SetMode(mode);
        }
    }
    if (mode != VNASweepMode::Continuous)
    {
        MeasStart();
    }
}

bool VNAModel::SingleSweepPending() const
{
    for (const VNAChannel* c : channels)
    {
        if (c->enabled && c->sweepMode.GetMode() == VNASweepMode::Single)
        {
            return true;
        }
    }
    return false;
}

void VNAModel::UpdateTempSetpoint()
{
    if (fanOverrideEnabled)
    {
        if (fanOverrideType == 0)
        {
            device.SetTempThreshold(fanOverrideSetpoint);
            fanMode = 0;
            fanValue = fanOverrideSetpoint;
        }
        else
        {
            device.SetFanSpeed(fanOverrideSpeed);
            fanMode = 1;
            fanValue = fanOverrideSpeed;
        }
        return;
    }
    // Hold the instrument at the temperature its calibrations were made at.
    double sum = 0.0;
    int count = 0;
    for (const VNAChannel* c : channels)
    {
        if (c->enabled && c->calibration.CorrectionsLoaded())
        {
            sum += c->calibration.CalibrationTemperature();
            ++count;
        }
    }
    if (count > 0)
    {
        const double mean = sum / count;
        device.SetTempThreshold(mean);
        fanMode = 0;
        fanValue = mean;
    }
    else
    {
        device.SetFanSpeed(50.0);
        fanMode = 1;
        fanValue = 50.0;
    }
}

void VNAModel::ReconfigureChannels()
{
    UpdateTempSetpoint();
    {
        QMutexLocker lock(&traceLock);
        for (VNATrace* t : traces)
        {
            if (t)
            {
                t->HoldRestart();
            }
        }
    }
    for (VNAChannel* c : channels)
    {
        // Rebuilding is slow at the largest sweeps; a stopped loop reconfigures afresh next time.
        if (!measRunning.load())
        {
            return;
        }
        if (c->enabled)
        {
            qDebug() << "Reconfiguring channels";
            ReconfigureChannel(*c);
        }
    }
    emit updateStatusBarStimulusSignal();
}

void VNAModel::ReconfigureChannel(VNAChannel& c)
{
    const int n = c.stimulus.points;
    c.MeasRaw.Resize(n);
    // The chain may run on the GUI thread meanwhile (a setting change, a repaint's read): what it
    // reads, the averaged and corrected data and the calibrations' terms, is made anew outside
    // the locks and only swapped in under them, so that nobody waits for a rebuild of the terms.
    VNACalibration user = c.calibration;
    user.BuildCorrections(c.stimulus);
    VNACalibration factory = c.factoryCalibration;
    factory.BuildCorrections(c.stimulus);
    int calSize = 0, processedSize = 0;
    {
        QMutexLocker lock(&traceLock);
        calSize = c.MeasCal.Size();
        processedSize = c.processed.Size();
    }
    SParameters cal, processed;
    cal.Resize(calSize == n ? 0 : n);
    processed.Resize(processedSize == n ? 0 : n);
    SParametersRaw avg;
    avg.Resize(c.MeasAvg.Size() == n ? 0 : n);  // the loop is MeasAvg's only writer

    QMutexLocker lock(&traceLock);
    {
        QMutexLocker measLock(&c.measLock);
        if (avg.Size() == n)
        {
            std::swap(c.MeasAvg, avg);
        }
        c.avgCurrent = 0;
        c.avgPosition = 0;  // the new loop's first sweep starts at point 0
    }
    if (cal.Size() == n)
    {
        std::swap(c.MeasCal, cal);
    }
    if (processed.Size() == n)
    {
        std::swap(c.processed, processed);
    }
    std::swap(c.calibration, user);
    std::swap(c.factoryCalibration, factory);
}

void VNAModel::MeasThread()
{
    int lastChannel = -1;
    bool lastFwd = false, lastRev = false;
    reconfigure.store(true, std::memory_order_seq_cst);
    while (measRunning.load())
    {
        if (reconfigure.exchange(false, std::memory_order_seq_cst))
        {
            ReconfigureChannels();
            lastChannel = -1;
        }
        bool anySwept = false;
        for (VNAChannel* c : channels)
        {
            if (!measRunning.load())
            {
                break;
            }
            if (SweepChannel(*c, lastChannel, lastFwd, lastRev))
            {
                anySwept = true;
            }
        }
        if (!anySwept)
        {
            WaitCycle();
        }
        ++roundsRun;
    }
}

bool VNAModel::SweepChannel(VNAChannel& ch, int& lastChannel, bool& lastFwd, bool& lastRev)
{
    if (!ch.enabled)
    {
        return false;
    }
    const VNASweepMode::Mode mode = ch.sweepMode.GetMode();
    if (mode != VNASweepMode::Single && mode != VNASweepMode::Continuous)
    {
        return false;
    }
    // Shares MeasRaw's vectors, so the update still shows the preceding sweep beyond the
    // position the new sweep has reached.
    SParametersRaw update = ch.MeasRaw;
    if (ch.isImportedS2PData)
    {
        // Live data replaces an import. The chain reads the flag under the trace lock.
        QMutexLocker lock(&traceLock);
        ch.isImportedS2PData = false;
    }

    bool fwd = false, rev = false;
    channelPortsEnabled(ch.index, fwd, rev);
    bool hdr = true;
    if (ch.calibration.CorrectionsLoaded())
    {
        hdr = ch.calibration.GetCalType() != SOLR;
    }
    if (ch.index != lastChannel || fwd != lastFwd || rev != lastRev)
    {
        device.Configure(ch.stimulus, rfEnabled, fwd, rev, hdr, false, spurReject);
        lastFwd = fwd;
        lastRev = rev;
        if (!measRunning.load())
        {
            return false;  // the configuration may have been cut short; no sweep on it
        }
    }
    const double sweepTime = ch.stimulus.EstimateSweepTime();
    emit updateSweepProgressBarVisibilitySignal(sweepTime >= 1.0);
    ++sweepsStarted;
    if (sweepTime > kBlockingSweepTime)
    {
        if (ProgressiveSweep(ch, update, fwd, rev))
        {
            ++ch.sweepsDone;
        }
    }
    else
    {
        device.GetSweep(ch.MeasRaw);
        ch.PerformAveraging(ch.MeasRaw);
        CalcTraces(ch.index);
        ++ch.sweepsDone;
        emit updatePlotsSignal();
    }

    double power = 0.0, temperature = 0.0, third = 0.0;
    unsigned int fourth = 0;
    device.GetDiagnostics(power, temperature, third, fourth);
    emit updateDiagnosticsSignal(power, temperature, third, int(fourth));
    if (ch.stimulus.avgEnabled)
    {
        emit updateAvgLabelSignal();
    }
    {
        QMutexLocker lock(&ch.sweepMode.Lock());
        if (ch.sweepMode.modeUnlocked() == VNASweepMode::Single)
        {
            ch.sweepMode.setModeUnlocked(VNASweepMode::Hold);
        }
    }
    emit updateSweepModeSignal();
    lastChannel = ch.index;
    return true;
}

bool VNAModel::ProgressiveSweep(VNAChannel& ch, SParametersRaw& update, bool fwd, bool rev)
{
    const int n = ch.stimulus.points;
    device.StartSweep(ch.MeasRaw);
    int copied = 0;  // points of this sweep already in update
    while (!reconfigure.load() && measRunning.load())
    {
        WaitCycle();
        if (reconfigure.load() || !measRunning.load())
        {
            break;  // woken to stop: no point in showing one more part
        }
        int fwdPts = 0, revPts = 0;
        double percent = 0.0;
        device.GetSweepUpdate(fwdPts, revPts, percent);
        emit updateSweepProgressSignal(percent);
        ch.MeasRaw.positionStart = 0;
        if (fwd && !rev)
        {
            ch.MeasRaw.positionEnd = fwdPts;
        }
        else if (fwd && rev)
        {
            // A point needs both directions: nothing new shows until reverse data arrive.
            ch.MeasRaw.positionStart = fwdPts;
            ch.MeasRaw.positionEnd = revPts;
        }
        else
        {
            ch.MeasRaw.positionEnd = revPts;
        }
        update.PartialCopy(ch.MeasRaw, copied);
        copied = std::max(copied, update.positionEnd);
        ch.PerformAveraging(update);
        CalcTraces(ch.index);
        emit updatePlotsSignal();
        if (update.positionEnd == n)
        {
            device.FinishSweep();
            return true;
        }
    }
    device.AbortSweep();
    ch.MeasRaw.ClearPositionOnly();
    QMutexLocker lock(&ch.measLock);
    ch.MeasAvg.ClearPositionOnly();
    ch.avgPosition = 0;  // the next sweep starts at point 0
    return false;
}

void VNAModel::PrepareChannelData(VNAChannel& ch)
{
    if (!ch.isImportedS2PData)
    {
        QMutexLocker lock(&ch.measLock);
        ch.MeasCal = ch.ApplyCorrections(ch.MeasAvg);
    }
    ch.processed = ch.MeasCal;
    // The port extension is a matched line at each port, so the first enabled fixture object
    // takes it into its cascade and the data are gone through once.
    const PortExtensionSettings* extension =
        ch.portExtension.Enabled() ? &ch.portExtension.Settings() : nullptr;
    if (extension && !ch.deembedding.Enabled() && !ch.embedding.Enabled())
    {
        ch.portExtension.ApplyPortExtension(ch.processed, ch.stimulus);
    }
    if (ch.deembedding.Enabled())
    {
        ch.deembedding.Deembed(ch.stimulus, ch.processed, extension);
        extension = nullptr;
    }
    if (ch.embedding.Enabled())
    {
        ch.embedding.Embed(ch.stimulus, ch.processed, extension);
    }
}

void VNAModel::CalcAllTraces()
{
    for (int c = 0; c < channels.size(); ++c)
    {
        CalcTraces(c);
    }
}

void VNAModel::CalcTraces(int channel)
{
    if (!IsValidChannelIndex(channel))
    {
        return;
    }
    bool controlsChanged = false;
    bool transformScaleChanged = false;
    QString status;
    {
        QMutexLocker lock(&traceLock);
        VNAChannel& ch = *channels[channel];
        const double f0 = ch.stimulus.start;
        const double df = ch.stimulus.StepSize();
        bool prepared = false;
        for (int i = 0; i < traces.size(); ++i)
        {
            VNATrace* t = traces[i];
            if (!t || t->channel != channel)
            {
                continue;
            }
            // Correction, port extension and fixtures do not depend on the trace: once a pass.
            if (!prepared)
            {
                PrepareChannelData(ch);
                prepared = true;
            }
            const TraceCalcResult r = t->Calculate(ch, f0, df, this);
            controlsChanged |= r.mathReset;
            if (t->equationEnabled && !t->equationError.isEmpty())
            {
                status = t->equationError;
            }
            transformScaleChanged |= r.transformScaleChanged && i == selectedTraceIndex;
            CoupleTrackedMarkers(*t, i);
        }
    }
    // Emitted after the lock is released: a direct connection may read the traces again.
    if (controlsChanged)
    {
        emit updateControlsSignal();
    }
    if (transformScaleChanged)
    {
        emit updateTransformAutoScaleSignal();
    }
    if (!status.isEmpty())
    {
        emit statusMessageSignal(status);
    }
}

void VNAModel::CoupleTrackedMarkers(const VNATrace& trace, int traceIndex)
{
    for (int m = 0; m < VNATrace::kMarkerCount; ++m)
    {
        if (trace.markers[m].tracking != MarkerTrackingOff)
        {
            MarkerCoupleLocked(trace.channel, traceIndex, m);
        }
    }
}

bool VNAModel::EditTrace(int trace, const std::function<void(VNATrace&)>& edit)
{
    int channel = -1;
    {
        QMutexLocker lock(&traceLock);
        VNATrace* t = traces.value(trace, nullptr);
        if (!t)
        {
            return false;
        }
        edit(*t);
        channel = t->channel;
    }
    CalcTraces(channel);
    emit updateControlsSignal();
    emit updatePlotsSignal();
    return true;
}

bool VNAModel::SetTraceEquationEnabled(int trace, bool enabled)
{
    return EditTrace(trace, [&](VNATrace& t) { t.equationEnabled = enabled; });
}

bool VNAModel::SetTraceEquation(int trace, const QString& equation)
{
    return EditTrace(trace, [&](VNATrace& t) { t.equation = equation; });
}

void VNAModel::traceStoreMem(VNATrace* trace)
{
    {
        QMutexLocker lock(&traceLock);
        if (!trace || !traces.contains(trace) || !IsValidChannelIndex(trace->channel))
        {
            return;
        }
        VNAChannel& ch = *channels[trace->channel];
        QMutexLocker measLock(&ch.measLock);
        trace->mem = ch.processed;
        trace->memStart = ch.stimulus.start;
        trace->memStop = ch.stimulus.stop;
        trace->hasMem = true;
    }
    emit updateControlsSignal();
    emit updatePlotsSignal();
}

void VNAModel::traceAutoScale(VNATrace* trace)
{
    {
        QMutexLocker lock(&traceLock);
        if (!trace || !traces.contains(trace))
        {
            return;
        }
        trace->AutoScale();
    }
    traceScaleCouplingHelper(traces.indexOf(trace));
}

void VNAModel::traceDefaultScale(VNATrace* trace)
{
    {
        QMutexLocker lock(&traceLock);
        if (!trace || !traces.contains(trace))
        {
            return;
        }
        trace->LoadDefaultScale();
    }
    traceScaleCouplingHelper(traces.indexOf(trace));
}

void VNAModel::traceAutoScaleAll()
{
    {
        QMutexLocker lock(&traceLock);
        for (VNATrace* t : traces)
        {
            if (t)
            {
                t->AutoScale();
            }
        }
    }
    emit updateControlsSignal();
    emit updatePlotsSignal();
}

void VNAModel::traceDefaultScaleAll()
{
    {
        QMutexLocker lock(&traceLock);
        for (VNATrace* t : traces)
        {
            if (t)
            {
                t->LoadDefaultScale();
            }
        }
    }
    emit updateControlsSignal();
    emit updatePlotsSignal();
}

void VNAModel::traceScaleCouplingHelper(int source)
{
    if (scaleCoupling == ScaleCouplingOff)
    {
        return;
    }
    {
        QMutexLocker lock(&traceLock);
        const VNATrace* active = source < 0 ? ActiveTrace() : traces.value(source, nullptr);
        if (!active)
        {
            return;
        }
        for (VNATrace* t : traces)
        {
            if (!t || t == active || t->format != active->format)
            {
                continue;
            }
            if (scaleCoupling == ScaleCouplingAll ||
                (scaleCoupling == ScaleCouplingPlot && t->plot == active->plot))
            {
                *t->ref() = *active->ref();
                *t->div() = *active->div();
                *t->refPos() = *active->refPos();
            }
        }
    }
    emit updateControlsSignal();
    emit updatePlotsSignal();
}
