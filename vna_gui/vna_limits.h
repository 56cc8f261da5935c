// Limit and ripple tests of a trace: the verdicts over a finished trace, the range tables' CSV
// files, and the remote data forms that set them.
#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

#include "vna_trace.h"

QString VNALimitTypeToString(VNALimitType type);
// "min" and "max" in any case; anything else is Off.
VNALimitType StringToVNALimitType(const QString& text);
QString VNARippleLimitTypeToString(VNARippleLimitType type);
// "absolute" and "margin" in any case; anything else is Off.
VNARippleLimitType StringToVNARippleLimitType(const QString& text);

// The line of r at abscissa x, for x within the range. The fraction along the range is narrowed
// to single precision and so is its complement: verdicts are defined on that narrowing. A range
// of zero width gives NaN, against which every point passes.
double LimitLineValue(const VNALimitRange& r, double x);

// Both ends belong to the range; a point on the line passes, and so does any point outside the
// range or compared with NaN.
bool LimitPointPasses(const VNALimitRange& r, double x, double y);

// Verdict of the first n = min(x, y) points against every range that is not Off. Overlapping
// ranges all apply.
bool EvaluateLimitRanges(const QVector<VNALimitRange>& ranges, const QVector<double>& x,
                         const QVector<double>& y);

// Fills meas (resized to ranges) and gives the overall verdict. A window is the first run of
// points inside a range; the last point of the trace only closes a window, never joins it. A
// window that never opens leaves its min and max as they were and passes.
bool EvaluateRippleRanges(const QVector<VNARippleLimitRange>& ranges, QVector<VNARippleMeas>& meas,
                          const QVector<double>& x, const QVector<double>& y);

// Table files. Saving refuses an empty table with "No ranges configured, cancelling." (a warning:
// check before asking for a name). Loading refuses with "Unable to read file." or "Invalid file
// type." and leaves ranges untouched.
bool SaveLimitTable(const QString& path, const QVector<VNALimitRange>& ranges, QString& error);
bool LoadLimitTable(const QString& path, QVector<VNALimitRange>& ranges, QString& error);
bool SaveRippleTable(const QString& path, const QVector<VNARippleLimitRange>& ranges,
                     QString& error);
bool LoadRippleTable(const QString& path, QVector<VNARippleLimitRange>& ranges, QString& error);

// Remote data forms: groups of type, start x, stop x, start y, stop y (limit) or type, start x,
// stop x, limit (ripple). Unparsable numbers read as 0. A count that is not a whole number of
// groups fills error and leaves ranges untouched; no parameters give an empty table.
bool LimitRangesFromParams(const QStringList& params, QVector<VNALimitRange>& ranges,
                           QString& error);
bool RippleRangesFromParams(const QStringList& params, QVector<VNARippleLimitRange>& ranges,
                            QString& error);

// Rate limit of the fail sound on a monotonic clock in ms: due when none has sounded yet
// (lastMs < 0) or intervalMs have passed since lastMs, which then becomes nowMs.
bool LimitSoundDue(qint64& lastMs, qint64 nowMs, qint64 intervalMs);
