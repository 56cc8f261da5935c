#include "vna_meas.h"

#include <QDebug>
#include <QMutexLocker>
#include <algorithm>

#include "application_settings.h"
#include "preferences.h"

VNASweepMode::Mode VNASweepMode::GetMode() const
{
    QMutexLocker lock(&mutex);
    return mode;
}

void VNASweepMode::SetMode(Mode m)
{
    QMutexLocker lock(&mutex);
    mode = m;
}

QString VNASweepMode::ToText(Mode m)
{
    switch (m)
    {
        case Hold:
            return QStringLiteral("hold");
        case Single:
            return QStringLiteral("single");
        case Continuous:
            return QStringLiteral("continuous");
    }
    return QString();
}

VNAChannel::VNAChannel(int idx) : index(idx)
{
    LoadDefaults();
}

void VNAChannel::LoadDefaults()
{
    enabled = false;
    sweepMode.SetMode(VNASweepMode::Continuous);
    calibrationEnabled = true;
    interpolationEnabled = true;
    timeGateCouplingEnabled = false;
    isImportedS2PData = false;
    stimulus.LoadDefaults();
    calibration.Unload();
    portExtension.Clear();
    deembedding.Clear();
    embedding.Clear();
    {
        QMutexLocker lock(&measLock);
        avgCurrent = 0;
    }
    velocityFactor = 1.0;
}

QString VNAChannel::Name() const
{
    return tr("Channel %1").arg(index + 1);
}

QString VNAChannel::GetShortName() const
{
    return QStringLiteral("Ch%1").arg(index + 1);
}

void VNAChannel::ClearAveraging()
{
    QMutexLocker lock(&measLock);
    avgCurrent = 0;
}

void VNAChannel::PerformAveraging(const SParametersRaw& update)
{
    QMutexLocker lock(&measLock);
    const int end = update.positionEnd;
    if (!stimulus.avgEnabled)
    {
        // Only the points new since the last update are copied. Sharing the update instead
        // would make the loop's next partial copy duplicate all of it: 16 MB a display cycle at
        // 64001 points, and that much longer to wait for a stop.
        if (MeasAvg.Size() != update.Size())
        {
            MeasAvg = update;
        }
        else
        {
            MeasAvg.CopyRange(update, avgPosition, end, 0, SParametersRaw::kVectorCount);
        }
        rawInAvg = true;
    }
    else
    {
        KeepLatest(update, end);
        // The receivers are not averaged, but they follow the sweep.
        MeasAvg.CopyRange(update, avgPosition, end, SParametersRaw::kRatioCount,
                          SParametersRaw::kVectorCount);
        AverageRatios(update, end);
        rawInAvg = false;
    }
    avgPosition = end;
    if (avgPosition == stimulus.points)
    {
        avgPosition = 0;
        if (stimulus.avgEnabled && avgCurrent < stimulus.avgCount)
        {
            ++avgCurrent;
        }
    }
    MeasAvg.positionStart = update.positionStart;
    MeasAvg.positionEnd = update.positionEnd;
}

void VNAChannel::KeepLatest(const SParametersRaw& update, int end)
{
    if (MeasLatest.Size() != update.Size())
    {
        MeasLatest = update.ToSParam();
        return;
    }
    for (int m = S11; m <= S22; ++m)
    {
        CplxVector& dst = MeasLatest.GetSParam(VNATraceMeas(m));
        const CplxVector& src = update.GetSParam(VNATraceMeas(m));
        const int stop = std::min(end, src.size());
        if (stop > avgPosition)
        {
            std::copy(src.constBegin() + avgPosition, src.constBegin() + stop,
                      dst.begin() + avgPosition);
        }
    }
}

void VNAChannel::AverageRatios(const SParametersRaw& update, int end)
{
    const double weight = 1.0 / std::min(double(stimulus.avgCount), double(avgCurrent + 1));
    const double keep = 1.0 - weight;
    for (int v = 0; v < SParametersRaw::kRatioCount; ++v)
    {
        CplxVector& avg = MeasAvg.Vector(v);
        const CplxVector& upd = update.Vector(v);
        const int stop = std::min(end, std::min(avg.size(), upd.size()));
        if (avgPosition >= stop)
        {
            continue;
        }
        std::complex<double>* a = avg.data();
        const std::complex<double>* u = upd.constData();
        for (int i = avgPosition; i < stop; ++i)
        {
            a[i] = std::complex<double>(u[i].real() * weight + a[i].real() * keep,
                                        u[i].imag() * weight + a[i].imag() * keep);
        }
    }
    if (avgPosition == 0)
    {
        qDebug() << "Avg:" << avgCurrent << stimulus.avgCount;
        qDebug() << "Frac:" << weight;
    }
}

CplxVector VNAChannel::RawSParam(VNATraceMeas meas) const
{
    QMutexLocker lock(&measLock);
    return rawInAvg ? MeasAvg.GetSParam(meas) : MeasLatest.GetSParam(meas);
}

