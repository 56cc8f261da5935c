#include "vna_stimulus.h"

#include <QCoreApplication>
#include <algorithm>
#include <atomic>
#include <cmath>

#include "application_settings.h"

using namespace StimulusLimits;

namespace
{
std::atomic<int> defaultPowerConfig{VNAPowerHigh};

double Clamp(double v, double lo, double hi)
{
    return std::min(std::max(v, lo), hi);
}
}  // namespace

VNAPowerConfig DefaultPowerConfig()
{
    return VNAPowerConfig(defaultPowerConfig.load());
}

void SetDefaultPowerConfig(VNAPowerConfig config)
{
    defaultPowerConfig.store(config);
}

QString VNASweepTypeToString(VNASweepType type)
{
    switch (type)
    {
        case SweepLinear:
            return QCoreApplication::translate("VNAStimulus", "Linear");
        case SweepLog:
            return QCoreApplication::translate("VNAStimulus", "Log");
        case SweepSegment:
            return QCoreApplication::translate("VNAStimulus", "Segment");
    }
    return QString();
}

QString VNAPowerToString(VNAPowerConfig config)
{
    switch (config)
    {
        case VNAPowerHigh:
            return QCoreApplication::translate("VNAStimulus", "High Power");
        case VNAPowerLow:
            return QCoreApplication::translate("VNAStimulus", "Low Power");
        case VNAPowerManualAtten:
            return QCoreApplication::translate("VNAStimulus", "Manual Atten");
        case VNAPowerManualPower:
            return QCoreApplication::translate("VNAStimulus", "Manual Power");
    }
    return QString();
}

VNAStimulus::VNAStimulus()
{
    avgEnabled = false;
    avgCount = 10;
    LoadDefaults();
}

void VNAStimulus::LoadDefaults()
{
    type = SweepLinear;
    start = 40e6;
    stop = 40e9;
    center = 20.02e9;
    span = 39.96e9;
    points = 201;
    ifbw = 20000.0;
    powerConfig = DefaultPowerConfig();
    manualAtten = 0.0;
    manualPower = -20.0;
    avgEnabled = false;
    avgCount = 10;
}

bool VNAStimulus::operator==(const VNAStimulus& o) const
{
    return type == o.type && start == o.start && stop == o.stop && center == o.center &&
           span == o.span && points == o.points && ifbw == o.ifbw && powerConfig == o.powerConfig &&
           manualAtten == o.manualAtten && manualPower == o.manualPower &&
           avgEnabled == o.avgEnabled && avgCount == o.avgCount;
}

double VNAStimulus::StepSize() const
{
    if (points == 1)
    {
        return 0.0;
    }
    return (stop - start) / (points - 1);
}

QVector<double> VNAStimulus::GetFreqVector() const
{
    QVector<double> f;
    if (type == SweepLinear)
    {
        if (points < 1)
        {
            return f;
        }
        const double step = StepSize();
        f.resize(points);
        for (int i = 0; i < points; ++i)
        {
            f[i] = i * step + start;
        }
    }
    else if (type == SweepSegment)
    {
        for (const VNASweepSegment& s : segments)
        {
            const double step = s.points > 1 ? (s.stop - s.start) / (s.points - 1) : 0.0;
            for (int i = 0; i < s.points; ++i)
            {
                f.append(i * step + s.start);
            }
        }
    }
    // Log sweeps have no frequency rule here; the list stays empty.
    return f;
}

double VNAStimulus::EstimateSweepTime() const
{
    return 2.0 / ifbw * points;
}

bool VNAStimulus::IsTDLowpassCompatible() const
{
    const double step = StepSize();
    const double q = start / step;
    // Round half away from zero by truncation, as the harmonic-grid test is defined.
    const double r = q < 0 ? std::trunc(q - 0.5) : std::trunc(q + 0.5);
    return std::fabs(step * r - start) < 1.0;
}

void VNAStimulus::EditStart(double f)
{
    start = Clamp(f, kMinFreq, kMaxFreq);
    if (stop < start)
    {
        stop = start;
    }
    center = (start + stop) / 2.0;
    span = stop - start;
}

void VNAStimulus::EditStop(double f)
{
    stop = Clamp(f, kMinFreq, kMaxFreq);
    if (stop < start)
    {
        start = stop;
    }
    center = (start + stop) / 2.0;
    span = stop - start;
}

