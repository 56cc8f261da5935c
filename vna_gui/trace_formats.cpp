#include "trace_formats.h"

#include <QCoreApplication>
#include <cmath>
#include <limits>

double gSystemZ0 = 50.0;

namespace
{
const QChar kDegree(0x00B0);
const QChar kOmega(0x03A9);

// Every conversion writes outputs of the size of s; resizing in place keeps the buffers.
void Prepare(const CplxData& s, QVector<double>& outX, QVector<double>& outY)
{
    outX.resize(s.size());
    outY.resize(s.size());
}

void CopyAbscissa(const QVector<double>& x, QVector<double>& outX)
{
    const int n = std::min(x.size(), outX.size());
    const double* src = x.constData();
    double* dst = outX.data();
    for (int i = 0; i < n; ++i)
    {
        dst[i] = src[i];
    }
}

QString Tr(const char* text)
{
    return QCoreApplication::translate("VNATrace", text);
}
}  // namespace

bool IsSmithFormat(VNATraceFormat format)
{
    return format == SmithRI || format == SmithGB;
}

QString VNATraceFormatToTruncStr(VNATraceFormat format)
{
    switch (format)
    {
        case LinMag:
            return Tr("LinMag");
        case LogMag:
            return Tr("LogMag");
        case PhaseRad:
            return Tr("Phase(rad)");
        case PhaseDeg:
            return Tr("Phase(deg)");
        case UnwrappedPhase:
            return Tr("UnwrappedPhase");
        case SWR:
            return Tr("SWR");
        case SmithRI:
            return Tr("Smith (R+jX)");
        case SmithGB:
            return Tr("Smith (G+jB)");
        case Real:
            return Tr("Real");
        case Imag:
            return Tr("Imag");
        case GroupDelay:
            return Tr("GroupDelay");
    }
    return QString();
}

QString traceFormatToText(VNATraceFormat format)
{
    switch (format)
    {
        case LinMag:
            return QStringLiteral("mlinear");
        case LogMag:
            return QStringLiteral("mlogarithmic");
        case PhaseRad:
            return QStringLiteral("rphase");
        case PhaseDeg:
            return QStringLiteral("dphase");
        case UnwrappedPhase:
            return QStringLiteral("uphase");
        case SWR:
            return QStringLiteral("swr");
        case SmithRI:
            return QStringLiteral("smith");
        case SmithGB:
            return QStringLiteral("sadmittance");
        case Real:
            return QStringLiteral("real");
        case Imag:
            return QStringLiteral("imaginary");
        case GroupDelay:
            return QStringLiteral("gdelay");
    }
    return QStringLiteral("Unknown format");
}

QString GetUnitString(VNATraceFormat format)
{
    switch (format)
    {
        case LogMag:
            return QStringLiteral("dB");
        case PhaseRad:
            return QStringLiteral("rad");
        case PhaseDeg:
        case UnwrappedPhase:
            return QString(kDegree);
        case GroupDelay:
            return QStringLiteral("ns");
        default:
            return QString();
    }
}

double GetFormatResolution(VNATraceFormat format)
{
    switch (format)
    {
        case LinMag:
        case SWR:
        case Real:
        case Imag:
        case GroupDelay:
            return 0.1;
        case LogMag:
        case SmithRI:
        case SmithGB:
            return 1.0;
        case PhaseRad:
            return M_PI / 8.0;
        case PhaseDeg:
            return 22.5;
        case UnwrappedPhase:
            return 45.0;
    }
    return 1.0;
}

QString VNATraceScaleCouplingToStr(VNATraceScaleCoupling coupling)
{
    switch (coupling)
    {
        case ScaleCouplingOff:
            return Tr("Off");
        case ScaleCouplingPlot:
            return Tr("Plot");
        case ScaleCouplingAll:
            return Tr("All");
    }
    return QString();
}

QString traceScaleCouplingToText(VNATraceScaleCoupling coupling)
{
    switch (coupling)
    {
        case ScaleCouplingOff:
            return QStringLiteral("off");
        case ScaleCouplingPlot:
            return QStringLiteral("plot");
        case ScaleCouplingAll:
            return QStringLiteral("all");
    }
    return QStringLiteral("Unknown trace scale coupling");
}

double ToLogMag(std::complex<double> v)
{
    const double re = v.real(), im = v.imag();
    const double p = re * re + im * im;
    if (p >= std::numeric_limits<double>::min())
    {
        // 10 / ln 10 times the natural log: the same level, at a fraction of log10's cost.
        return 4.342944819032518 * std::log(p);
    }
    if (re == 0.0 && im == 0.0)
    {
        return -200.0;
    }
    // The squares underflow for tiny values; the magnitude itself still has a level.
    return 20.0 * std::log10(std::hypot(re, im));
}

double Phase(std::complex<double> v)
{
    return std::atan2(v.imag(), v.real());
}

std::complex<double> GetCexp(double v)
{
    return {std::cos(v), std::sin(v)};
}

