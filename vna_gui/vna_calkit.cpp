#include "vna_calkit.h"

#include <QCoreApplication>
#include <cmath>

#include "application_settings.h"
#include "matrix.h"

using cplx = std::complex<double>;

namespace
{
constexpr double kTwoPi = 6.283185307179586;
const char* const kClassKeys[kCalClassCount] = {"KitClasses/SOLT/Open", "KitClasses/SOLT/Short",
                                                "KitClasses/SOLT/Load", "KitClasses/SOLT/Thru"};

QString Tr(const char* text)
{
    return QCoreApplication::translate("VNACalKit", text);
}

bool ValidClass(CalClass cls)
{
    return int(cls) >= 0 && int(cls) < kCalClassCount;
}

// Characteristic impedance and gamma times length of a lossy offset line; shared by the reflect
// and the thru models so that both see the same line.
void OffsetLine(double z0, double delay, double loss, double f, cplx& zc, cplx& gl)
{
    const double w = kTwoPi * f;
    const double g = std::sqrt(f / 1e9);
    const double lossTerm = loss * g / (2.0 * w);
    zc = cplx(z0 + lossTerm, -lossTerm);
    const double al = loss * delay * g / (2.0 * z0);
    gl = cplx(al, w * delay + al);
}
}  // namespace

QString VNAStandardToString(VNAStandard type)
{
    switch (type)
    {
        case VNAStdShort:
            return Tr("Short");
        case VNAStdOpen:
            return Tr("Open");
        case VNAStdLoad:
            return Tr("Load");
        case VNAStdThru:
            return Tr("Thru");
        case VNAStdData:
            return Tr("Data");
        case VNAStdSlidingLoad:
            return Tr("Sliding Load");
    }
    return QString();
}

CalClass GetCalClassFromStandardType(VNAStandard type)
{
    switch (type)
    {
        case VNAStdShort:
            return CalClassShort;
        case VNAStdOpen:
            return CalClassOpen;
        case VNAStdLoad:
        case VNAStdSlidingLoad:
            return CalClassLoad;
        default:
            // Data based standards default to Thru; the kit editor asks the user.
            return CalClassThru;
    }
}

QString VNAGenderToString(VNAGender gender)
{
    return gender == VNAMale ? Tr("Male") : Tr("Female");
}

QString VNAGenderToShortString(VNAGender gender)
{
    return gender == VNAMale ? Tr("M") : Tr("F");
}

QString VNAConnectorToString(VNAConnector connector)
{
    switch (connector)
    {
        case ConnAPC:
            return QStringLiteral("APC");
        case ConnN:
            return QStringLiteral("N");
        case ConnSMA:
            return QStringLiteral("SMA");
        case Conn3_5mm:
            return QStringLiteral("3.5mm");
        case Conn2_92mm:
            return QStringLiteral("2.92mm");
        case Conn2_4mm:
            return QStringLiteral("2.4mm");
        case Conn1_8mm:
            return QStringLiteral("1.8mm");
        case Conn1_0mm:
            return QStringLiteral("1.0mm");
        case ConnOther:
            return Tr("Other");
    }
    return QString();
}

// Complex hyperbolic tangent, (sinh x cosh x + j sin y cos y) / (sinh^2 x + cos^2 y): one expm1
// and one sine-cosine pair, and no cancellation near the poles. The solvers evaluate it for every
// point of every reflect standard.
cplx Tanh(cplx z)
{
    const double x = z.real();
    const double y = z.imag();
    if (std::fabs(x) > 20.0)
    {
        // e^-40 is below double precision: the result is +-1 exactly.
        return cplx(std::copysign(1.0, x), std::copysign(0.0, std::sin(2.0 * y)));
    }
    const double em = std::expm1(x);
    const double sh = em * (em + 2.0) / (2.0 * (em + 1.0));
    const double ch = std::sqrt(1.0 + sh * sh);
    const double s = std::sin(y);
    const double c = std::cos(y);
    const double r = 1.0 / (sh * sh + c * c);
    return cplx(sh * ch * r, s * c * r);
}

cplx CalcRef(double z0, cplx zl, double delay, double loss, double frequency)
{
    // A kit's short and open usually sit behind the same offset, and the solvers ask for both at
    // each frequency in turn: the line of the last call is kept, per thread.
    struct Line
    {
        double z0 = 0.0, delay = 0.0, loss = 0.0, f = -1.0;
        cplx zc, t;
    };
    thread_local Line last;
    if (!(last.z0 == z0 && last.delay == delay && last.loss == loss && last.f == frequency))
    {
        cplx gl;
        OffsetLine(z0, delay, loss, frequency, last.zc, gl);
        last.t = Tanh(gl);
        last.z0 = z0;
        last.delay = delay;
        last.loss = loss;
        last.f = frequency;
    }
    const cplx zc = last.zc;
    const cplx t = last.t;
    const cplx zin = CplxDiv(Mul(zc, zl + Mul(zc, t)), zc + Mul(zl, t));
    return CplxDiv(zin - z0, zin + z0);
}

