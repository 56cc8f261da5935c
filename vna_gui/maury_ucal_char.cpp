#include "maury_ucal_char.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <algorithm>

#include "application_settings.h"

namespace
{
QString Tr(const char* text)
{
    return QCoreApplication::translate("UCalUserCharacterization", text);
}

bool ValidState(int state)
{
    return state >= 0 && state < UCalUserCharacterization::kStateCount;
}
}  // namespace

bool UCalPortMap::IsValid() const
{
    const int a = vnaPortOfUCalPort[0], b = vnaPortOfUCalPort[1];
    return (a == 0 || a == 1) && (b == 0 || b == 1) && a != b;
}

SParameters ToModulePorts(const SParameters& vnaOrder, const UCalPortMap& map)
{
    if (!map.IsCrossed())
    {
        return vnaOrder;
    }
    SParameters s;
    s.S11 = vnaOrder.S22;
    s.S21 = vnaOrder.S12;
    s.S12 = vnaOrder.S21;
    s.S22 = vnaOrder.S11;
    return s;
}

bool CanCharacterizeWith(const VNACalibration& cal, QString& error)
{
    if (!cal.CorrectionsLoaded() || !Is2PortCal(cal.GetCalType()))
    {
        error = Tr("The module is characterized through a two-port calibration.");
        return false;
    }
    // Measured with the module itself, the characterisation would only repeat the data it used.
    if (cal.IsECal())
    {
        error = Tr("The module is characterized through a mechanical calibration.");
        return false;
    }
    if (!cal.CorrectionsReady())
    {
        error = Tr("The calibration has not been applied to the sweep.");
        return false;
    }
    return true;
}

void UCalUserCharacterization::Begin(const UCalIdentity& id, const QVector<double>& f,
                                     const UCalPortMap& portMap)
{
    *this = UCalUserCharacterization();
    module = id;
    freqs = f;
    map = portMap;
}

bool UCalUserCharacterization::SetMeasurement(int state, const SParameters& corrected,
                                              QString& error)
{
    if (!ValidState(state) || !map.IsValid())
    {
        error = Tr("Invalid module state or port map.");
        return false;
    }
    if (!corrected.ValidSize() || corrected.Size() != freqs.size() || freqs.isEmpty())
    {
        error = Tr("The measurement does not match the characterization's frequencies.");
        return false;
    }
    states[state] = ToModulePorts(corrected, map);
    measured[state] = true;
    return true;
}

bool UCalUserCharacterization::AddSweep(int state, const SParametersRaw& raw,
                                        const VNACalibration& cal, QString& error)
{
    if (!CanCharacterizeWith(cal, error))
    {
        return false;
    }
    return SetMeasurement(state, cal.ApplyCorrections(raw, true), error);
}

bool UCalUserCharacterization::HasMeasurement(int state) const
{
    return ValidState(state) && measured[state];
}

bool UCalUserCharacterization::IsComplete() const
{
    return std::all_of(std::begin(measured), std::end(measured), [](bool m) { return m; });
}

UCalDataSets UCalUserCharacterization::DataSets() const
{
    UCalDataSets sets;
    // Each reflection state gives a set per module port: port A's reflection is S11 and port
    // B's is S22 in the module's order.
    for (int state = MauryUCal::Short; state <= MauryUCal::Load; ++state)
    {
        if (!measured[state])
        {
            continue;
        }
        for (int port = 0; port < 2; ++port)
        {
            const int set = state + 3 * port;
            sets.freqs[set] = freqs;
            sets.data[set].Resize(freqs.size());
            sets.data[set].S11 = port == 0 ? states[state].S11 : states[state].S22;
        }
    }
    if (measured[MauryUCal::Thru])
    {
        sets.freqs[6] = freqs;
        sets.data[6] = states[MauryUCal::Thru];
    }
    return sets;
}

VNACalKit UCalUserCharacterization::BuildKit() const
{
    VNACalKit kit = BuildUCalKit(module, DataSets());
    kit.IsFactoryUCal = false;
    kit.CalKitName = UCalUserKitName(module);
    kit.Description += Tr(" - User Characterization");
    return kit;
}

QString UCalUserKitName(const UCalIdentity& module)
{
    QString name = QStringLiteral("%1_SN%2_User").arg(module.model, module.serialNumber);
    name.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9._-]")), QStringLiteral("_"));
    return name;
}

QVector<double> CompareUCalDataSets(const UCalDataSets& a, const UCalDataSets& b)
{
    QVector<double> worst(kUCalSetCount, -1.0);
    for (int set = 0; set < kUCalSetCount; ++set)
    {
        const QVector<double>& fa = a.freqs[set];
        const QVector<double>& fb = b.freqs[set];
        if (fa.isEmpty() || fb.isEmpty())
        {
            continue;
        }
        worst[set] = 0.0;
        for (int k = 0; k < 4; ++k)
        {
            const CplxVector& va = a.data[set].GetSParam(VNATraceMeas(k));
            const CplxVector& vb = b.data[set].GetSParam(VNATraceMeas(k));
            for (int i = 0; i < fa.size() && i < va.size(); ++i)
            {
                if (fa[i] >= fb.first() && fa[i] <= fb.last() && vb.size() == fb.size())
                {
                    worst[set] =
                        std::max(worst[set], std::abs(va[i] - InterpolateArray(fb, vb, fa[i])));
                }
            }
        }
    }
    return worst;
}

bool SaveUCalUserKit(const VNACalKit& kit, const QString& path, QString& error)
{
    ApplicationSettings settings(path);
    settings.Clear();
    kit.Save(settings);
    settings.Sync();
    if (settings.WriteStatus() != QSettings::NoError)
    {
        error = Tr("Unable to write the kit file %1.").arg(path);
        return false;
    }
    return true;
}
