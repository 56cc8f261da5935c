#include "vna_limits.h"

#include <QCoreApplication>
#include <QMutexLocker>
#include <algorithm>
#include <array>
#include <cmath>

#include "error_log.h"
#include "kx_csv.h"
#include "scpi_parameters.h"
#include "signal_ops.h"

namespace
{
QString Tr(const char* text)
{
    return QCoreApplication::translate("LimitTables", text);
}

constexpr int kHeaderRows = 3;

// x never decreases and holds no NaN: every range then covers one run of indices, found by
// bisection instead of a scan of the whole trace per range.
bool IsAscending(const double* x, int n)
{
    if (n == 1)
    {
        return !std::isnan(x[0]);
    }
    for (int i = 0; i + 1 < n; ++i)
    {
        if (!(x[i] <= x[i + 1]))
        {
            return false;
        }
    }
    return true;
}

// Indices [i0, i1) with start <= x <= stop, for ascending x. A NaN bound widens the run rather
// than emptying it, so callers either rule NaN bounds out or check each point again.
void AscendingRun(const double* x, int n, double start, double stop, int& i0, int& i1)
{
    i0 = int(std::lower_bound(x, x + n, start) - x);
    i1 = std::max(i0, int(std::upper_bound(x, x + n, stop) - x));
}

inline double LineAt(const VNALimitRange& r, double x, double span)
{
    const float t = float((x - r.startFreq) / span);
    if (t == 0.0f)
    {
        return r.startOffset;
    }
    if (t == 1.0f)
    {
        return r.stopOffset;
    }
    return double(1.0f - t) * r.startOffset + double(t) * r.stopOffset;
}

// Whether any point of [i0, i1) inside the range is on the wrong side of its line. The range
// check stays in the loop, so the same kernel serves a bisected run and a whole unordered trace.
bool RangeFails(const VNALimitRange& r, const double* x, const double* y, int i0, int i1)
{
    const double span = r.stopFreq - r.startFreq;
    const bool isMin = r.type == LimitMin;
    bool fail = false;
    for (int i = i0; i < i1; ++i)
    {
        const bool inside = x[i] >= r.startFreq && x[i] <= r.stopFreq;
        const double l = LineAt(r, x[i], span);
        fail |= inside & (isMin ? l > y[i] : y[i] > l);
    }
    return fail;
}

// The window of a ripple range: the first run of points inside it, the last point excluded.
// Empty (i0 == i1) when it never opens.
void RippleWindow(const VNARippleLimitRange& r, const double* x, int n, bool ascending, int& i0,
                  int& i1)
{
    i0 = i1 = 0;
    if (n < 2 || std::isnan(r.startFreq) || std::isnan(r.stopFreq))
    {
        return;
    }
    if (ascending)
    {
        AscendingRun(x, n, r.startFreq, r.stopFreq, i0, i1);
        i1 = std::max(i0, std::min(i1, n - 1));
        return;
    }
    const auto inside = [&](int i) { return x[i] >= r.startFreq && x[i] <= r.stopFreq; };
    i0 = 0;
    while (i0 < n - 1 && !inside(i0))
    {
        ++i0;
    }
    i1 = i0;
    while (i1 < n - 1 && inside(i1))
    {
        ++i1;
    }
}

double CellDouble(const KXCsv& csv, int row, int column)
{
    bool ok = false;
    const double v = csv.GetValue(row, column).toString().trimmed().toDouble(&ok);
    return ok ? v : 0.0;
}

// Remote numbers are taken as they come: text that does not parse reads as 0.
int ParamInt(const QString& text)
{
    bool ok = false;
    const int v = scpiParameterToInt(text, ok);
    return ok ? v : 0;
}

double ParamDouble(const QString& text)
{
    bool ok = false;
    const double v = scpiParameterToDouble(text, ok);
    return ok ? v : 0.0;
}

// What tells the two kinds of table apart: file type, column names, the type's texts, and the
// numbers that follow the type in a row of the file or a group of remote parameters.
template <typename R>
struct RangeFormat;

template <>
struct RangeFormat<VNALimitRange>
{
    using Type = VNALimitType;
    static constexpr int kNumbers = 4;
    static const char* FileType() { return "LimitLineRangeTable"; }
    static QStringList Columns()
    {
        return {QStringLiteral("Type"), QStringLiteral("StartFreq"), QStringLiteral("StopFreq"),
                QStringLiteral("StartOffset"), QStringLiteral("StopOffset")};
    }
    static QString TypeText(Type t) { return VNALimitTypeToString(t); }
    static Type TypeFromText(const QString& text) { return StringToVNALimitType(text); }
    static std::array<double, kNumbers> Numbers(const VNALimitRange& r)
    {
        return {r.startFreq, r.stopFreq, r.startOffset, r.stopOffset};
    }
    static VNALimitRange Make(Type t, const std::array<double, kNumbers>& v)
    {
        return {t, v[0], v[1], v[2], v[3]};
    }
};

template <>
struct RangeFormat<VNARippleLimitRange>
{
    using Type = VNARippleLimitType;
    static constexpr int kNumbers = 3;
    static const char* FileType() { return "RippleLimitLineRangeTable"; }
    static QStringList Columns()
    {
        return {QStringLiteral("Type"), QStringLiteral("StartFreq"), QStringLiteral("StopFreq"),
                QStringLiteral("MaxRipple")};
    }
    static QString TypeText(Type t) { return VNARippleLimitTypeToString(t); }
    static Type TypeFromText(const QString& text) { return StringToVNARippleLimitType(text); }
    static std::array<double, kNumbers> Numbers(const VNARippleLimitRange& r)
    {
        return {r.startFreq, r.stopFreq, r.maxRipple};
    }
    static VNARippleLimitRange Make(Type t, const std::array<double, kNumbers>& v)
    {
        return {t, v[0], v[1], v[2]};
    }
};

template <typename R>
bool SaveTable(const QString& path, const QVector<R>& ranges, QString& error)
{
    using F = RangeFormat<R>;
    if (ranges.isEmpty())
    {
        error = Tr("No ranges configured, cancelling.");
        return false;
    }
    KXCsv csv;
    csv.SetValue(0, 0, QStringLiteral("FileType"));
    csv.SetValue(0, 1, QString::fromLatin1(F::FileType()));
    csv.SetValue(1, 0, QStringLiteral("Version"));
    csv.SetValue(1, 1, 1);
    const QStringList columns = F::Columns();
    for (int c = 0; c < columns.size(); ++c)
    {
        csv.SetValue(2, c, columns[c]);
    }
    for (int i = 0; i < ranges.size(); ++i)
    {
        const int row = kHeaderRows + i;
        csv.SetValue(row, 0, F::TypeText(ranges[i].type));
        const auto numbers = F::Numbers(ranges[i]);
        for (int c = 0; c < F::kNumbers; ++c)
        {
            csv.SetValue(row, 1 + c, numbers[c]);
        }
    }
    if (!csv.Write(path))
    {
        error = Tr("Unable to write file.");
        return false;
    }
    return true;
}

template <typename R>
bool LoadTable(const QString& path, QVector<R>& ranges, QString& error)
{
    using F = RangeFormat<R>;
    KXCsv csv;
    if (!csv.Read(path))
    {
        error = Tr("Unable to read file.");
        return false;
    }
    bool versionOk = false;
    const int version = csv.GetValue(1, 1).toString().trimmed().toInt(&versionOk);
    if (csv.GetValue(0, 1).toString() != QLatin1String(F::FileType()) || !versionOk ||
        version != 1 || csv.Rows() - kHeaderRows < 1)
    {
        error = Tr("Invalid file type.");
        return false;
    }
    QVector<R> loaded(csv.Rows() - kHeaderRows);
    for (int i = 0; i < loaded.size(); ++i)
    {
        const int row = kHeaderRows + i;
        std::array<double, F::kNumbers> numbers;
        for (int c = 0; c < F::kNumbers; ++c)
        {
            numbers[c] = CellDouble(csv, row, 1 + c);
        }
        // An unknown type text reads as Off.
        loaded[i] = F::Make(F::TypeFromText(csv.GetValue(row, 0).toString()), numbers);
    }
    ranges = loaded;
    return true;
}

template <typename R>
bool RangesFromParams(const QStringList& params, QVector<R>& ranges, QString& error)
{
    using F = RangeFormat<R>;
    constexpr int group = 1 + F::kNumbers;
    if (params.size() % group != 0)
    {
        error = Tr("Invalid number of parameters, should be multiple of %1").arg(group);
        return false;
    }
    ranges.resize(params.size() / group);
    for (int i = 0; i < ranges.size(); ++i)
    {
        const int p = group * i;
        std::array<double, F::kNumbers> numbers;
        for (int c = 0; c < F::kNumbers; ++c)
        {
            numbers[c] = ParamDouble(params[p + 1 + c]);
        }
        // The type is stored as sent: a number outside the enumeration judges nothing.
        ranges[i] = F::Make(typename F::Type(ParamInt(params[p])), numbers);
    }
    return true;
}
}  // namespace

