// Instrument state files: the model's part of the whole-instrument record, in file order. The
// window writes the plot slots and the layout between the channels and the traces, so the file is
// written and read in pieces; each piece is widget-free, so tests, benchmarks and the fuzz
// harness reach it without a window.
#pragma once

#include <QString>
#include <QStringList>

class ApplicationSettings;
class VNAModel;

namespace state
{
constexpr int kFileVersion = 1;

// The version the file claims; -1 when it has none.
int FileVersion(const ApplicationSettings& s);

// From PresetFileVersion to ActiveChannelIndex. Loading clamps indices and enumerations into
// their ranges; the caller holds the loop stopped.
void SaveHeader(ApplicationSettings& s, const VNAModel& model);
void LoadHeader(ApplicationSettings& s, VNAModel& model);

// The Channels array. Loading reads as many entries as the file holds and the model has.
void SaveChannels(ApplicationSettings& s, const VNAModel& model);
void LoadChannels(ApplicationSettings& s, VNAModel& model);

// The Plots array: one title per slot, a null string for a slot without a plot.
void SavePlotSlots(ApplicationSettings& s, const QStringList& titles);
// The slots the file names (32 null strings when the array is missing or its count is out of
// range).
QStringList LoadPlotSlots(ApplicationSettings& s);

// From ActiveTraceIndex to the fan keys: the trace list with its holes, the mapper and the
// output generator. Loading replaces the trace list under the trace lock; traces naming a
// channel or plot that cannot exist are moved into range.
void SaveTraces(ApplicationSettings& s, VNAModel& model);
void LoadTraces(ApplicationSettings& s, VNAModel& model);

// The output generator's group; the dialog clamps what it reads when it shows it.
void SaveOutputGenerator(ApplicationSettings& s, const VNAModel& model);
void LoadOutputGenerator(ApplicationSettings& s, VNAModel& model);

// Everything but the plots, for callers without a window: LoadModel returns false (the model
// untouched) on an unsupported version.
void SaveModel(ApplicationSettings& s, VNAModel& model);
bool LoadModel(ApplicationSettings& s, VNAModel& model);
}  // namespace state
