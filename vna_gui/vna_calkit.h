// Calibration kits: the standards with their electrical models, the class lists that say which
// standard may serve as Open, Short, Load or Thru, the .skt file, and the mapper that picks the
// standard valid at a frequency for one role of a calibration.
#pragma once

#include <QList>
#include <QString>
#include <QVector>
#include <complex>
#include <cstdint>

#include "network_parameters.h"

class ApplicationSettings;

// Stored in files: never renumber.
enum VNACalType : int32_t
{
    SOLT = 0,
    SOL = 1,
    SOLR = 2
};

// Stored in files: never renumber.
enum VNAStandard : int32_t
{
    VNAStdShort = 0,
    VNAStdOpen = 1,
    VNAStdLoad = 2,
    VNAStdThru = 3,
    VNAStdData = 4,
    VNAStdSlidingLoad = 5
};
QString VNAStandardToString(VNAStandard type);

enum CalClass : int32_t
{
    CalClassOpen = 0,
    CalClassShort = 1,
    CalClassLoad = 2,
    CalClassThru = 3
};
constexpr int kCalClassCount = 4;
CalClass GetCalClassFromStandardType(VNAStandard type);

enum VNAGender : int32_t
{
    VNAMale = 0,
    VNAFemale = 1
};
QString VNAGenderToString(VNAGender gender);
QString VNAGenderToShortString(VNAGender gender);

enum VNAConnector : int32_t
{
    ConnAPC = 0,
    ConnN = 1,
    ConnSMA = 2,
    Conn3_5mm = 3,
    Conn2_92mm = 4,
    Conn2_4mm = 5,
    Conn1_8mm = 6,
    Conn1_0mm = 7,
    ConnOther = 100
};
QString VNAConnectorToString(VNAConnector connector);

std::complex<double> Tanh(std::complex<double> z);

// Reflection of a load ZL behind an offset line of impedance z0, delay (s) and loss (ohm/s),
// referred to z0.
std::complex<double> CalcRef(double z0, std::complex<double> zl, double delay, double loss,
                             double frequency);

class CalKitStandardInfo
{
public:
    bool IsSlidingLoad() const { return Type == VNAStdSlidingLoad; }
    bool IsDataBased() const { return Type == VNAStdData; }
    // A data based standard counts as being of any type.
    bool IsStandardType(VNAStandard t) const { return IsDataBased() || Type == t; }
    bool IsDataLoaded() const { return IsDataBased() && DataS11.size() > 0; }

    QString GetShortListString() const;
    QString GetLongListString() const;

    // Ideal response in each role at frequency f (Hz). The role decides the formula; only a data
    // based standard reads its data instead, DataS11 for every reflect role.
    std::complex<double> IdealShort(double f) const;
    std::complex<double> IdealOpen(double f) const;
    std::complex<double> IdealLoad(double f) const;
    void IdealThru(double f, std::complex<double>& s11, std::complex<double>& s21,
                   std::complex<double>& s12, std::complex<double>& s22) const;

    // The keys of one element of the Standards array (the array index is set by the caller).
    void Save(ApplicationSettings& settings) const;
    void Load(ApplicationSettings& settings);

    int32_t ID = 0;
    VNAStandard Type = VNAStdShort;
    QString Description;
    VNAGender Gender = VNAMale;
    int32_t UCalPort = 0;
    double FMin = 0.0;
    double FMax = 999000000000.0;
    double Delay = 0.0;  // ps
    double Loss = 0.0;   // Gohm/s
    double Z0 = 50.0;
    double C0 = 0.0, C1 = 0.0, C2 = 0.0, C3 = 0.0;
    double L0 = 0.0, L1 = 0.0, L2 = 0.0, L3 = 0.0;
    QString DataFileName;
    QVector<double> DataFreqs;
    bool DataReflectOnly = true;
    CplxVector DataS11, DataS21, DataS12, DataS22;
};

class VNACalKit
{
public:
    VNACalKit();

    QString GetDisplayName() const;
    bool IsUCalModule() const { return IsUCal; }
    bool UseFactoryCharacterization() const { return IsFactoryUCal; }

    void Save(ApplicationSettings& settings) const;
    // Appends to the standards; false (and nothing read) when the version is not 1.
    bool Load(ApplicationSettings& settings);

    bool CanPerformSOL() const;
    bool CanPerformSOLT() const;
    bool CanPerform(VNACalType type) const;

    CalKitStandardInfo GetStandard(int id, bool& found) const;
    // The standard with that ID inside the kit, or null. Valid until the kit changes.
    const CalKitStandardInfo* FindStandard(int id) const;
    QVector<CalKitStandardInfo> GetStandards(VNAStandard type) const;
    QList<int> GetStandardIDsWithClass(CalClass cls) const;
    QVector<CalKitStandardInfo> GetStandardsWithClass(CalClass cls) const;
    QList<int> GetStandardsNotInClass(CalClass cls) const;
    CalClass GetClassOfStandard(int id, bool& found) const;

    void PutStandardInClass(int id, CalClass cls);
    void RemoveStandardFromClass(int id, CalClass cls);
    void IncreaseStdPriority(int id, CalClass cls);
    void DecreaseStdPriority(int id, CalClass cls);

    int GetNextID() const;
    bool IsIDAvailable(int id) const;
    void RemoveStdAtIndex(int index);
    bool HadStdsForGender(VNAGender gender) const;

    QString CalKitName;
    QString Description;
    VNAConnector Connector = Conn2_4mm;
    bool IsUCal = false;
    bool IsFactoryUCal = true;
    QVector<CalKitStandardInfo> Standards;
    // Indexed by CalClass; the position in a list is the priority within the class.
    QList<int> Classes[kCalClassCount];
};

// Opens the INI file at path and loads the kit from it.
bool LoadCalKit(const QString& path, VNACalKit& kit);

// Which standard serves one role of a calibration at each frequency.
class VNACalStdMapper
{
public:
    struct Map
    {
        int32_t Std = 0;
        int32_t Priority = 0;
        double StartFreq = 0.0;
        double StopFreq = 0.0;
    };

    // The standard measured last gets priority 0 and wins where bands overlap.
    void AddStd(int id, double start, double stop);
    void AddStd(const CalKitStandardInfo& standard);
    int GetID(double frequency) const;
    bool IsFullyMapped(double start, double stop) const;
    void Clear() { maps.clear(); }
    const QVector<Map>& Maps() const { return maps; }

    void Save(const QString& group, ApplicationSettings& settings) const;
    bool Load(const QString& group, ApplicationSettings& settings);

private:
    QVector<Map> maps;
};

// Copies source[i] to destination[i] where fmin <= frequencies[i] <= fmax; the rest of the
// destination is untouched.
void MergeCalMeas(const CplxVector& source, CplxVector& destination,
                  const QVector<double>& frequencies, double fmin, double fmax);
