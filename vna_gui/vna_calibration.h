// The calibration record of one channel and the object that applies it: the stimulus the
// standards were measured on, the raw standards, the kit with its role mapping, the solved error
// terms, the .vnacal file, and the three solvers (one-port, twelve-term, unknown thru).
#pragma once

#include <QDateTime>
#include <QSize>
#include <QString>
#include <QVector>
#include <complex>

#include "network_parameters.h"
#include "vna_calkit.h"
#include "vna_stimulus.h"

class ApplicationSettings;

QString VNACalTypeToString(VNACalType type);
bool Is2PortCal(VNACalType type);

// The twelve measured vectors of a two-port calibration, in this store order.
enum CalSetStdTerm : int32_t
{
    StdS11Short = 0,
    StdS22Short = 1,
    StdS11Open = 2,
    StdS22Open = 3,
    StdS11Load = 4,
    StdS22Load = 5,
    StdS11Thru = 6,
    StdS21Thru = 7,
    StdS12Thru = 8,
    StdS22Thru = 9,
    StdS21Iso = 10,
    StdS12Iso = 11
};
QString CalSetStdTermToString(int term);

// The twelve error terms, forward then reverse.
enum CalSetErrTerm : int32_t
{
    ErrEdf = 0,
    ErrEsf = 1,
    ErrElf = 2,
    ErrErf = 3,
    ErrEtf = 4,
    ErrExf = 5,
    ErrEdr = 6,
    ErrEsr = 7,
    ErrElr = 8,
    ErrErr = 9,
    ErrEtr = 10,
    ErrExr = 11
};
QString CalSetErrTermToString(int term);

enum CalSetViewerDisplay : int32_t
{
    CalSetViewMeasured = 0,
    CalSetViewErrorTerms = 1
};

// Roles of the one-port measured vectors and mappers.
enum CalOnePortRole : int32_t
{
    RoleShort = 0,
    RoleOpen = 1,
    RoleLoad = 2
};

// Roles of the seven two-port mappers.
enum CalTwoPortRole : int32_t
{
    RoleP1Short = 0,
    RoleP1Open = 1,
    RoleP1Load = 2,
    RoleP2Short = 3,
    RoleP2Open = 4,
    RoleP2Load = 5,
    RoleThru = 6
};

class VNACalibration
{
public:
    static constexpr int kOnePortRoles = 3;
    static constexpr int kTwoPortRoles = 7;
    static constexpr int kTermCount = 12;

    VNACalibration();

    bool CorrectionsLoaded() const { return loaded; }
    bool CorrectionsReady() const { return built; }
    bool IsInterpolated() const { return interpolated; }
    // The workflow sets this once every role has been measured.
    void SetLoaded(bool on) { loaded = on; }
    void Unload();

    VNACalType GetCalType() const { return type; }
    int GetCalPort() const { return port; }
    int GetUCalPort() const { return uCalPort; }
    void SetCalType(VNACalType t, int p)
    {
        type = t;
        port = p;
    }
    void SetUCalPort(int p) { uCalPort = p; }
    const VNAStimulus& GetStimulus() const { return stimulus; }
    void SetStimulus(const VNAStimulus& s) { stimulus = s; }
    const VNACalKit& GetCalKit() const { return kit; }
    void SetCalKit(const VNACalKit& k) { kit = k; }
    bool IsECal() const { return kit.IsUCalModule(); }

    QString GetName() const { return name; }
    void SetName(const QString& n) { name = n; }
    QDateTime GetDate() const { return date; }
    void SetDate(const QDateTime& d) { date = d; }
    double CalibrationTemperature() const { return loaded ? temperature : 50.0; }
    void SetTemperature(double t) { temperature = t; }
    int GetSerialNumber() const { return serialNumber; }
    void SetSerialNumber(int s) { serialNumber = s; }
    bool ValidSerialNumber() const { return serialNumber != -1; }
    QString GetSerialNumberString() const;

    // Measured standards, on the calibration's own stimulus.
    CplxVector& OnePortMeas(int role) { return onePortMeas[role]; }
    const CplxVector& OnePortMeas(int role) const { return onePortMeas[role]; }
    VNACalStdMapper& OnePortMapper(int role) { return onePortMap[role]; }
    const VNACalStdMapper& OnePortMapper(int role) const { return onePortMap[role]; }
    CplxVector& MeasuredStd(int term) { return meas[term]; }
    const CplxVector& MeasuredStd(int term) const { return meas[term]; }
    CplxVector& MeasuredStdHDR(int term) { return measHDR[term]; }
    const CplxVector& MeasuredStdHDR(int term) const { return measHDR[term]; }
    VNACalStdMapper& TwoPortMapper(int role) { return twoPortMap[role]; }
    const VNACalStdMapper& TwoPortMapper(int role) const { return twoPortMap[role]; }
    CplxVector& SwitchTermsFwd() { return switchFwd; }
    CplxVector& SwitchTermsRev() { return switchRev; }
    CplxVector& GammaFwd() { return gammaFwd; }
    CplxVector& GammaRev() { return gammaRev; }