bool VNAChannel::RawReceiver(const QString& word, CplxVector& out) const
{
    // The receivers are never averaged: MeasAvg holds them as they came.
    QMutexLocker lock(&measLock);
    bool found = false;
    const CplxVector* v = MeasAvg.GetReceiver(word, found);
    if (found)
    {
        out = *v;
    }
    return found;
}

SParameters VNAChannel::ApplyCorrections(const SParametersRaw& raw) const
{
    if (AppliesUserCorrection())
    {
        return calibration.ApplyCorrections(raw, interpolationEnabled);
    }
    if (Preferences::Get().UseFactoryCal())
    {
        return factoryCalibration.ApplyCorrections(raw, true);
    }
    return raw.ToSParam();
}

bool VNAChannel::AppliesUserCorrection() const
{
    return calibrationEnabled && calibration.CorrectionsReady() &&
           (!calibration.IsInterpolated() || interpolationEnabled);
}

bool VNAChannel::AppliesFactoryCorrection() const
{
    return !AppliesUserCorrection() && Preferences::Get().UseFactoryCal() &&
           factoryCalibration.CorrectionsReady();
}

bool VNAChannel::IsFullyCorrected() const
{
    return calibrationEnabled && calibration.CorrectionsReady() && !calibration.IsInterpolated();
}

bool VNAChannel::IsInterpolating() const
{
    return calibrationEnabled && interpolationEnabled && calibration.IsInterpolated();
}

void VNAChannel::Copy(const VNAChannel& o)
{
    enabled = o.enabled;
    sweepMode.SetMode(o.sweepMode.GetMode());
    calibrationEnabled = o.calibrationEnabled;
    interpolationEnabled = o.interpolationEnabled;
    timeGateCouplingEnabled = o.timeGateCouplingEnabled;
    isImportedS2PData = o.isImportedS2PData;
    stimulus = o.stimulus;
    MeasRaw = o.MeasRaw;
    {
        QMutexLocker lockOther(&o.measLock);
        QMutexLocker lock(&measLock);
        MeasAvg = o.MeasAvg;
        MeasLatest = o.MeasLatest;
        rawInAvg = o.rawInAvg;
        avgCurrent = o.avgCurrent;
        avgPosition = o.avgPosition;
    }
    MeasCal = o.MeasCal;
    processed = o.processed;
    calibration = o.calibration;
    factoryCalibration = o.factoryCalibration;
    portExtension = o.portExtension;
    deembedding = o.deembedding;
    embedding = o.embedding;
    velocityFactor = o.velocityFactor;
}

void VNAChannel::Save(ApplicationSettings& s) const
{
    s.BeginGroup(QStringLiteral("Channel"));
    s.Save(QStringLiteral("Enabled"), enabled);
    s.Save(QStringLiteral("TriggerMode"), int(sweepMode.GetMode()));
    s.Save(QStringLiteral("CalibrationEnabled"), calibrationEnabled);
    s.Save(QStringLiteral("InterpolationEnabled"), interpolationEnabled);
    s.Save(QStringLiteral("TimeGateCouplingEnabled"), timeGateCouplingEnabled);
    s.Save(QStringLiteral("IsImportedS2PData"), isImportedS2PData);
    stimulus.Save(s);
    MeasRaw.Save(s, QStringLiteral("MeasRaw"));
    {
        QMutexLocker lock(&measLock);
        MeasAvg.Save(s, QStringLiteral("MeasAvg"));
    }
    MeasCal.Save(s, QStringLiteral("MeasCal"));
    s.Save(QStringLiteral("CalibrationLoaded"), calibration.CorrectionsLoaded());
    if (calibration.CorrectionsLoaded())
    {
        calibration.Save(s);
    }
    portExtension.Save(s);
    deembedding.Save(s, QStringLiteral("Deembedding"));
    embedding.Save(s, QStringLiteral("Embedding"));
    s.Save(QStringLiteral("AvgCurrent"), int(avgCurrent));
    s.Save(QStringLiteral("VelocityFactor"), velocityFactor);
    s.EndGroup();
}

void VNAChannel::Load(ApplicationSettings& s)
{
    s.BeginGroup(QStringLiteral("Channel"));
    s.Load(QStringLiteral("Enabled"), enabled);
    int mode = sweepMode.GetMode();
    s.Load(QStringLiteral("TriggerMode"), mode);
    sweepMode.SetMode(VNASweepMode::Mode(mode));
    s.Load(QStringLiteral("CalibrationEnabled"), calibrationEnabled);
    s.Load(QStringLiteral("InterpolationEnabled"), interpolationEnabled);
    s.Load(QStringLiteral("TimeGateCouplingEnabled"), timeGateCouplingEnabled);
    s.Load(QStringLiteral("IsImportedS2PData"), isImportedS2PData);
    stimulus.Load(s);
    MeasRaw.Load(s, QStringLiteral("MeasRaw"));
    {
        QMutexLocker lock(&measLock);
        MeasAvg.Load(s, QStringLiteral("MeasAvg"));
        int current = avgCurrent;
        s.Load(QStringLiteral("AvgCurrent"), current);
        avgCurrent = current;
    }
    MeasCal.Load(s, QStringLiteral("MeasCal"));
    bool calLoaded = calibration.CorrectionsLoaded();
    s.Load(QStringLiteral("CalibrationLoaded"), calLoaded);
    if (calLoaded)
    {
        // Into a fresh record: nothing of the present calibration may survive in it.
        VNACalibration loaded;
        loaded.Load(s);
        calibration = loaded;
    }
    else
    {
        calibration.Unload();
    }
    portExtension.Load(s);
    deembedding.Load(s, QStringLiteral("Deembedding"));
    embedding.Load(s, QStringLiteral("Embedding"));
    s.Load(QStringLiteral("VelocityFactor"), velocityFactor);
    s.EndGroup();
}