// ---------------------------------------------------------------------------------------------
// CalKitStandardInfo

QString CalKitStandardInfo::GetShortListString() const
{
    return QStringLiteral("%1 - %2").arg(ID).arg(Description);
}

QString CalKitStandardInfo::GetLongListString() const
{
    if (Type == VNAStdThru)
    {
        return QStringLiteral("%1 - %2 - %3").arg(ID).arg(VNAStandardToString(Type), Description);
    }
    return QStringLiteral("%1 - %2 - %3 - %4")
        .arg(ID)
        .arg(VNAStandardToString(Type), VNAGenderToShortString(Gender), Description);
}

cplx CalKitStandardInfo::IdealShort(double f) const
{
    if (IsDataBased())
    {
        return InterpolateArray(DataFreqs, DataS11, f);
    }
    const double l = 1e-12 * L0 + 1e-24 * L1 * f + 1e-33 * L2 * f * f + 1e-42 * L3 * f * f * f;
    const cplx zl(0.0, kTwoPi * f * l);
    return CalcRef(Z0, zl, 1e-12 * Delay, 1e9 * Loss, f);
}

cplx CalKitStandardInfo::IdealOpen(double f) const
{
    if (IsDataBased())
    {
        return InterpolateArray(DataFreqs, DataS11, f);
    }
    const double c = 1e-15 * C0 + 1e-27 * C1 * f + 1e-36 * C2 * f * f + 1e-45 * C3 * f * f * f;
    // 1 / (j w C). A zero capacitance divides by zero on purpose: the library's division gives an
    // infinite real and a not-a-number imaginary part, and the result is not a number.
    const double wc = kTwoPi * f * c;
    const cplx zl = wc != 0.0 ? cplx(0.0, -1.0 / wc) : cplx(1.0, 0.0) / cplx(0.0, wc);
    return CalcRef(Z0, zl, 1e-12 * Delay, 1e9 * Loss, f);
}

cplx CalKitStandardInfo::IdealLoad(double f) const
{
    if (IsDataBased())
    {
        return InterpolateArray(DataFreqs, DataS11, f);
    }
    // The offset and polynomials of a load are ignored even where a kit sets them.
    return cplx(0.0, 0.0);
}

void CalKitStandardInfo::IdealThru(double f, cplx& s11, cplx& s21, cplx& s12, cplx& s22) const
{
    if (IsDataBased())
    {
        s11 = InterpolateArray(DataFreqs, DataS11, f);
        s21 = InterpolateArray(DataFreqs, DataS21, f);
        s12 = InterpolateArray(DataFreqs, DataS12, f);
        s22 = InterpolateArray(DataFreqs, DataS22, f);
        return;
    }
    cplx zc, gl;
    OffsetLine(Z0, 1e-12 * Delay, 1e9 * Loss, f, zc, gl);
    const cplx p = std::exp(-gl);
    // Referred to 50 ohms whatever Z0 says.
    const cplx gc = (zc - 50.0) / (zc + 50.0);
    s11 = gc * (p * p - 1.0) / (gc * gc * p * p - 1.0);
    s22 = s11;
    // The single power of P in this denominator is the thru model as the kits define it.
    s21 = p * (gc * gc - 1.0) / (gc * gc * p - 1.0);
    s12 = s21;
}

void CalKitStandardInfo::Save(ApplicationSettings& s) const
{
    s.Save(QStringLiteral("ID"), int(ID));
    s.Save(QStringLiteral("Type"), int(Type));
    s.Save(QStringLiteral("Description"), Description);
    s.Save(QStringLiteral("Gender"), int(Gender));
    s.Save(QStringLiteral("UCalPort"), int(UCalPort));
    s.Save(QStringLiteral("FMin"), FMin);
    s.Save(QStringLiteral("FMax"), FMax);
    s.Save(QStringLiteral("Delay"), Delay);
    s.Save(QStringLiteral("Loss"), Loss);
    s.Save(QStringLiteral("Z0"), Z0);
    s.Save(QStringLiteral("C0"), C0);
    s.Save(QStringLiteral("C1"), C1);
    s.Save(QStringLiteral("C2"), C2);
    s.Save(QStringLiteral("C3"), C3);
    s.Save(QStringLiteral("L0"), L0);
    s.Save(QStringLiteral("L1"), L1);
    s.Save(QStringLiteral("L2"), L2);
    s.Save(QStringLiteral("L3"), L3);
    if (Type != VNAStdData)
    {
        return;
    }
    s.Save(QStringLiteral("DataFileName"), DataFileName);
    s.Save(QStringLiteral("DataFreqs"), DataFreqs);
    s.Save(QStringLiteral("DataReflectOnly"), DataReflectOnly);
    s.Save(QStringLiteral("DataS11"), DataS11);
    if (!DataReflectOnly)
    {
        s.Save(QStringLiteral("DataS21"), DataS21);
        s.Save(QStringLiteral("DataS12"), DataS12);
        s.Save(QStringLiteral("DataS22"), DataS22);
    }
}