    // Solved terms, on the stimulus last given to BuildCorrections.
    const CplxVector& OnePortTerm(int i) const { return onePortTerms[i]; }  // edf, esf, erf
    const CplxVector& ErrorTerm(int term) const { return terms[term]; }
    const CplxVector& ErrorTermHDR(int term) const { return termsHDR[term]; }

    void BuildCorrections(const VNAStimulus& applied);
    SParameters ApplyCorrections(const SParametersRaw& raw, bool interpolationAllowed) const;
    SParameters ApplyCorrectionsSOL(const SParametersRaw& raw) const;
    SParameters ApplyCorrectionsSOLT(const SParametersRaw& raw) const;
    SParameters ApplyCorrectionsSOLR(const SParametersRaw& raw) const;

    void GetCalSetStd(CplxVector& out, int display, int stdTerm, int errTerm) const;

    static std::complex<double> CalcRef(double z0, std::complex<double> zl, double delay,
                                        double loss, double frequency)
    {
        return ::CalcRef(z0, zl, delay, loss, frequency);
    }

    // Writes the group Calibration anew (stale keys removed).
    void Save(ApplicationSettings& settings) const;
    void Load(ApplicationSettings& settings, bool& ok, QString& error);
    void Load(ApplicationSettings& settings);

private:
    void BuildCorrectionsSOL(const VNAStimulus& applied);
    void BuildCorrectionsSOLT(const VNAStimulus& applied);
    void BuildCorrectionsSOLR(const VNAStimulus& applied);
    bool TwoPortSizesValid() const;
    // Returns the first point whose corrected transmission may need the HDR blend, or the size.
    void MakeInverses(int set);
    int ApplyTwelveTerm(int set, const CplxVector& m11, const CplxVector& m21,
                        const CplxVector& m12, const CplxVector& m22, CplxVector& s11,
                        CplxVector& s21, CplxVector& s12, CplxVector& s22) const;

    VNAStimulus stimulus;
    QString name;
    QDateTime date;
    double temperature = 0.0;
    VNACalType type = SOLT;
    int32_t port = 0;
    int32_t uCalPort = 0;
    int32_t serialNumber = -1;
    VNACalKit kit;
    bool loaded = false;
    bool built = false;
    bool interpolated = false;
    CplxVector onePortMeas[kOnePortRoles];
    VNACalStdMapper onePortMap[kOnePortRoles];
    CplxVector meas[kTermCount];
    CplxVector measHDR[kTermCount];
    VNACalStdMapper twoPortMap[kTwoPortRoles];
    CplxVector onePortTerms[3];
    CplxVector terms[kTermCount];
    CplxVector termsHDR[kTermCount];
    // Reciprocals of erf, err, etf, etr (normal, then HDR), made with the terms: correcting a
    // sweep multiplies by them instead of dividing.
    CplxVector inverse[2][4];
    CplxVector switchFwd, switchRev;
    CplxVector gammaFwd, gammaRev;
};

// Measured data against frequency, interpolated in magnitude and phase; at the two ends of the
// list an interval straddling the instrument's 10 GHz path change is not used across it.
std::complex<double> InterpolateArrayWithBandBreak(const QVector<double>& x, const CplxVector& y,
                                                   double q);

// Turns the seven independent terms of the unknown-thru model plus the two termination ratios
// into the load match and transmission tracking of the twelve-term model.
void Convert7TermTo12Term(std::complex<double> edf, std::complex<double> esf,
                          std::complex<double> erf, std::complex<double> edr,
                          std::complex<double> esr, std::complex<double> err,
                          std::complex<double>& elf, std::complex<double>& etf,
                          std::complex<double>& elr, std::complex<double>& etr,
                          std::complex<double> gammaF, std::complex<double> gammaR,
                          std::complex<double> k);

// Sliding load: the centre of the circle through the three most widely spread slides, per point,
// written into the port's parameter of slides[0].
void SolveSlidingLoad(SParametersRaw* slides, int count, int port, bool alsoHDR);
double TriangleArea(std::complex<double> a, std::complex<double> b, std::complex<double> c);
void Circumcenter(std::complex<double> a, std::complex<double> b, std::complex<double> c,
                  std::complex<double>& out);

// Status texts of the calibration dialogs.
namespace CalUtil
{
QString GetCalWaitingString();
QString GetCalMeasStatusString(int current, int total, double percent);
QString NotCompleteStr();
QString MeasuringStr();
QString CompleteStr();
QString PartialCompleteStr();
// 40 widths of the letter "w" by one line height; the caller measures the font.
QSize GetDefaultCalDlgSize(int widthOfW, int fontHeight);
}  // namespace CalUtil