void VNAStimulus::EditCenter(double f)
{
    const double c = Clamp(f, kMinFreq, kMaxFreq);
    start = c - span / 2.0;
    if (start < kMinFreq)
    {
        start = kMinFreq;
        stop = c - kMinFreq + c;
    }
    else
    {
        stop = start + span;
        if (stop > kMaxFreq)
        {
            start = c - (kMaxFreq - c);
            stop = kMaxFreq;
        }
    }
    span = stop - start;
    center = (stop + start) / 2.0;
}

void VNAStimulus::EditSpan(double f)
{
    const double s = Clamp(f, kMinSpan, kMaxSpan);
    const double lo = center - s / 2.0;
    if (lo < kMinFreq)
    {
        start = kMinFreq;
        stop = s + kMinFreq;
        span = stop - kMinFreq;
        center = (stop + kMinFreq) / 2.0;
        return;
    }
    const double hi = center + s / 2.0;
    if (hi > kMaxFreq)
    {
        stop = kMaxFreq;
        start = kMaxFreq - s;
        span = kMaxFreq - start;
        center = (start + kMaxFreq) / 2.0;
        return;
    }
    start = lo;
    stop = hi;
    span = s;
}

void VNAStimulus::EditStep(double step)
{
    if (step < 0.0)
    {
        step = StepSize();
    }
    stop = std::min(kMaxFreq, start + (points - 1) * step);
    span = stop - start;
    // center keeps its old value on purpose until the next edit recomputes it.
}

void VNAStimulus::EditPoints(int n)
{
    points = std::min(std::max(n, kMinPoints), kMaxPoints);
}

void VNAStimulus::EditIFBW(double hz)
{
    ifbw = Clamp(hz, kMinIFBW, kMaxIFBW);
}

void VNAStimulus::EditManualAtten(double db)
{
    manualAtten = Clamp(db, kMinAtten, kMaxAtten);
}

void VNAStimulus::EditManualPower(double dbm)
{
    manualPower = Clamp(dbm, kMinPower, kMaxPower);
}

void VNAStimulus::Save(ApplicationSettings& s) const
{
    s.BeginGroup(QStringLiteral("Stimulus"));
    s.Save(QStringLiteral("SweepType"), int(type));
    s.Save(QStringLiteral("StartFreq"), start);
    s.Save(QStringLiteral("StopFreq"), stop);
    s.Save(QStringLiteral("CenterFreq"), center);
    s.Save(QStringLiteral("Span"), span);
    s.Save(QStringLiteral("SweepPoints"), int(points));
    s.Save(QStringLiteral("IFBW"), ifbw);
    s.Save(QStringLiteral("PowerConfig"), int(powerConfig));
    s.Save(QStringLiteral("ManualAtten"), manualAtten);
    s.Save(QStringLiteral("ManualPower"), manualPower);
    s.Save(QStringLiteral("AvgEnabled"), avgEnabled);
    s.Save(QStringLiteral("AvgCount"), int(avgCount));
    s.EndGroup();
}

void VNAStimulus::Load(ApplicationSettings& s)
{
    s.BeginGroup(QStringLiteral("Stimulus"));
    int t = type;
    s.Load(QStringLiteral("SweepType"), t);
    type = VNASweepType(t);
    s.Load(QStringLiteral("StartFreq"), start);
    s.Load(QStringLiteral("StopFreq"), stop);
    s.Load(QStringLiteral("CenterFreq"), center);
    s.Load(QStringLiteral("Span"), span);
    int p = points;
    s.Load(QStringLiteral("SweepPoints"), p);
    points = p;
    s.Load(QStringLiteral("IFBW"), ifbw);
    int pc = powerConfig;
    s.Load(QStringLiteral("PowerConfig"), pc);
    powerConfig = VNAPowerConfig(pc);
    s.Load(QStringLiteral("ManualAtten"), manualAtten);
    s.Load(QStringLiteral("ManualPower"), manualPower);
    s.Load(QStringLiteral("AvgEnabled"), avgEnabled);
    int ac = avgCount;
    s.Load(QStringLiteral("AvgCount"), ac);
    avgCount = ac;
    s.EndGroup();
}