void ConvertLinMag(const QVector<std::complex<double>>& s, QVector<double>& out)
{
    out.resize(s.size());
    const std::complex<double>* src = s.constData();
    double* dst = out.data();
    for (int i = 0; i < s.size(); ++i)
    {
        dst[i] = std::sqrt(src[i].real() * src[i].real() + src[i].imag() * src[i].imag());
    }
}

void ConvertLinMag(const QVector<double>& re, const QVector<double>& im, QVector<double>& out)
{
    const int n = std::min(re.size(), im.size());
    out.resize(n);
    for (int i = 0; i < n; ++i)
    {
        out[i] = std::sqrt(re[i] * re[i] + im[i] * im[i]);
    }
}

void ConvertLogMagValid(const QVector<std::complex<double>>& s, QVector<double>& out)
{
    out.resize(s.size());
    const std::complex<double>* src = s.constData();
    double* dst = out.data();
    for (int i = 0; i < s.size(); ++i)
    {
        dst[i] = ToLogMag(src[i]);
    }
}

void ConvertLogMagValid(const QVector<double>& re, const QVector<double>& im, QVector<double>& out)
{
    const int n = std::min(re.size(), im.size());
    out.resize(n);
    for (int i = 0; i < n; ++i)
    {
        out[i] = ToLogMag({re[i], im[i]});
    }
}

void UnwrapPhaseInPlace(QVector<double>& p)
{
    double acc = 0.0;
    double* v = p.data();
    for (int i = 1; i < p.size(); ++i)
    {
        v[i] += acc;
        const double d = v[i] - v[i - 1];
        if (d < -M_PI)
        {
            acc += 2.0 * M_PI;
            v[i] += 2.0 * M_PI;
        }
        else if (d > M_PI)
        {
            acc -= 2.0 * M_PI;
            v[i] -= 2.0 * M_PI;
        }
    }
}

QVector<double> UnwrapPhase(const QVector<std::complex<double>>& s)
{
    QVector<double> p(s.size());
    for (int i = 0; i < s.size(); ++i)
    {
        p[i] = Phase(s[i]);
    }
    UnwrapPhaseInPlace(p);
    return p;
}

double MagToSWR(double a)
{
    double v = (1.0 - a != 0.0) ? (1.0 + a) / (1.0 - a) : 1000.0;
    if (v > 1000.0 || v < 0.0)
    {
        v = 1000.0;
    }
    return v;
}

void SParamToLinMag(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                    QVector<double>& outY)
{
    Prepare(s, outX, outY);
    CopyAbscissa(x, outX);
    ConvertLinMag(s, outY);
}

void SParamToLogMag(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                    QVector<double>& outY)
{
    Prepare(s, outX, outY);
    CopyAbscissa(x, outX);
    ConvertLogMagValid(s, outY);
}

void SParamToPhaseRad(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                      QVector<double>& outY)
{
    Prepare(s, outX, outY);
    CopyAbscissa(x, outX);
    const std::complex<double>* src = s.constData();
    double* dst = outY.data();
    for (int i = 0; i < s.size(); ++i)
    {
        dst[i] = Phase(src[i]);
    }
}

void SParamToPhaseDeg(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                      QVector<double>& outY)
{
    SParamToPhaseRad(x, s, outX, outY);
    double* dst = outY.data();
    for (int i = 0; i < outY.size(); ++i)
    {
        dst[i] = dst[i] * 180.0 / M_PI;
    }
}

void SParamToUnwrappedPhaseRad(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                               QVector<double>& outY)
{
    SParamToPhaseRad(x, s, outX, outY);
    UnwrapPhaseInPlace(outY);
}

void SParamToUnwrappedPhaseDeg(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                               QVector<double>& outY)
{
    SParamToUnwrappedPhaseRad(x, s, outX, outY);
    double* dst = outY.data();
    for (int i = 0; i < outY.size(); ++i)
    {
        dst[i] = dst[i] * 180.0 / M_PI;
    }
}

void SParamToSWR(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                 QVector<double>& outY)
{
    Prepare(s, outX, outY);
    CopyAbscissa(x, outX);
    ConvertLinMag(s, outY);
    double* dst = outY.data();
    for (int i = 0; i < outY.size(); ++i)
    {
        dst[i] = MagToSWR(dst[i]);
    }
}

void SParamToSmith(const QVector<double>&, const CplxData& s, QVector<double>& outX,
                   QVector<double>& outY)
{
    Prepare(s, outX, outY);
    for (int i = 0; i < s.size(); ++i)
    {
        outX[i] = s[i].real();
        outY[i] = s[i].imag();
    }
}

void SParamToReal(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                  QVector<double>& outY)
{
    Prepare(s, outX, outY);
    CopyAbscissa(x, outX);
    for (int i = 0; i < s.size(); ++i)
    {
        outY[i] = s[i].real();
    }
}

void SParamToImag(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                  QVector<double>& outY)
{
    Prepare(s, outX, outY);
    CopyAbscissa(x, outX);
    for (int i = 0; i < s.size(); ++i)
    {
        outY[i] = s[i].imag();
    }
}