void CalKitStandardInfo::Load(ApplicationSettings& s)
{
    int v = ID;
    s.Load(QStringLiteral("ID"), v);
    ID = v;
    v = Type;
    s.Load(QStringLiteral("Type"), v);
    Type = VNAStandard(v);
    s.Load(QStringLiteral("Description"), Description);
    v = Gender;
    s.Load(QStringLiteral("Gender"), v);
    Gender = VNAGender(v);
    v = UCalPort;
    s.Load(QStringLiteral("UCalPort"), v);
    UCalPort = v;
    s.Load(QStringLiteral("FMin"), FMin);
    s.Load(QStringLiteral("FMax"), FMax);
    s.Load(QStringLiteral("Delay"), Delay);
    s.Load(QStringLiteral("Loss"), Loss);
    s.Load(QStringLiteral("Z0"), Z0);
    s.Load(QStringLiteral("C0"), C0);
    s.Load(QStringLiteral("C1"), C1);
    s.Load(QStringLiteral("C2"), C2);
    s.Load(QStringLiteral("C3"), C3);
    s.Load(QStringLiteral("L0"), L0);
    s.Load(QStringLiteral("L1"), L1);
    s.Load(QStringLiteral("L2"), L2);
    s.Load(QStringLiteral("L3"), L3);
    if (Type != VNAStdData)
    {
        return;
    }
    s.Load(QStringLiteral("DataFileName"), DataFileName);
    s.Load(QStringLiteral("DataFreqs"), DataFreqs);
    s.Load(QStringLiteral("DataReflectOnly"), DataReflectOnly);
    s.Load(QStringLiteral("DataS11"), DataS11);
    if (DataReflectOnly)
    {
        DataS21 = DataS12 = DataS22 = CplxVector(DataS11.size(), cplx(0.0, 0.0));
    }
    else
    {
        s.Load(QStringLiteral("DataS21"), DataS21);
        s.Load(QStringLiteral("DataS12"), DataS12);
        s.Load(QStringLiteral("DataS22"), DataS22);
    }
}

// ---------------------------------------------------------------------------------------------
// VNACalKit

VNACalKit::VNACalKit() : Description(Tr("Enter description here")) {}

QString VNACalKit::GetDisplayName() const
{
    return QStringLiteral("%1 - %2 - %3")
        .arg(CalKitName, VNAConnectorToString(Connector), Description);
}

void VNACalKit::Save(ApplicationSettings& s) const
{
    s.BeginGroup(QStringLiteral("CalKit"));
    s.Save(QStringLiteral("Version"), 1);
    s.Save(QStringLiteral("Description"), Description);
    s.Save(QStringLiteral("Connector"), int(Connector));
    s.Save(QStringLiteral("IsUCal"), IsUCal);
    s.Save(QStringLiteral("IsFactoryUCal"), IsFactoryUCal);
    s.BeginWriteArray(QStringLiteral("Standards"), Standards.size());
    for (int i = 0; i < Standards.size(); ++i)
    {
        s.SetArrayIndex(i);
        Standards[i].Save(s);
    }
    s.EndArray();
    for (int c = 0; c < kCalClassCount; ++c)
    {
        s.SaveList(QLatin1String(kClassKeys[c]), Classes[c]);
    }
    s.EndGroup();
}

