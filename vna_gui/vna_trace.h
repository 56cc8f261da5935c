// One displayed curve: an S-parameter of a channel carried through the calculation chain into the
// two double vectors that plots, markers, tests and remote queries read.
#pragma once

#include <QMutex>
#include <QPointF>
#include <QString>
#include <QStringList>
#include <QVector>
#include <cstdint>

#include "network_parameters.h"
#include "trace_formats.h"

class ApplicationSettings;
class VNAChannel;
class VNAModel;
class VNAStimulus;

QString VNATraceMeasToStr(VNATraceMeas meas);
QString measToText(VNATraceMeas meas);
bool VNATraceIsPort1(VNATraceMeas meas);

// Stored as integers in files: never renumber.
enum VNATraceHold : int32_t
{
    HoldOff = 0,
    HoldMin = 1,
    HoldMax = 2
};
QString VNATraceHoldToStr(VNATraceHold hold);
QString traceHoldTypeToText(VNATraceHold hold);

// Stored as integers in files: never renumber.
enum VNATraceMathOp : int32_t
{
    MathOff = 0,
    MathDivide = 1,
    MathSubtract = 2,
    MathAdd = 3,
    MathMultiply = 4,
    MathData = 5
};
QString VNATraceMathToString(VNATraceMathOp op);
QString traceMathOpToText(VNATraceMathOp op);

// Combines live data d with memory m. False when the memory cannot be laid over the live sweep;
// d is then left as it was.
bool TraceMath(CplxVector& d, double start, double stop, const CplxVector& m, double memStart,
               double memStop, VNATraceMathOp op, bool interpolate);

// Min, max, mean and deviation of v[i0..i1]; false (outputs untouched) with fewer than 3 points.
bool TraceStatistics(const QVector<double>& v, int i0, int i1, double& min, double& max,
                     double& mean, double& stdDev);

// --- records owned by the trace and filled in by the marker, limit and transform stages -------

// Stored as integers in files: never renumber.
enum VNAMarkerTrackingFunction : int32_t
{
    MarkerTrackingOff = 0,
    MarkerTrackingPeak = 1
};
// Panel text; the remote words are in scpi_parameters.h.
QString VNAMarkerTrackingToStr(VNAMarkerTrackingFunction tracking);

// The marker searches the panel buttons and the remote execute command offer.
enum VNAMarkerFunction : int32_t
{
    MarkerFunctionPeak = 0,
    MarkerFunctionMinimum = 1,
    MarkerFunctionRight = 2,
    MarkerFunctionLeft = 3,
    MarkerFunctionNext = 4
};

// How a marker moved on one trace carries over to the markers of the same number on others.
enum MarkerCouplingMethod : int32_t
{
    MarkerCouplingOff = 0,
    MarkerCouplingChannel = 1,
    MarkerCouplingAll = 2
};
QString MarkerCouplingMethodToStr(MarkerCouplingMethod method);

struct VNAMarker
{
    bool enabled = false;
    int32_t index = 0;
    double f = 1e9;
    double t = 0.0;
    double x = 1e9;
    double y = 0.0;
    bool timeMarker = false;
    bool fixed = false;
    bool delta = false;
    double threshold = -100.0;
    double excursion = 3.0;
    VNAMarkerTrackingFunction tracking = MarkerTrackingOff;

    void SavePreset(ApplicationSettings& settings) const;
    void LoadPreset(ApplicationSettings& settings);
};

// The marker's reading: impedance or admittance in the Smith formats, its Y otherwise.
QString GetMarkerPosString(const VNAMarker& marker, VNATraceFormat format);

// A local maximum of a trace; orders by value alone.
struct Peak
{
    int index = 0;
    double value = 0.0;
    bool operator<(const Peak& other) const { return value < other.value; }
};

// Indices, ascending, of the points above threshold that stand at least excursion above the
// lowest point on each side before a higher point is met. The end points never qualify.
QVector<int> GetPeakList(const QVector<double>& y, double threshold, double excursion);
// The same peaks sorted by value, ascending; equal values keep ascending index.
QVector<Peak> GetSortedPeakList(const QVector<double>& y, double threshold, double excursion);
// Index of the smallest |v[i] - value|, lowest index on ties; ok false for an empty vector.
int GetClosestIndex(double value, const QVector<double>& v, bool& ok);

// Texts of the transformed axis in the marker readouts.
QString getTimeString(double seconds, int digits);
QString GetMetersString(double metres, int digits);
QString GetFootString(double metres, int digits);
QString GetInchesString(double metres, int digits);

