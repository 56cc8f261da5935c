// Segment sweeps: the checks a segment table passes before a channel takes it, how the channel's
// stimulus follows the table, and the table's CSV file.
#pragma once

#include <QString>
#include <QVector>

#include "vna_stimulus.h"

// Puts the segments in rising order of their start frequency (stable for equal starts).
void SortSweepSegments(QVector<VNASweepSegment>& segments);

// True when the table can be swept: at least one segment, every segment with at least one point,
// inside the instrument's range, rising within itself, no two sharing a frequency (checked in
// list order, so sort first), and no more points in all than one sweep takes. Otherwise false
// with the first fault, naming the segment (counted from 1).
bool CheckSweepSegments(const QVector<VNASweepSegment>& segments, QString& error);

// Makes the stimulus a segment sweep over the table. The instrument is still programmed with
// start, stop and points, so these become the table's lowest start, highest stop and total
// points; center and span follow.
void ApplySweepSegments(VNAStimulus& stimulus, const QVector<VNASweepSegment>& segments);

// The table an editor starts from: the channel's own segments, or one segment covering its
// linear sweep when it has none.
QVector<VNASweepSegment> InitialSweepSegments(const VNAStimulus& stimulus);

// The table file; false with the reason in error, and the table left alone on a failed load.
bool SaveSweepSegments(const QString& path, const QVector<VNASweepSegment>& segments,
                       QString& error);
bool LoadSweepSegments(const QString& path, QVector<VNASweepSegment>& segments, QString& error);