void SParamToGroupDelay(const QVector<double>& x, const CplxData& s, QVector<double>& outX,
                        QVector<double>& outY, double step)
{
    SParamToUnwrappedPhaseDeg(x, s, outX, outY);
    const int n = outY.size();
    double* p = outY.data();
    if (n < 2)
    {
        // A delay needs two phases; a lone point has none to difference against.
        for (int i = 0; i < n; ++i)
        {
            p[i] = 0.0;
        }
        return;
    }
    for (int i = 0; i < n; ++i)
    {
        p[i] = p[i] * M_PI / 180.0;
    }
    // Backwards, so that p[i - 1] still holds a phase when it is read.
    for (int i = n - 1; i >= 1; --i)
    {
        p[i] = p[i - 1] - p[i];
    }
    p[0] = p[1];
    for (int i = 0; i < n; ++i)
    {
        p[i] = p[i] / (2.0 * M_PI) / step * 1e9;
    }
}

void SParamToFormat(VNATraceFormat format, const QVector<double>& x, const CplxData& s,
                    QVector<double>& outX, QVector<double>& outY, double step)
{
    switch (format)
    {
        case LinMag:
            SParamToLinMag(x, s, outX, outY);
            return;
        case LogMag:
            SParamToLogMag(x, s, outX, outY);
            return;
        case PhaseRad:
            SParamToPhaseRad(x, s, outX, outY);
            return;
        case PhaseDeg:
            SParamToPhaseDeg(x, s, outX, outY);
            return;
        case UnwrappedPhase:
            SParamToUnwrappedPhaseDeg(x, s, outX, outY);
            return;
        case SWR:
            SParamToSWR(x, s, outX, outY);
            return;
        case SmithRI:
        case SmithGB:
            SParamToSmith(x, s, outX, outY);
            return;
        case Real:
            SParamToReal(x, s, outX, outY);
            return;
        case Imag:
            SParamToImag(x, s, outX, outY);
            return;
        case GroupDelay:
            SParamToGroupDelay(x, s, outX, outY, step);
            return;
    }
    // An unknown format shows the magnitude in dB rather than stale values.
    SParamToLogMag(x, s, outX, outY);
}

QString GetMarkerPosString(double value, VNATraceFormat format)
{
    switch (format)
    {
        case LinMag:
        case SWR:
        case SmithRI:
        case Real:
        case Imag:
            return QString::asprintf("%.2f", value);
        case LogMag:
            return QString::asprintf("%.2f", value) + QStringLiteral("dB");
        case PhaseRad:
            return QString::asprintf("%.3f", value) + QStringLiteral("rad");
        case PhaseDeg:
        case UnwrappedPhase:
            return QString::asprintf("%.2f", value) + kDegree;
        case GroupDelay:
            return QString::asprintf("%.3f", value) + QStringLiteral("ns");
        default:
            return QString::asprintf("%.2f", value);
    }
}

QString GetOhmString(double v)
{
    const double a = std::fabs(v);
    QString s;
    if (a > 1.0)
    {
        s = QString::asprintf("%.2f ", a);
    }
    else if (a > 0.001)
    {
        s = QString::asprintf("%.2f m", a * 1000.0);
    }
    else
    {
        s = QString::asprintf("%.2f u", a * 1e6);
    }
    s += kOmega;
    return v < 0.0 ? QStringLiteral("-") + s : s;
}

QString GetSiemensString(double v)
{
    const double a = std::fabs(v);
    QString s;
    if (a > 1.0)
    {
        s = QString::asprintf("%.2f S", a);
    }
    else if (a > 0.001)
    {
        s = QString::asprintf("%.2f mS", a * 1000.0);
    }
    else
    {
        s = QString::asprintf("%.2f uS", a * 1e6);
    }
    return v < 0.0 ? QStringLiteral("-") + s : s;
}

QString GetCapacitanceString(double v)
{
    const double a = std::fabs(v);
    if (a > 1.0)
    {
        return QString::asprintf("%.2f F", a);
    }
    if (a > 0.001)
    {
        return QString::asprintf("%.2f mF", a * 1e3);
    }
    if (a > 1e-6)
    {
        return QString::asprintf("%.2f uF", a * 1e6);
    }
    if (a > 1e-9)
    {
        return QString::asprintf("%.2f nF", a * 1e9);
    }
    if (a > 1e-12)
    {
        return QString::asprintf("%.2f pF", a * 1e12);
    }
    return QString::asprintf("%.2f fF", a * 1e15);
}

QString GetSmithPosString(double re, double im, double freq, VNATraceFormat format)
{
    const double z0 = gSystemZ0;
    const double d = (1.0 - re) * (1.0 - re) + im * im;
    const double r = (1.0 - re * re - im * im) * z0 / d;
    const double x = z0 * 2.0 * im / d;
    const double w = 2.0 * M_PI * freq;
    const QString sep = QStringLiteral(", ");
    if (format == SmithRI)
    {
        // The third reading is always a capacitance, also for an inductive point.
        return GetOhmString(r) + sep + GetOhmString(x) + sep + GetCapacitanceString(1.0 / (w * x));
    }
    const double m = r * r + x * x;
    const double g = r / m;
    const double b = -x / m;
    return GetSiemensString(g) + sep + GetSiemensString(b) + sep + GetCapacitanceString(b / w);
}