enum VNALimitType : int32_t
{
    LimitOff = 0,
    LimitMin = 1,
    LimitMax = 2
};

struct VNALimitRange
{
    VNALimitType type = LimitMax;
    double startFreq = 0.0;
    double stopFreq = 40e9;
    double startOffset = 0.0;
    double stopOffset = 0.0;
};

enum VNARippleLimitType : int32_t
{
    RippleOff = 0,
    RippleAbsolute = 1,
    RippleMargin = 2
};

struct VNARippleLimitRange
{
    VNARippleLimitType type = RippleAbsolute;
    double startFreq = 0.0;
    double stopFreq = 40e9;
    double maxRipple = 0.0;
};

struct VNARippleMeas
{
    double min = 0.0;
    double max = 0.0;
    bool pass = false;
};

enum VNATransformType : int32_t
{
    TransformBandpass = 0,
    TransformLowpassStep = 1,
    TransformLowpassImpulse = 2
};
enum VNATransformWindow : int32_t
{
    WindowMinimum = 0,
    WindowNormal = 1,
    WindowMaximum = 2,
    WindowCustom = 3
};
enum VNATransformMarkerMode : int32_t
{
    MarkerModeAuto = 0,
    MarkerModeReflection = 1,
    MarkerModeTransmission = 2
};
enum VNATransformUnits : int32_t
{
    UnitsTime = 0,
    UnitsMeters = 1,
    UnitsFeet = 2,
    UnitsInches = 3
};

// Stored as integers in files: never renumber.
enum VNAGateType : int32_t
{
    GateBandpass = 0,
    GateNotch = 1
};
// Normal and wide give the same window; both values are kept for saved states and commands.
enum VNAGateShape : int32_t
{
    GateShapeMinimum = 0,
    GateShapeNormal = 1,
    GateShapeWide = 2,
    GateShapeMaximum = 3
};

struct VNATransformSettings
{
    VNATransformType type = TransformBandpass;
    VNATransformWindow window = WindowNormal;
    double beta = 6.0;
    VNATransformMarkerMode markerMode = MarkerModeAuto;
    VNATransformUnits units = UnitsTime;
    double velocityFactor = 1.0;
    bool autoScale = true;
    double start = -40e-9;
    double stop = 40e-9;
};

// One format's scale: the value at the reference line, the size of a division, and the reference
// line's position in divisions below the top of the ten-division graticule.
struct VNAScaleTriple
{
    double ref = 0.0;
    double div = 1.0;
    double refPos = 0.0;
};

struct VNATraceStats
{
    bool valid = false;
    double min = 0.0;
    double max = 0.0;
    double mean = 0.0;
    double stdDev = 0.0;
};

// A mutex that a copied trace gets fresh: traces are copied by value with their ranges, never
// with a lock's state.
struct TraceMutex
{
    TraceMutex() = default;
    TraceMutex(const TraceMutex&) {}
    TraceMutex& operator=(const TraceMutex&) { return *this; }
    mutable QMutex mutex;
};

// What one pass of the chain asks the model to tell the interface.
struct TraceCalcResult
{
    bool mathReset = false;
    bool transformScaleChanged = false;
};

class VNATrace
{
public:
    static constexpr int kMarkerCount = 16;
    static constexpr int kReferenceMarker = 15;

    VNATrace();

    void SetChannel(int c);
    void SetMeas(VNATraceMeas m);
    void SetHold(VNATraceHold h);
    void SetSmoothing(bool enabled);
    void HoldRestart() { holdRestart = true; }
    // Keeps the held curve: only the plot that shows it changes.
    void SetPlot(int p) { plot = p; }
    void SetFormat(VNATraceFormat f);

    // Hold logic: replaces or folds the new curve into the held one.
    void SetTrace(const QVector<double>& newX, const QVector<double>& newY);
    void SmoothTrace();
    void ClearMathMemory();
    VNATraceStats GetStatistics(const QVector<double>& freq) const;
    QString GetNameString() const;
    void Export(const QString& path) const;

    // Time transform and gate settings (time_domain_settings.cpp). A low-pass type that the
    // stimulus does not suit is refused: band-pass is stored and the result is false.
    bool SetTransformType(VNATransformType type, const VNAStimulus& stimulus);
    // Centre edits keep the span, span edits keep the centre.
    void SetTransformCenter(double t);
    void SetTransformSpan(double t);
    void SetGateCenter(double t);
    void SetGateSpan(double t);
    // Enabled flag, type, shape, start and stop: what gate coupling carries between traces.
    void CopyGateSettings(const VNATrace& from);

