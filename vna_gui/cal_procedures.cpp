#include "cal_procedures.h"

#include <QCoreApplication>
#include <cmath>

#include "frequency.h"

namespace
{
const char* const kParamNames[4] = {"S11", "S21", "S12", "S22"};
}  // namespace

int AddMeasuredStandard(VNACalKit& kit, const StandardCharacterization& request,
                        const QVector<double>& freqs, const SParameters& corrected)
{
    const int id = kit.GetNextID();
    if (id < 0 || freqs.isEmpty() || corrected.Size() != freqs.size())
    {
        return -1;
    }
    CalKitStandardInfo s;
    s.ID = id;
    s.Type = VNAStdData;
    s.Description = request.description;
    s.Gender = request.gender;
    s.FMin = freqs.first();
    s.FMax = freqs.last();
    s.DataFreqs = freqs;
    s.DataReflectOnly = request.port != 2;
    const CplxVector zeros(freqs.size(), 0.0);
    if (s.DataReflectOnly)
    {
        // Every reflect role reads DataS11, whichever port the standard serves.
        s.DataS11 = request.port == 1 ? corrected.S22 : corrected.S11;
        s.DataS21 = s.DataS12 = s.DataS22 = zeros;
    }
    else
    {
        s.DataS11 = corrected.S11;
        s.DataS21 = corrected.S21;
        s.DataS12 = corrected.S12;
        s.DataS22 = corrected.S22;
    }
    kit.Standards.append(s);
    kit.PutStandardInClass(id, request.cls);
    return id;
}

bool VerificationReport::Passed() const
{
    bool any = false;
    for (const VerificationParameter& p : params)
    {
        if (p.compared && !p.pass)
        {
            return false;
        }
        any = any || p.compared;
    }
    return any;
}

QString VerificationReport::Text() const
{
    QStringList lines;
    lines.append(QCoreApplication::translate("VerificationReport",
                                             "Tolerance: vector difference at most %1 (%2 dB)")
                     .arg(tolerance, 0, 'g', 4)
                     .arg(20.0 * std::log10(tolerance), 0, 'f', 1));
    for (int k = 0; k < 4; ++k)
    {
        const VerificationParameter& p = params[k];
        if (!p.compared)
        {
            lines.append(QCoreApplication::translate("VerificationReport", "%1: not compared")
                             .arg(QLatin1String(kParamNames[k])));
            continue;
        }
        lines.append(
            QCoreApplication::translate("VerificationReport",
                                        "%1: %2, worst difference %3 (%4 dB) at %5 over %6 points")
                .arg(QLatin1String(kParamNames[k]))
                .arg(p.pass ? QStringLiteral("PASS") : QStringLiteral("FAIL"))
                .arg(p.worst, 0, 'g', 3)
                .arg(20.0 * std::log10(std::max(p.worst, 1e-300)), 0, 'f', 1)
                .arg(Frequency(p.worstFreq).GetFreqString())
                .arg(p.points));
    }
    return lines.join(QLatin1Char('\n'));
}

VerificationReport VerifyMeasurement(const QVector<double>& freqs, const SParameters& measured,
                                     const QVector<double>& refFreqs,
                                     const SParameters& reference, bool isS1P, double tolerance)
{
    VerificationReport report;
    report.tolerance = tolerance;
    if (refFreqs.isEmpty() || reference.Size() != refFreqs.size() ||
        measured.Size() != freqs.size())
    {
        return report;
    }
    const int params = isS1P ? 1 : 4;
    for (int k = 0; k < params; ++k)
    {
        VerificationParameter& p = report.params[k];
        const CplxVector& m = measured.GetSParam(VNATraceMeas(k));
        const CplxVector& r = reference.GetSParam(VNATraceMeas(k));
        for (int i = 0; i < freqs.size(); ++i)
        {
            const double f = freqs[i];
            if (f < refFreqs.first() || f > refFreqs.last())
            {
                continue;
            }
            const double d = std::abs(m[i] - InterpolateArray(refFreqs, r, f));
            // A difference that is not a number fails: it is never below the tolerance.
            if (p.points == 0 || !(d <= p.worst))
            {
                p.worst = std::isnan(d) ? INFINITY : d;
                p.worstFreq = f;
            }
            ++p.points;
        }
        p.compared = p.points > 0;
        p.pass = p.compared && p.worst <= tolerance;
    }
    return report;
}
