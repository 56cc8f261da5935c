#include "instrument_state.h"

#include <QMutexLocker>
#include <algorithm>

#include "application_settings.h"
#include "trace_formats.h"
#include "vna_model.h"

namespace state
{
namespace
{
template <typename E>
void LoadClamped(ApplicationSettings& s, const QString& key, E& v, int lo, int hi)
{
    int i = int(v);
    s.Load(key, i);
    v = E(std::clamp(i, lo, hi));
}

// A trace read from a file may name anything: keep what it names inside what can exist, so the
// chain and the plots never index outside their tables.
void BoundTrace(VNATrace& t)
{
    t.channel = std::clamp(t.channel, 0, VNAModel::kChannelCount - 1);
    t.plot = std::clamp(t.plot, 0, VNAModel::kPlotCount - 1);
    t.meas = VNATraceMeas(std::clamp(int(t.meas), int(S11), int(S22)));
    t.SetFormat(VNATraceFormat(std::clamp(int(t.format), 0, kTraceFormatCount - 1)));
    t.hold = VNATraceHold(std::clamp(int(t.hold), int(HoldOff), int(HoldMax)));
    t.mathOp = VNATraceMathOp(std::clamp(int(t.mathOp), int(MathOff), int(MathData)));
    t.activeMarker = std::clamp(t.activeMarker, 0, VNATrace::kMarkerCount - 1);
}

// Trace list entries a file may hold: enough for every place of every channel.
constexpr int kMaxTraceEntries = TraceChannelMapper::kChannels * 64;
}  // namespace

int FileVersion(const ApplicationSettings& s)
{
    bool ok = false;
    const int v = s.Load(QStringLiteral("PresetFileVersion")).toInt(&ok);
    return ok ? v : -1;
}

void SaveHeader(ApplicationSettings& s, const VNAModel& m)
{
    s.Save(QStringLiteral("PresetFileVersion"), kFileVersion);
    s.Save(QStringLiteral("RFEnabled"), m.rfEnabled);
    s.Save(QStringLiteral("MarkerCouplingMethod"), int(m.GetMarkerCoupling()));
    s.Save(QStringLiteral("Reference"), int(m.reference));
    s.Save(QStringLiteral("TraceScaleCoupling"), m.scaleCoupling);
    s.Save(QStringLiteral("SystemZ0"), gSystemZ0);
    s.Save(QStringLiteral("SpurReject"), m.spurReject);
    s.Save(QStringLiteral("TriggerScopeAllChannels"), m.triggerScopeAllChannels);
    s.Save(QStringLiteral("ActiveChannelIndex"), m.activeChannelIndex);
}

void LoadHeader(ApplicationSettings& s, VNAModel& m)
{
    s.Load(QStringLiteral("RFEnabled"), m.rfEnabled);
    MarkerCouplingMethod coupling = m.GetMarkerCoupling();
    LoadClamped(s, QStringLiteral("MarkerCouplingMethod"), coupling, MarkerCouplingOff,
                MarkerCouplingAll);
    m.markerSetCoupling(coupling);
    LoadClamped(s, QStringLiteral("Reference"), m.reference, VNAReferenceInternal,
                VNAReferenceExternal);
    LoadClamped(s, QStringLiteral("TraceScaleCoupling"), m.scaleCoupling, ScaleCouplingOff,
                ScaleCouplingAll);
    double z0 = gSystemZ0;
    s.Load(QStringLiteral("SystemZ0"), z0);
    gSystemZ0 = z0 > 0.0 && z0 < 1e9 ? z0 : gSystemZ0;  // a Smith chart needs a real impedance
    s.Load(QStringLiteral("SpurReject"), m.spurReject);
    s.Load(QStringLiteral("TriggerScopeAllChannels"), m.triggerScopeAllChannels);
    LoadClamped(s, QStringLiteral("ActiveChannelIndex"), m.activeChannelIndex, 0,
                m.channels.size() - 1);
}

void SaveChannels(ApplicationSettings& s, const VNAModel& m)
{
    s.BeginWriteArray(QStringLiteral("Channels"), m.channels.size());
    for (int i = 0; i < m.channels.size(); ++i)
    {
        s.SetArrayIndex(i);
        m.channels[i]->Save(s);
    }
    s.EndArray();
}

void LoadChannels(ApplicationSettings& s, VNAModel& m)
{
    const int n = std::min(s.BeginReadArray(QStringLiteral("Channels")), m.channels.size());
    for (int i = 0; i < n; ++i)
    {
        s.SetArrayIndex(i);
        m.channels[i]->Load(s);
    }
    s.EndArray();
}

void SavePlotSlots(ApplicationSettings& s, const QStringList& titles)
{
    s.BeginWriteArray(QStringLiteral("Plots"), titles.size());
    for (int i = 0; i < titles.size(); ++i)
    {
        s.SetArrayIndex(i);
        s.Save(QStringLiteral("Enabled"), !titles[i].isNull());
        if (!titles[i].isNull())
        {
            s.Save(QStringLiteral("Title"), titles[i]);
        }
    }
    s.EndArray();
}

QStringList LoadPlotSlots(ApplicationSettings& s)
{
    QStringList titles;
    for (int i = 0; i < VNAModel::kPlotCount; ++i)
    {
        titles.append(QString());
    }
    const int n = s.BeginReadArray(QStringLiteral("Plots"));
    for (int i = 0; n >= 0 && n <= VNAModel::kPlotCount && i < n; ++i)
    {
        s.SetArrayIndex(i);
        bool enabled = false;
        s.Load(QStringLiteral("Enabled"), enabled);
        if (enabled)
        {
            QString title(QLatin1String(""));  // empty but not null: the slot holds a plot
            s.Load(QStringLiteral("Title"), title);
            titles[i] = title.isNull() ? QString(QLatin1String("")) : title;
        }
    }
    s.EndArray();
    return titles;
}

void SaveOutputGenerator(ApplicationSettings& s, const VNAModel& m)
{
    s.BeginGroup(QStringLiteral("OutputGeneratorControls"));
    s.Save(QStringLiteral("Port"), m.outputGenerator.port);
    s.Save(QStringLiteral("Frequency"), m.outputGenerator.frequency);
    s.Save(QStringLiteral("StepFrequency"), m.outputGenerator.stepFrequency);
    s.Save(QStringLiteral("Atten"), m.outputGenerator.atten);
    s.EndGroup();
}

void LoadOutputGenerator(ApplicationSettings& s, VNAModel& m)
{
    s.BeginGroup(QStringLiteral("OutputGeneratorControls"));
    s.Load(QStringLiteral("Port"), m.outputGenerator.port);
    s.Load(QStringLiteral("Frequency"), m.outputGenerator.frequency);
    s.Load(QStringLiteral("StepFrequency"), m.outputGenerator.stepFrequency);
    s.Load(QStringLiteral("Atten"), m.outputGenerator.atten);
    s.EndGroup();
}

void SaveTraces(ApplicationSettings& s, VNAModel& m)
{
    QMutexLocker lock(&m.traceLock);
    s.Save(QStringLiteral("ActiveTraceIndex"), m.selectedTraceIndex);
    s.BeginWriteArray(QStringLiteral("Traces"), m.traces.size());
    for (int i = 0; i < m.traces.size(); ++i)
    {
        s.SetArrayIndex(i);
        s.Save(QStringLiteral("Enabled"), m.traces[i] != nullptr);
        if (m.traces[i])
        {
            m.traces[i]->SavePreset(s);
        }
    }
    s.EndArray();
    m.mapper.SavePreset(s);
    SaveOutputGenerator(s, m);
    s.Save(QStringLiteral("FanManualOverrideEnabled"), m.fanOverrideEnabled);
    s.Save(QStringLiteral("FanManualOverrideType"), m.fanOverrideType);
    s.Save(QStringLiteral("FanManualOverrideSetPoint"), m.fanOverrideSetpoint);
    s.Save(QStringLiteral("FanManualOverrideSpeed"), m.fanOverrideSpeed);
}

void LoadTraces(ApplicationSettings& s, VNAModel& m)
{
    QMutexLocker lock(&m.traceLock);
    s.Load(QStringLiteral("ActiveTraceIndex"), m.selectedTraceIndex);
    const int n = std::clamp(s.BeginReadArray(QStringLiteral("Traces")), 0, kMaxTraceEntries);
    qDeleteAll(m.traces);
    m.traces.fill(nullptr, n);
    for (int i = 0; i < n; ++i)
    {
        s.SetArrayIndex(i);
        bool enabled = false;
        s.Load(QStringLiteral("Enabled"), enabled);
        if (enabled)
        {
            auto* t = new VNATrace();
            t->LoadPreset(s);
            BoundTrace(*t);
            m.traces[i] = t;
        }
    }
    s.EndArray();
    m.mapper.LoadPreset(s);
    // A place naming a trace the list does not hold would be followed by every remote command.
    for (int c = 0; c < TraceChannelMapper::kChannels; ++c)
    {
        for (int p = 0; p < TraceChannelMapper::kPlaces; ++p)
        {
            const int t = m.mapper.GetPos(c, p);
            if (t != -1 && !m.traces.value(t, nullptr))
            {
                m.mapper.SetPos(c, p, -1);
            }
        }
    }
    LoadOutputGenerator(s, m);
    s.Load(QStringLiteral("FanManualOverrideEnabled"), m.fanOverrideEnabled);
    s.Load(QStringLiteral("FanManualOverrideType"), m.fanOverrideType);
    s.Load(QStringLiteral("FanManualOverrideSetPoint"), m.fanOverrideSetpoint);
    s.Load(QStringLiteral("FanManualOverrideSpeed"), m.fanOverrideSpeed);
}

void SaveModel(ApplicationSettings& s, VNAModel& model)
{
    SaveHeader(s, model);
    SaveChannels(s, model);
    SaveTraces(s, model);
}

bool LoadModel(ApplicationSettings& s, VNAModel& model)
{
    if (FileVersion(s) != kFileVersion)
    {
        return false;
    }
    LoadHeader(s, model);
    LoadChannels(s, model);
    LoadTraces(s, model);
    return true;
}
}  // namespace state