// --- type texts ------------------------------------------------------------------------------

QString VNALimitTypeToString(VNALimitType type)
{
    switch (type)
    {
        case LimitMin:
            return Tr("Min");
        case LimitMax:
            return Tr("Max");
        case LimitOff:
            break;
    }
    return Tr("Off");
}

VNALimitType StringToVNALimitType(const QString& text)
{
    const QString t = text.toLower();
    if (t == QLatin1String("min"))
    {
        return LimitMin;
    }
    return t == QLatin1String("max") ? LimitMax : LimitOff;
}

QString VNARippleLimitTypeToString(VNARippleLimitType type)
{
    switch (type)
    {
        case RippleAbsolute:
            return Tr("Absolute");
        case RippleMargin:
            return Tr("Margin");
        case RippleOff:
            break;
    }
    return Tr("Off");
}

VNARippleLimitType StringToVNARippleLimitType(const QString& text)
{
    const QString t = text.toLower();
    if (t == QLatin1String("absolute"))
    {
        return RippleAbsolute;
    }
    return t == QLatin1String("margin") ? RippleMargin : RippleOff;
}

// --- verdicts --------------------------------------------------------------------------------

double LimitLineValue(const VNALimitRange& r, double x)
{
    return LineAt(r, x, r.stopFreq - r.startFreq);
}

