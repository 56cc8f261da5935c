// Display formats of a trace: the conversions of complex data into plotted values, their units,
// resolutions and texts, and the value strings shown beside markers.
#pragma once

#include <QString>
#include <QVector>
#include <complex>
#include <cstdint>

// Stored as integers in files: never renumber.
enum VNATraceFormat : int32_t
{
    LinMag = 0,
    LogMag = 1,
    PhaseRad = 2,
    PhaseDeg = 3,
    UnwrappedPhase = 4,
    SWR = 5,
    SmithRI = 6,
    SmithGB = 7,
    Real = 8,
    Imag = 9,
    GroupDelay = 10
};
constexpr int kTraceFormatCount = 11;

// How scale edits on the active trace spread to other traces. A setting of the model.
enum VNATraceScaleCoupling : int32_t
{
    ScaleCouplingOff = 0,
    ScaleCouplingPlot = 1,
    ScaleCouplingAll = 2
};

// The system impedance used for the Smith chart readouts, ohms.
extern double gSystemZ0;

bool IsSmithFormat(VNATraceFormat format);
QString VNATraceFormatToTruncStr(VNATraceFormat format);
QString traceFormatToText(VNATraceFormat format);
QString GetUnitString(VNATraceFormat format);
double GetFormatResolution(VNATraceFormat format);
QString VNATraceScaleCouplingToStr(VNATraceScaleCoupling coupling);
QString traceScaleCouplingToText(VNATraceScaleCoupling coupling);

// --- numeric helpers --------------------------------------------------------------------------
// 10 log10 of the power; exactly -200 only for an exact zero.
double ToLogMag(std::complex<double> v);
double Phase(std::complex<double> v);
// cos v + j sin v
std::complex<double> GetCexp(double v);
void ConvertLinMag(const QVector<std::complex<double>>& s, QVector<double>& out);
void ConvertLinMag(const QVector<double>& re, const QVector<double>& im, QVector<double>& out);
void ConvertLogMagValid(const QVector<std::complex<double>>& s, QVector<double>& out);
void ConvertLogMagValid(const QVector<double>& re, const QVector<double>& im, QVector<double>& out);
// Wrapped phase in radians, then unwrapped in place by single 2 pi steps.
void UnwrapPhaseInPlace(QVector<double>& p);
QVector<double> UnwrapPhase(const QVector<std::complex<double>>& s);
// SWR of one linear magnitude, with 1000 for anything at or beyond total reflection.
double MagToSWR(double a);

// --- conversions: outX and outY are resized to the size of s --------------------------------
using CplxData = QVector<std::complex<double>>;
void SParamToLinMag(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                    QVector<double>& outY);
void SParamToLogMag(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                    QVector<double>& outY);
void SParamToPhaseRad(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                      QVector<double>& outY);
void SParamToPhaseDeg(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                      QVector<double>& outY);
void SParamToUnwrappedPhaseRad(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                               QVector<double>& outY);
void SParamToUnwrappedPhaseDeg(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                               QVector<double>& outY);
void SParamToSWR(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                 QVector<double>& outY);
void SParamToSmith(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                   QVector<double>& outY);
void SParamToReal(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                  QVector<double>& outY);
void SParamToImag(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                  QVector<double>& outY);
// Group delay in ns from the uniform frequency step in Hz. Fewer than two points read zero.
void SParamToGroupDelay(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                        QVector<double>& outY, double step);
// Dispatches on the format; step is used by group delay only.
void SParamToFormat(VNATraceFormat format, const QVector<double>& x, const CplxData& s,
                    QVector<double>& outX, QVector<double>& outY, double step);

// --- value texts ------------------------------------------------------------------------------
QString GetMarkerPosString(double value, VNATraceFormat format);
QString GetOhmString(double v);
QString GetSiemensString(double v);
QString GetCapacitanceString(double v);
// Impedance or admittance text of a reflection value at a frequency, for the Smith formats.
QString GetSmithPosString(double re, double im, double freq, VNATraceFormat format);