void TraceChannelMapper::Clear()
{
    for (QVector<int>& v : map)
    {
        v.resize(0);
    }
}

void TraceChannelMapper::DeleteChannel(int channel)
{
    if (channel >= 0 && channel < kChannels)
    {
        map[channel].resize(0);
    }
}

void TraceChannelMapper::SetPos(int channel, int place, int trace)
{
    if (channel < 0 || channel >= kChannels || place < 0 || place >= kPlaces)
    {
        return;
    }
    QVector<int>& v = map[channel];
    const int old = v.size();
    if (old < place + 1)
    {
        v.resize(place + 1);
        std::fill(v.begin() + old, v.end(), -1);
    }
    v[place] = trace;
}

int TraceChannelMapper::GetPos(int channel, int place) const
{
    if (channel < 0 || channel >= kChannels || place < 0 || place >= map[channel].size())
    {
        return -1;
    }
    return map[channel][place];
}

bool TraceChannelMapper::IsDefined(int channel, int place) const
{
    return GetPos(channel, place) != -1;
}

int TraceChannelMapper::GetNextAvailablePos(int channel) const
{
    if (channel < 0 || channel >= kChannels)
    {
        return -1;
    }
    const QVector<int>& v = map[channel];
    for (int i = 0; i < v.size(); ++i)
    {
        if (v[i] == -1)
        {
            return i;
        }
    }
    return v.size();
}

void TraceChannelMapper::Remove(int trace)
{
    for (QVector<int>& v : map)
    {
        for (int& t : v)
        {
            if (t == trace)
            {
                t = -1;
                return;
            }
        }
    }
}

QVector<int> TraceChannelMapper::GetTracesOnChannel(int channel) const
{
    QVector<int> out;
    if (channel < 0 || channel >= kChannels)
    {
        return out;
    }
    for (int t : map[channel])
    {
        if (t != -1)
        {
            out.append(t);
        }
    }
    return out;
}

QVector<int> TraceChannelMapper::GetSCPITracesOnChannel(int channel) const
{
    // The remote interface names a trace by its place on the channel.
    QVector<int> places;
    if (channel < 0 || channel >= kChannels)
    {
        return places;
    }
    for (int p = 0; p < map[channel].size(); ++p)
    {
        if (map[channel][p] != -1)
        {
            places.append(p);
        }
    }
    return places;
}

void TraceChannelMapper::PrintMapping() const
{
    qDebug() << "Channel Trace Mapping";
    for (int c = 0; c < kChannels; ++c)
    {
        QString line = QStringLiteral("Channel") + QString::number(c) + QStringLiteral(": ");
        for (int p = 0; p < map[c].size(); ++p)
        {
            line += QString::asprintf("{%d,%d}, ", p, map[c][p]);
        }
        qDebug().noquote() << line;
    }
}

void TraceChannelMapper::SavePreset(ApplicationSettings& s) const
{
    s.BeginGroup(QStringLiteral("TraceChannelMapper"));
    s.BeginWriteArray(QStringLiteral("CH"), kChannels);
    for (int c = 0; c < kChannels; ++c)
    {
        s.SetArrayIndex(c);
        s.BeginWriteArray(QStringLiteral("TR"), map[c].size());
        for (int p = 0; p < map[c].size(); ++p)
        {
            s.SetArrayIndex(p);
            s.Save(QStringLiteral("Map"), map[c][p]);
        }
        s.EndArray();
    }
    s.EndArray();
    s.EndGroup();
}

void TraceChannelMapper::LoadPreset(ApplicationSettings& s)
{
    Clear();
    s.BeginGroup(QStringLiteral("TraceChannelMapper"));
    const int channels = std::min(s.BeginReadArray(QStringLiteral("CH")), int(kChannels));
    for (int c = 0; c < channels; ++c)
    {
        s.SetArrayIndex(c);
        // A file may claim any count: no more places than a channel can have.
        const int places = std::min(s.BeginReadArray(QStringLiteral("TR")), int(kPlaces));
        for (int p = 0; p < places; ++p)
        {
            s.SetArrayIndex(p);
            int t = -1;
            s.Load(QStringLiteral("Map"), t);
            map[c].append(t);
        }
        s.EndArray();
    }
    s.EndArray();
    s.EndGroup();
}