bool VNACalKit::Load(ApplicationSettings& s)
{
    s.BeginGroup(QStringLiteral("CalKit"));
    int version = 1;
    s.Load(QStringLiteral("Version"), version);
    if (version != 1)
    {
        s.EndGroup();
        return false;
    }
    s.Load(QStringLiteral("Description"), Description);
    int connector = Connector;
    s.Load(QStringLiteral("Connector"), connector);
    Connector = VNAConnector(connector);
    s.Load(QStringLiteral("IsUCal"), IsUCal);
    s.Load(QStringLiteral("IsFactoryUCal"), IsFactoryUCal);
    const int n = s.BeginReadArray(QStringLiteral("Standards"));
    for (int i = 0; i < n; ++i)
    {
        s.SetArrayIndex(i);
        CalKitStandardInfo info;
        info.Load(s);
        Standards.append(info);
    }
    s.EndArray();
    for (int c = 0; c < kCalClassCount; ++c)
    {
        s.LoadList(QLatin1String(kClassKeys[c]), Classes[c]);
    }
    s.EndGroup();
    return true;
}

bool LoadCalKit(const QString& path, VNACalKit& kit)
{
    ApplicationSettings settings(path);
    return kit.Load(settings);
}

bool VNACalKit::CanPerformSOL() const
{
    return !Classes[CalClassOpen].isEmpty() && !Classes[CalClassShort].isEmpty() &&
           !Classes[CalClassLoad].isEmpty();
}

bool VNACalKit::CanPerformSOLT() const
{
    return CanPerformSOL() && !Classes[CalClassThru].isEmpty();
}

bool VNACalKit::CanPerform(VNACalType type) const
{
    switch (type)
    {
        case SOL:
        case SOLR:
            // An unknown thru needs no Thru standard.
            return CanPerformSOL();
        case SOLT:
            return CanPerformSOLT();
    }
    return false;
}

const CalKitStandardInfo* VNACalKit::FindStandard(int id) const
{
    for (const CalKitStandardInfo& s : Standards)
    {
        if (s.ID == id)
        {
            return &s;
        }
    }
    return nullptr;
}

CalKitStandardInfo VNACalKit::GetStandard(int id, bool& found) const
{
    const CalKitStandardInfo* s = FindStandard(id);
    found = s != nullptr;
    return found ? *s : CalKitStandardInfo();
}

QVector<CalKitStandardInfo> VNACalKit::GetStandards(VNAStandard type) const
{
    QVector<CalKitStandardInfo> out;
    for (const CalKitStandardInfo& s : Standards)
    {
        if (s.Type == type)
        {
            out.append(s);
        }
    }
    return out;
}

QList<int> VNACalKit::GetStandardIDsWithClass(CalClass cls) const
{
    return ValidClass(cls) ? Classes[cls] : QList<int>();
}

QVector<CalKitStandardInfo> VNACalKit::GetStandardsWithClass(CalClass cls) const
{
    QVector<CalKitStandardInfo> out;
    for (int id : GetStandardIDsWithClass(cls))
    {
        if (const CalKitStandardInfo* s = FindStandard(id))
        {
            out.append(*s);
        }
    }
    return out;
}

QList<int> VNACalKit::GetStandardsNotInClass(CalClass cls) const
{
    const QList<int> in = GetStandardIDsWithClass(cls);
    QList<int> out;
    for (const CalKitStandardInfo& s : Standards)
    {
        if (!in.contains(s.ID))
        {
            out.append(s.ID);
        }
    }
    return out;
}

CalClass VNACalKit::GetClassOfStandard(int id, bool& found) const
{
    for (int c = 0; c < kCalClassCount; ++c)
    {
        if (Classes[c].contains(id))
        {
            found = true;
            return CalClass(c);
        }
    }
    found = false;
    return CalClassOpen;
}

void VNACalKit::PutStandardInClass(int id, CalClass cls)
{
    if (ValidClass(cls) && !Classes[cls].contains(id))
    {
        Classes[cls].append(id);
    }
}

void VNACalKit::RemoveStandardFromClass(int id, CalClass cls)
{
    if (ValidClass(cls))
    {
        Classes[cls].removeAll(id);
    }
}

void VNACalKit::IncreaseStdPriority(int id, CalClass cls)
{
    if (!ValidClass(cls))
    {
        return;
    }
    const int i = Classes[cls].indexOf(id);
    if (i > 0)
    {
        Classes[cls].swapItemsAt(i, i - 1);
    }
}

void VNACalKit::DecreaseStdPriority(int id, CalClass cls)
{
    if (!ValidClass(cls))
    {
        return;
    }
    const int i = Classes[cls].indexOf(id);
    if (i >= 0 && i + 1 < Classes[cls].size())
    {
        Classes[cls].swapItemsAt(i, i + 1);
    }
}

int VNACalKit::GetNextID() const
{
    for (int id = 1; id <= 999; ++id)
    {
        if (IsIDAvailable(id))
        {
            return id;
        }
    }
    return -1;
}