bool LimitPointPasses(const VNALimitRange& r, double x, double y)
{
    if (r.type != LimitMin && r.type != LimitMax)
    {
        return true;
    }
    return !RangeFails(r, &x, &y, 0, 1);
}

bool EvaluateLimitRanges(const QVector<VNALimitRange>& ranges, const QVector<double>& x,
                         const QVector<double>& y)
{
    const int n = std::min(x.size(), y.size());
    const double* px = x.constData();
    const double* py = y.constData();
    const bool ascending = n > 0 && IsAscending(px, n);
    bool pass = true;
    for (const VNALimitRange& r : ranges)
    {
        // Only Min and Max judge; Off and numbers outside the enumeration are ignored.
        if (r.type != LimitMin && r.type != LimitMax)
        {
            continue;
        }
        int i0 = 0, i1 = n;
        if (ascending)
        {
            AscendingRun(px, n, r.startFreq, r.stopFreq, i0, i1);
        }
        if (RangeFails(r, px, py, i0, i1))
        {
            pass = false;
        }
    }
    return pass;
}

bool EvaluateRippleRanges(const QVector<VNARippleLimitRange>& ranges, QVector<VNARippleMeas>& meas,
                          const QVector<double>& x, const QVector<double>& y)
{
    meas.resize(ranges.size());
    const int n = std::min(x.size(), y.size());
    const bool ascending = n > 0 && IsAscending(x.constData(), n);
    bool pass = true;
    for (int k = 0; k < ranges.size(); ++k)
    {
        const VNARippleLimitRange& r = ranges[k];
        if (r.type == RippleOff)
        {
            continue;
        }
        VNARippleMeas& m = meas[k];
        m.pass = true;
        int i0 = 0, i1 = 0;
        RippleWindow(r, x.constData(), n, ascending, i0, i1);
        if (i0 == i1)
        {
            continue;
        }
        sig::MinMax(y.constData() + i0, i1 - i0, m.min, m.max);
        // Equal to the limit passes.
        if (m.max - m.min > r.maxRipple)
        {
            m.pass = false;
            pass = false;
        }
    }
    return pass;
}

