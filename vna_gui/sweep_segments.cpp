#include "sweep_segments.h"

#include <QCoreApplication>
#include <algorithm>

#include "kx_csv.h"

namespace
{
QString Tr(const char* text)
{
    return QCoreApplication::translate("SweepSegments", text);
}

constexpr int kHeaderRows = 3;
const char* const kFileType = "SweepSegmentTable";

// The fault of one segment on its own, or an empty text.
QString SegmentFault(const VNASweepSegment& s)
{
    using namespace StimulusLimits;
    if (s.points < 1)
    {
        return Tr("it is empty: a segment needs at least one point.");
    }
    if (s.start < kMinFreq || s.stop > kMaxFreq)
    {
        return Tr("it leaves the instrument's range of 40 MHz to 40 GHz.");
    }
    if (s.stop < s.start)
    {
        return Tr("its stop frequency lies below its start.");
    }
    if (s.points > 1 && s.stop == s.start)
    {
        return Tr("it repeats one frequency: with more than one point its stop must lie above "
                  "its start.");
    }
    return QString();
}
}  // namespace

void SortSweepSegments(QVector<VNASweepSegment>& segments)
{
    std::stable_sort(segments.begin(), segments.end(),
                     [](const VNASweepSegment& a, const VNASweepSegment& b)
                     { return a.start < b.start; });
}

bool CheckSweepSegments(const QVector<VNASweepSegment>& segments, QString& error)
{
    if (segments.isEmpty())
    {
        error = Tr("The table has no segments: a segment sweep needs at least one.");
        return false;
    }
    qint64 total = 0;
    for (int i = 0; i < segments.size(); ++i)
    {
        const QString fault = SegmentFault(segments[i]);
        if (!fault.isEmpty())
        {
            error = Tr("Segment %1: %2").arg(i + 1).arg(fault);
            return false;
        }
        if (i > 0 && segments[i].start <= segments[i - 1].stop)
        {
            error = Tr("Segments %1 and %2 overlap: each segment must start above the stop "
                       "frequency of the one before it.")
                        .arg(i)
                        .arg(i + 1);
            return false;
        }
        total += segments[i].points;
    }
    if (total > StimulusLimits::kMaxPoints)
    {
        error = Tr("The segments hold %1 points in all; one sweep takes at most %2.")
                    .arg(total)
                    .arg(StimulusLimits::kMaxPoints);
        return false;
    }
    return true;
}

void ApplySweepSegments(VNAStimulus& stimulus, const QVector<VNASweepSegment>& segments)
{
    if (segments.isEmpty())
    {
        return;
    }
    double lo = segments.first().start;
    double hi = segments.first().stop;
    int total = 0;
    for (const VNASweepSegment& s : segments)
    {
        lo = std::min(lo, s.start);
        hi = std::max(hi, s.stop);
        total += s.points;
    }
    stimulus.type = SweepSegment;
    stimulus.segments = segments;
    stimulus.start = lo;
    stimulus.stop = hi;
    stimulus.points = total;
    stimulus.center = (lo + hi) / 2.0;
    stimulus.span = hi - lo;
}

QVector<VNASweepSegment> InitialSweepSegments(const VNAStimulus& stimulus)
{
    if (!stimulus.segments.isEmpty())
    {
        return stimulus.segments;
    }
    return {VNASweepSegment{stimulus.start, stimulus.stop, stimulus.points}};
}

bool SaveSweepSegments(const QString& path, const QVector<VNASweepSegment>& segments,
                       QString& error)
{
    KXCsv csv;
    csv.SetValue(0, 0, QStringLiteral("FileType"));
    csv.SetValue(0, 1, QString::fromLatin1(kFileType));
    csv.SetValue(1, 0, QStringLiteral("Version"));
    csv.SetValue(1, 1, 1);
    csv.SetValue(2, 0, QStringLiteral("StartFreq"));
    csv.SetValue(2, 1, QStringLiteral("StopFreq"));
    csv.SetValue(2, 2, QStringLiteral("Points"));
    for (int i = 0; i < segments.size(); ++i)
    {
        csv.SetValue(kHeaderRows + i, 0, segments[i].start);
        csv.SetValue(kHeaderRows + i, 1, segments[i].stop);
        csv.SetValue(kHeaderRows + i, 2, segments[i].points);
    }
    if (!csv.Write(path))
    {
        error = Tr("Unable to write file.");
        return false;
    }
    return true;
}

bool LoadSweepSegments(const QString& path, QVector<VNASweepSegment>& segments, QString& error)
{
    KXCsv csv;
    if (!csv.Read(path))
    {
        error = Tr("Unable to read file.");
        return false;
    }
    if (csv.GetValue(0, 1).toString().trimmed() != QLatin1String(kFileType) ||
        csv.GetValue(1, 1).toString().trimmed() != QLatin1String("1"))
    {
        error = Tr("Invalid file type: not a sweep segment table.");
        return false;
    }
    QVector<VNASweepSegment> loaded;
    for (int row = kHeaderRows; row < csv.Rows(); ++row)
    {
        bool okStart = false, okStop = false, okPoints = false;
        VNASweepSegment s;
        s.start = csv.GetValue(row, 0).toString().trimmed().toDouble(&okStart);
        s.stop = csv.GetValue(row, 1).toString().trimmed().toDouble(&okStop);
        s.points = csv.GetValue(row, 2).toString().trimmed().toInt(&okPoints);
        if (!okStart || !okStop || !okPoints)
        {
            error = Tr("Line %1 does not hold a start, a stop and a number of points.").arg(row + 1);
            return false;
        }
        loaded.append(s);
    }
    segments = loaded;
    return true;
}