bool VNACalKit::IsIDAvailable(int id) const
{
    return FindStandard(id) == nullptr;
}

void VNACalKit::RemoveStdAtIndex(int index)
{
    if (index < 0 || index >= Standards.size())
    {
        return;
    }
    const int id = Standards[index].ID;
    Standards.remove(index);
    for (QList<int>& list : Classes)
    {
        list.removeAll(id);
    }
}

bool VNACalKit::HadStdsForGender(VNAGender gender) const
{
    bool shortFound = false, openFound = false, loadFound = false;
    for (const CalKitStandardInfo& s : Standards)
    {
        if (s.Gender != gender)
        {
            continue;
        }
        shortFound |= s.Type == VNAStdShort;
        openFound |= s.Type == VNAStdOpen;
        loadFound |= s.Type == VNAStdLoad || s.Type == VNAStdSlidingLoad;
    }
    return shortFound && openFound && loadFound;
}

// ---------------------------------------------------------------------------------------------
// VNACalStdMapper

void VNACalStdMapper::AddStd(int id, double start, double stop)
{
    if (maps.isEmpty())
    {
        maps.append(Map{id, 0, start, stop});
        return;
    }
    int old = 1000000;
    bool found = false;
    for (Map& m : maps)
    {
        if (m.Std == id)
        {
            old = m.Priority;
            m.Priority = 0;
            found = true;
        }
    }
    if (!found)
    {
        int at = maps.size();
        for (int i = 0; i < maps.size(); ++i)
        {
            if (maps[i].StartFreq >= start)
            {
                at = i;
                break;
            }
        }
        maps.insert(at, Map{id, 0, start, stop});
    }
    for (Map& m : maps)
    {
        if (m.Std != id && m.Priority < old)
        {
            ++m.Priority;
        }
    }
}

void VNACalStdMapper::AddStd(const CalKitStandardInfo& standard)
{
    AddStd(standard.ID, standard.FMin, standard.FMax);
}

int VNACalStdMapper::GetID(double f) const
{
    int best = 1000000;
    int id = -1;
    for (const Map& m : maps)
    {
        if (m.StartFreq <= f && f <= m.StopFreq && m.Priority < best)
        {
            best = m.Priority;
            id = m.Std;
        }
    }
    return id;
}

bool VNACalStdMapper::IsFullyMapped(double start, double stop) const
{
    if (maps.isEmpty())
    {
        return false;
    }
    const double lo = maps[0].StartFreq;
    double hi = maps[0].StopFreq;
    for (int i = 1; i < maps.size(); ++i)
    {
        // An entry beyond a gap is skipped; the walk goes on.
        if (hi >= maps[i].StartFreq)
        {
            hi = std::max(hi, maps[i].StopFreq);
        }
    }
    return start >= lo && hi >= stop;
}

void VNACalStdMapper::Save(const QString& group, ApplicationSettings& s) const
{
    s.BeginGroup(group);
    s.BeginWriteArray(QStringLiteral("Mapping"), maps.size());
    for (int i = 0; i < maps.size(); ++i)
    {
        s.SetArrayIndex(i);
        s.Save(QStringLiteral("Std"), int(maps[i].Std));
        s.Save(QStringLiteral("Priority"), int(maps[i].Priority));
        s.Save(QStringLiteral("StartFreq"), maps[i].StartFreq);
        s.Save(QStringLiteral("StopFreq"), maps[i].StopFreq);
    }
    s.EndArray();
    s.EndGroup();
}

bool VNACalStdMapper::Load(const QString& group, ApplicationSettings& s)
{
    maps.clear();
    s.BeginGroup(group);
    const int n = s.BeginReadArray(QStringLiteral("Mapping"));
    for (int i = 0; i < n; ++i)
    {
        s.SetArrayIndex(i);
        Map m;
        int v = 0;
        s.Load(QStringLiteral("Std"), v);
        m.Std = v;
        v = 0;
        s.Load(QStringLiteral("Priority"), v);
        m.Priority = v;
        s.Load(QStringLiteral("StartFreq"), m.StartFreq);
        s.Load(QStringLiteral("StopFreq"), m.StopFreq);
        maps.append(m);
    }
    s.EndArray();
    s.EndGroup();
    return n >= 1;
}

void MergeCalMeas(const CplxVector& source, CplxVector& destination,
                  const QVector<double>& frequencies, double fmin, double fmax)
{
    const int n = std::min({source.size(), destination.size(), frequencies.size()});
    for (int i = 0; i < n; ++i)
    {
        if (fmin <= frequencies[i] && frequencies[i] <= fmax)
        {
            destination[i] = source[i];
        }
    }
}