    // The scale triple of the current format. Never null; Real/Imag and the two Smith formats
    // share one triple each.
    double* ref() { return &ScaleFor(format).ref; }
    double* div() { return &ScaleFor(format).div; }
    double* refPos() { return &ScaleFor(format).refPos; }
    const double* ref() const { return &ScaleFor(format).ref; }
    const double* div() const { return &ScaleFor(format).div; }
    const double* refPos() const { return &ScaleFor(format).refPos; }
    VNAScaleTriple& ScaleFor(VNATraceFormat f);
    const VNAScaleTriple& ScaleFor(VNATraceFormat f) const;
    // Ignores an exact zero, which would collapse the graticule.
    void SetDiv(double d);
    QString GetRefDivString() const;
    void AutoScale();
    void LoadDefaultScale();

    void SavePreset(ApplicationSettings& settings) const;
    void LoadPreset(ApplicationSettings& settings);

    // --- markers (vna_markers.cpp) -------------------------------------------------------
    // Null outside 0..15. Marker 15 is the reference marker.
    VNAMarker* GetMarker(int i);
    const VNAMarker* GetMarker(int i) const;
    VNAMarker& GetReferenceMarker() { return markers[kReferenceMarker]; }
    const VNAMarker& GetReferenceMarker() const { return markers[kReferenceMarker]; }
    bool RefMarkerSelected() const { return activeMarker == kReferenceMarker; }
    // (x, y) of a point; ok false and zeros when the index or the trace is unusable.
    QPointF GetMarkerPos(int index, bool& ok) const;
    // The point nearest to pos, lowest index on ties; ok false when pos lies outside
    // x[0]..x[last].
    QPointF GetMarkerPos(double pos, int& index, bool& ok) const;
    QPointF GetMarkerPos(double pos, bool& ok) const;
    // The point under a fraction of the plot's width, which spans the displayed time range when
    // the transform is on.
    int GetMarkerIndex(double fraction, bool& ok) const;
    // (x, y) of the largest or smallest value, the first of equals; by magnitude in the Smith
    // formats.
    QPointF GetMarkerPeak(bool& ok, int& index) const;
    QPointF GetMarkerMin(bool& ok, int& index) const;
    // The lowest ordinary marker that is off, or -1: the reference marker is never handed out.
    int GetNextInactiveMarker() const;
    void DisableDeltaMarkers();
    void DisableAllMarkers();
    // Peak steps with the marker's own threshold and excursion; false when the marker stays.
    bool MarkerPeakLeft(int i);
    bool MarkerPeakRight(int i);
    bool MarkerPeakNext(int i);
    // Re-reads every enabled marker that is not fixed from x and y; tracking markers go to the
    // peak first.
    void UpdateMarkers();
    // Finds the peak and the two points bwSearchLimit below it (LogMag only).
    void PerformBandwidthSearch();
    double BandwidthSpan() const { return bwHighFreq - bwLowFreq; }
    double BandwidthCenter() const { return 0.5 * (bwHighFreq + bwLowFreq); }
    double BandwidthQ() const { return BandwidthCenter() / BandwidthSpan(); }
    // The lines of the bandwidth block; empty while the search is off.
    QStringList GetBandwidthReadout() const;
    // Metres that a time on the transformed axis stands for: velocity factor applied, halved
    // for a reflection.
    double GetMarkerDistance(double time) const;
    // Readout of marker i as the plot lists it: label, abscissa and value.
    QString GetMarkerReadout(int i) const;
    QString GetMarkerLabel(int i) const;
    QString GetMarkerXString(int i) const;
    QString GetMarkerValueString(int i) const;
    // Limit and ripple tables (vna_limits.cpp). Each call takes the table's own mutex, so editors
    // and remote commands may use them while the chain runs under the model's trace lock.
    QVector<VNALimitRange> GetLimitRanges() const;
    void SetLimitRanges(const QVector<VNALimitRange>& ranges);
    QVector<VNARippleLimitRange> GetRippleRanges() const;
    // Also sizes the per-range results to the new table.
    void SetRippleRanges(const QVector<VNARippleLimitRange>& ranges);
    QVector<VNARippleMeas> GetRippleMeas() const;
    // Remote data forms: groups of 5 (limit) or 4 (ripple) parameters. A count that is not a
    // whole number of groups records error -2 and changes nothing.
    bool SetLimitData(const QStringList& params);
    bool SetRippleData(const QStringList& params);
    // Flags are single bytes written without a lock; the next pass of the chain applies them.
    void SetLimitTest(bool on) { limitTest = on; }
    void SetLimitShow(bool on) { limitShow = on; }
    void SetLimitSound(bool on) { limitSound = on; }
    void SetRippleTest(bool on) { rippleTest = on; }
    void SetRippleShow(bool on) { rippleShow = on; }
    // The last pass failed the limit test of a trace that asks to be heard.
    bool LimitFailSoundDue() const { return limitTest && limitSound && !limitPass; }