// --- table files and remote forms ----------------------------------------------------------

bool SaveLimitTable(const QString& path, const QVector<VNALimitRange>& ranges, QString& error)
{
    return SaveTable(path, ranges, error);
}

bool LoadLimitTable(const QString& path, QVector<VNALimitRange>& ranges, QString& error)
{
    return LoadTable(path, ranges, error);
}

bool SaveRippleTable(const QString& path, const QVector<VNARippleLimitRange>& ranges,
                     QString& error)
{
    return SaveTable(path, ranges, error);
}

bool LoadRippleTable(const QString& path, QVector<VNARippleLimitRange>& ranges, QString& error)
{
    return LoadTable(path, ranges, error);
}

bool LimitRangesFromParams(const QStringList& params, QVector<VNALimitRange>& ranges,
                           QString& error)
{
    return RangesFromParams(params, ranges, error);
}

bool RippleRangesFromParams(const QStringList& params, QVector<VNARippleLimitRange>& ranges,
                            QString& error)
{
    return RangesFromParams(params, ranges, error);
}

// --- the trace's tables ----------------------------------------------------------------------

QVector<VNALimitRange> VNATrace::GetLimitRanges() const
{
    QMutexLocker lock(&limitLock.mutex);
    return limitRanges;
}

void VNATrace::SetLimitRanges(const QVector<VNALimitRange>& ranges)
{
    QMutexLocker lock(&limitLock.mutex);
    limitRanges = ranges;
}

QVector<VNARippleLimitRange> VNATrace::GetRippleRanges() const
{
    QMutexLocker lock(&rippleLock.mutex);
    return rippleRanges;
}

void VNATrace::SetRippleRanges(const QVector<VNARippleLimitRange>& ranges)
{
    QMutexLocker lock(&rippleLock.mutex);
    rippleRanges = ranges;
    rippleMeas.resize(rippleRanges.size());
}

QVector<VNARippleMeas> VNATrace::GetRippleMeas() const
{
    QMutexLocker lock(&rippleLock.mutex);
    return rippleMeas;
}

bool VNATrace::SetLimitData(const QStringList& params)
{
    QVector<VNALimitRange> ranges;
    QString error;
    if (!LimitRangesFromParams(params, ranges, error))
    {
        SysErr::AddSystemError(InvalidParameter, error);
        return false;
    }
    SetLimitRanges(ranges);
    return true;
}

bool VNATrace::SetRippleData(const QStringList& params)
{
    QVector<VNARippleLimitRange> ranges;
    QString error;
    if (!RippleRangesFromParams(params, ranges, error))
    {
        SysErr::AddSystemError(InvalidParameter, error);
        return false;
    }
    SetRippleRanges(ranges);
    return true;
}

bool LimitSoundDue(qint64& lastMs, qint64 nowMs, qint64 intervalMs)
{
    if (lastMs >= 0 && nowMs - lastMs < intervalMs)
    {
        return false;
    }
    lastMs = nowMs;
    return true;
}