    // Steps of the chain after the channel's processed data is ready (selection onwards). The
    // model is there for the stages that read other traces or channels, and may be null.
    TraceCalcResult Calculate(const VNAChannel& ch, double f0, double df,
                              const VNAModel* model = nullptr);

    QVector<double> x, y;
    QVector<double> memX, memY;
    QString name;
    bool useName = false;
    bool hasMem = false;
    VNATraceMathOp mathOp = MathOff;
    bool mathInterpolate = true;
    bool showMemTrace = false;
    SParameters mem;
    double memStart = 0.0;
    double memStop = 0.0;
    bool smoothEnabled = false;
    double smoothPercent = 1.0;
    double elecDelay = 0.0;
    bool equationEnabled = false;
    QString equation;
    bool equationValid = false;
    // What the status bar shows for the last evaluation: "Eqn Error: " and the reason, or empty.
    QString equationError;
    bool statsEnabled = false;
    bool statsAutoRange = true;
    double statsStart = 0.0;
    double statsStop = 40e9;
    VNATraceStats stats;
    double offsetMag = 0.0;
    double offsetMagSlope = 0.0;
    double offsetPhase = 0.0;
    bool bwSearchEnabled = false;
    double bwSearchLimit = -3.0;
    bool bwSearchTracking = false;
    bool bwFound = false;
    double bwPeakFreq = 0.0;
    double bwPeakValue = 0.0;
    double bwLowFreq = 0.0;
    double bwLowValue = 0.0;
    double bwHighFreq = 0.0;
    double bwHighValue = 0.0;
    int channel = 0;
    int plot = 0;
    VNATraceMeas meas = S11;
    VNATraceFormat format = LogMag;
    VNATraceHold hold = HoldOff;
    bool holdRestart = true;
    QString unitRef = QStringLiteral("dB");
    QString unitDiv = QStringLiteral("dB");
    VNAScaleTriple linMagScale, logMagScale, phaseRadScale, phaseDegScale, unwrappedPhaseScale,
        swrScale, smithScale, realScale, grpDlyScale;
    bool limitTest = false;
    bool limitShow = true;
    bool limitSound = false;
    // Guards limitRanges.
    TraceMutex limitLock;
    QVector<VNALimitRange> limitRanges;
    bool limitPass = true;
    bool rippleTest = false;
    bool rippleShow = true;
    // Guards rippleRanges and rippleMeas.
    TraceMutex rippleLock;
    QVector<VNARippleLimitRange> rippleRanges;
    QVector<VNARippleMeas> rippleMeas;
    bool ripplePass = false;
    bool transformEnabled = false;
    VNATransformSettings transform;
    bool gateEnabled = false;
    int32_t gateType = 0;
    int32_t gateShape = 1;
    double gateStart = -40e-9;
    double gateStop = 40e-9;
    int activeMarker = 0;
    VNAMarker markers[kMarkerCount];
    bool calSetViewEnabled = false;
    int32_t calSetDisplay = 0;
    int32_t calSetStdTerm = 0;
    int32_t calSetErrTerm = 0;

private:
    // Hold logic on buffers the caller gives up: swapped in rather than copied.
    void TakeTrace(QVector<double>& newX, QVector<double>& newY);
    // Stages that later features fill in; each passes the data on unchanged until then.
    void ApplyEquation(const VNAModel* model, CplxVector& d);
    void ApplyCalSetView(const VNAChannel& ch, CplxVector& d);
    void ApplyGate(CplxVector& d, double f0, double df);
    // Fills xs and points ds at the data to carry on with; true if the transform changed the
    // stored display span.
    bool ApplyTransform(const VNAChannel& ch, CplxVector& d, QVector<double>& xs, CplxVector*& ds,
                        double f0, double df);
    void ApplyDelayAndOffsets(CplxVector& ds, double f0, double df) const;
    void BuildMemoryCurve();
    void RunLimitTest();
    void RunRippleTest();

    // Work buffers reused from pass to pass, so a sweep allocates nothing in steady state.
    CplxVector workData;
    CplxVector workMem;
    CplxVector workTime;
    QVector<double> workX, workMemX, outX, outY, workSum;
};
