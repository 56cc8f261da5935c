// Markers: peak searches against a literal walk, positions, the per-pass update, the bandwidth
// search against a series RLC resonator in closed form, delta, reference and coupling through a
// model's chain, and the readouts in the time domain and on the Smith chart.
#include <QSignalSpy>
#include <QtTest>
#include <cmath>
#include <complex>
#include <random>

#include "error_log.h"
#include "marker_reference.h"
#include "test_fixtures.h"
#include "vna_meas.h"
#include "vna_model.h"
#include "vna_trace.h"

using cplx = std::complex<double>;

using testfx::NearestIndex;
using testfx::WalkPeaks;

namespace
{
// A floor with noise, a plateau, two equal peaks side by side, a shallow bump and a tall peak.
QVector<double> Landscape(int n, unsigned seed, double noise)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> u(-noise, noise);
    QVector<double> y(n);
    for (int i = 0; i < n; ++i)
    {
        const double g = [&](double c, double w, double h)
        { return h * std::exp(-0.5 * (i - c) * (i - c) / (w * w)); }(0.2 * n, 6, 20);
        y[i] = -40.0 + g + 12.0 * std::exp(-0.5 * std::pow((i - 0.7 * n) / 4.0, 2)) + u(rng);
    }
    for (int i = n / 2 - 3; i <= n / 2 + 3; ++i)
    {
        y[i] = -25.0;  // plateau
    }
    y[n / 3] = y[n / 3 + 2] = -30.0;  // two equal peaks with one point between
    y[n / 3 + 1] = -36.0;
    return y;
}

VNATrace* AddTrace(VNAModel& model, VNATraceMeas meas, VNATraceFormat format, int channel,
                   int* index = nullptr)
{
    QMutexLocker lock(&model.traceLock);
    int i = 0;
    VNATrace* t = model.InternalCreateTrace(i);
    t->SetChannel(channel);
    t->SetMeas(meas);
    t->SetFormat(format);
    model.mapper.SetPos(channel, model.mapper.GetNextAvailablePos(channel), i);
    if (index)
    {
        *index = i;
    }
    return t;
}

// Puts fn(f) into all four averaged parameters of the channel.
template <typename Fn>
void FillChannel(VNAChannel& ch, double start, double stop, int n, Fn fn)
{
    ch.enabled = true;
    ch.stimulus = testfx::Stimulus(start, stop, n);
    QMutexLocker lock(&ch.measLock);
    ch.MeasAvg.Resize(n);
    const QVector<double> f = ch.stimulus.GetFreqVector();
    for (int i = 0; i < n; ++i)
    {
        ch.MeasAvg.S11[i] = ch.MeasAvg.S22[i] = ch.MeasAvg.S21[i] = ch.MeasAvg.S12[i] = fn(f[i]);
    }
}

// Series RLC between two ports: S21 = 2 Z0 / (2 Z0 + Z).
struct Rlc
{
    double z0 = 50.0, r = 5.0, f0 = 2e9, q = 50.0;
    double L() const { return q * (2 * z0 + r) / (2 * M_PI * f0); }
    double C() const { return 1.0 / (std::pow(2 * M_PI * f0, 2) * L()); }
    cplx S21(double f) const
    {
        const double w = 2 * M_PI * f;
        return 2 * z0 / (2 * z0 + cplx(r, w * L() - 1.0 / (w * C())));
    }
    // Where |S21| is limitDb below its peak: w L - 1 / (w C) = +-k.
    double Edge(double limitDb, int sign) const
    {
        const double k = (2 * z0 + r) * std::sqrt(std::pow(10.0, -limitDb / 10.0) - 1.0);
        const double w = (sign * k + std::sqrt(k * k + 4 * L() / C())) / (2 * L());
        return w / (2 * M_PI);
    }
};

bool Near(double a, double b, double rel)
{
    return std::fabs(a - b) <= rel * std::max(std::fabs(a), std::fabs(b));
}
}  // namespace

class TestMarkers : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { testfx::IsolateUserFiles(); }
    void peakLists();
    void extremes();
    void peakSteps();
    void positions();
    void updateEachPass();
    void bandwidthSearch();
    void deltaAndReference();
    void placementThroughModel();
    void coupling();
    void timeDomainReadouts();
    void smithReadouts();
    void memoryTraces();
};

void TestMarkers::peakLists()
{
    const double excursions[] = {-1.0, 0.0, 0.5, 3.0, 8.0, 30.0};
    const double thresholds[] = {-100.0, -35.0, -25.0, -22.0};
    for (unsigned seed = 1; seed <= 6; ++seed)
    {
        const QVector<double> y = Landscape(400 + 37 * seed, seed, seed % 2 ? 0.8 : 0.0);
        for (double exc : excursions)
        {
            for (double thr : thresholds)
            {
                const QVector<int> expect = WalkPeaks(y, thr, exc);
                QCOMPARE(GetPeakList(y, thr, exc), expect);
                // Sorted by value, equal values in ascending index.
                QVector<Peak> sorted = GetSortedPeakList(y, thr, exc);
                QCOMPARE(sorted.size(), expect.size());
                for (int i = 0; i < sorted.size(); ++i)
                {
                    QCOMPARE(sorted[i].value, y[sorted[i].index]);
                    QVERIFY(expect.contains(sorted[i].index));
                    if (i > 0)
                    {
                        QVERIFY(sorted[i - 1].value < sorted[i].value ||
                                (sorted[i - 1].value == sorted[i].value &&
                                 sorted[i - 1].index < sorted[i].index));
                    }
                }
            }
        }
    }

    // Without noise the construction says where the peaks are: all plateau points, both equal
    // peaks and the two bumps.
    const int n = 600;
    const QVector<double> clean = Landscape(n, 1, 0.0);
    const QVector<int> found = GetPeakList(clean, -100.0, 3.0);
    QVector<int> expect = {int(0.2 * n), n / 3, n / 3 + 2};
    for (int i = n / 2 - 3; i <= n / 2 + 3; ++i)
    {
        expect.append(i);
    }
    expect.append(int(0.7 * n));
    QCOMPARE(found, expect);

    // The excursion test is >= and the threshold test strict; ends never count.
    QVector<double> bump(50, -50.0);
    bump[25] = -47.1;
    QVERIFY(GetPeakList(bump, -100.0, 3.0).isEmpty());
    bump[25] = -47.0;
    QCOMPARE(GetPeakList(bump, -100.0, 3.0), QVector<int>{25});
    bump[25] = -100.0;
    QVERIFY(!GetPeakList(bump, -100.0, 3.0).contains(25));
    QVERIFY(GetPeakList({1.0, 0.0}, -100.0, -1.0).isEmpty());
    QVERIFY(GetPeakList({0.0, 1.0, 2.0, 3.0, 4.0}, -100.0, 0.0).isEmpty());

    // A long flat trace: every inner point is a candidate, none has an excursion.
    const QVector<double> flat(64001, -3.0);
    QVERIFY(GetPeakList(flat, -100.0, 3.0).isEmpty());
    QCOMPARE(GetPeakList(flat, -100.0, 0.0).size(), 63999);

    bool ok = false;
    QCOMPARE(GetClosestIndex(1.0, {}, ok), 0);
    QVERIFY(!ok);
    const QVector<double> v = {5.0, 1.0, 3.0, 1.0, 2.0};
    for (double value : {-7.0, 1.0, 1.5, 2.5, 4.0, 9.0})
    {
        QCOMPARE(GetClosestIndex(value, v, ok), NearestIndex(v, value));
        QVERIFY(ok);
    }
}

void TestMarkers::extremes()
{
    VNATrace t;
    bool ok = true;
    int index = -1;
    t.GetMarkerPeak(ok, index);
    QVERIFY(!ok);
    t.x = {1, 2, 3};
    t.y = {1, 2};
    t.GetMarkerMin(ok, index);
    QVERIFY(!ok);

    const QVector<double> y = Landscape(500, 3, 1.0);
    t.x.resize(y.size());
    for (int i = 0; i < y.size(); ++i)
    {
        t.x[i] = 1e9 + 1e6 * i;
    }
    t.y = y;
    t.y[400] = t.y[410] = 30.0;  // equal maxima: the first wins
    t.y[100] = t.y[90] = -90.0;  // equal minima: the first wins
    QPointF p = t.GetMarkerPeak(ok, index);
    QVERIFY(ok);
    QCOMPARE(index, 400);
    QCOMPARE(p, QPointF(t.x[400], 30.0));
    p = t.GetMarkerMin(ok, index);
    QCOMPARE(index, 90);
    QCOMPARE(p.y(), -90.0);

    // Smith: by magnitude, returning the real and imaginary parts.
    t.SetFormat(SmithRI);
    t.x = {0.1, -0.6, 0.3, 0.0, 0.05};
    t.y = {0.2, 0.5, -0.7, 0.02, 0.0};
    p = t.GetMarkerPeak(ok, index);
    QCOMPARE(index, 1);  // |(-0.6, 0.5)| is the largest
    QCOMPARE(p, QPointF(-0.6, 0.5));
    p = t.GetMarkerMin(ok, index);
    QCOMPARE(index, 3);
    QCOMPARE(p, QPointF(0.0, 0.02));
    // Real parts are in no order: the nearest is found all the same.
    t.x = {-0.2, 0.5, -0.1, 0.3, 0.4};
    for (double pos : {-0.15, 0.28, 0.36, 0.05})
    {
        t.GetMarkerPos(pos, index, ok);
        QVERIFY(ok);
        QCOMPARE(index, NearestIndex(t.x, pos));
    }
}

void TestMarkers::peakSteps()
{
    VNATrace t;
    const QVector<double> y = Landscape(700, 5, 0.7);
    t.y = y;
    t.x.resize(y.size());
    for (int i = 0; i < y.size(); ++i)
    {
        t.x[i] = 2e9 + 1e5 * i;
    }
    VNAMarker& m = t.markers[2];
    m.excursion = 2.0;
    m.threshold = -38.0;
    const QVector<int> peaks = WalkPeaks(y, m.threshold, m.excursion);
    QVERIFY(peaks.size() > 5);
    auto expectAt = [&](const VNAMarker& mk, int i)
    { return mk.enabled && mk.index == i && mk.x == t.x[i] && mk.f == t.x[i] && mk.y == y[i]; };

    for (int start = 0; start < y.size(); start += 7)
    {
        // Right: the first peak beyond the marker.
        m = VNAMarker{};
        m.excursion = 2.0;
        m.threshold = -38.0;
        m.index = start;
        int right = -1;
        for (int p : peaks)
        {
            if (p > start)
            {
                right = p;
                break;
            }
        }
        QCOMPARE(t.MarkerPeakRight(2), right >= 0);
        QVERIFY(right < 0 ? m.index == start && !m.enabled : expectAt(m, right));

        // Left: the last peak before it; right of all peaks it goes to the last one.
        m.index = start;
        int left = -1;
        for (int p : peaks)
        {
            if (p < start)
            {
                left = p;
            }
        }
        const bool moved = t.MarkerPeakLeft(2);
        QCOMPARE(moved, left >= 0);
        QVERIFY(moved ? expectAt(m, left) : m.index == start);

        // Next: the highest peak not above the marker's level, highest index among equals.
        m.index = start;
        m.y = y[start];
        int next = -1;
        for (int p : peaks)
        {
            if (p != start && y[p] <= y[start] && (next < 0 || y[p] >= y[next]))
            {
                next = p;
            }
        }
        QCOMPARE(t.MarkerPeakNext(2), next >= 0);
        if (next >= 0)
        {
            QVERIFY(expectAt(m, next));
        }
    }

    // Exactly on the first peak, left does nothing.
    m.index = peaks.first();
    m.y = 123.0;
    QVERIFY(!t.MarkerPeakLeft(2));
    QCOMPARE(m.y, 123.0);

    // No steps on a Smith chart or a mismatched trace; nothing on two points.
    t.SetFormat(SmithGB);
    QVERIFY(!t.MarkerPeakRight(2) && !t.MarkerPeakLeft(2) && !t.MarkerPeakNext(2));
    t.SetFormat(LogMag);
    t.y.removeLast();
    QVERIFY(!t.MarkerPeakRight(2));
    t.x = {1, 2};
    t.y = {3, 4};
    m.index = 0;
    QVERIFY(!t.MarkerPeakRight(2) && !t.MarkerPeakLeft(2));
    QVERIFY(!t.MarkerPeakRight(16) && !t.MarkerPeakLeft(-1));
}

void TestMarkers::positions()
{
    VNATrace t;
    bool ok = true;
    int index = -1;
    t.GetMarkerPos(1.0, index, ok);
    QVERIFY(!ok);
    const int n = 501;
    for (int i = 0; i < n; ++i)
    {
        t.x.append(1e9 + 2e6 * i);
        t.y.append(std::sin(i * 0.1));
    }
    QPointF p = t.GetMarkerPos(7, ok);
    QVERIFY(ok && p == QPointF(t.x[7], t.y[7]));
    p = t.GetMarkerPos(n, ok);
    QVERIFY(!ok && p == QPointF());

    std::mt19937 rng(7);
    std::uniform_real_distribution<double> u(t.x.first(), t.x.last());
    QVector<double> probes = {t.x.first(), t.x.last(), 1e9 + 1e6, 1e9 + 3e6, 1e9 + 999e6};
    for (int k = 0; k < 300; ++k)
    {
        probes.append(u(rng));
    }
    for (double pos : probes)
    {
        p = t.GetMarkerPos(pos, index, ok);
        QVERIFY(ok);
        QCOMPARE(index, NearestIndex(t.x, pos));
        QCOMPARE(p, QPointF(t.x[index], t.y[index]));
    }
    t.GetMarkerPos(t.x.first() - 1.0, ok);
    QVERIFY(!ok);
    t.GetMarkerPos(t.x.last() + 1.0, ok);
    QVERIFY(!ok);
    // Repeated abscissae (a zero span): the first of them.
    QVector<double> zeroSpan(9, 5e9);
    std::swap(t.x, zeroSpan);
    t.y.resize(9);
    t.GetMarkerPos(5e9, index, ok);
    QVERIFY(ok && index == 0);
    std::swap(t.x, zeroSpan);
    t.y.resize(n);

    // Fraction of the width: clamped and rounded to the nearest point.
    QCOMPARE(t.GetMarkerIndex(-0.5, ok), 0);
    QCOMPARE(t.GetMarkerIndex(2.0, ok), n - 1);
    QCOMPARE(t.GetMarkerIndex(0.5, ok), 250);
    QCOMPARE(t.GetMarkerIndex(0.3 / (n - 1), ok), 0);
    QCOMPARE(t.GetMarkerIndex(0.7 / (n - 1), ok), 1);
    // With the transform the width is the displayed time span inside the computed axis.
    t.transformEnabled = true;
    for (int i = 0; i < n; ++i)
    {
        t.x[i] = -50e-9 + 0.2e-9 * i;
    }
    t.transform.start = -10e-9;
    t.transform.stop = 30e-9;
    QCOMPARE(t.GetMarkerIndex(0.0, ok), NearestIndex(t.x, -10e-9));
    QCOMPARE(t.GetMarkerIndex(1.0, ok), NearestIndex(t.x, 30e-9));
    QCOMPARE(t.GetMarkerIndex(0.26, ok), NearestIndex(t.x, -10e-9 + 0.26 * 40e-9));
    QVERIFY(ok);
    t.y.clear();
    t.GetMarkerIndex(0.5, ok);
    QVERIFY(!ok);

    for (int i = 0; i < VNATrace::kMarkerCount; ++i)
    {
        t.markers[i].enabled = t.markers[i].delta = true;
    }
    QCOMPARE(t.GetNextInactiveMarker(), -1);
    t.markers[15].enabled = false;
    QCOMPARE(t.GetNextInactiveMarker(), -1);  // the reference marker is never handed out
    t.markers[9].enabled = false;
    QCOMPARE(t.GetNextInactiveMarker(), 9);
    t.DisableDeltaMarkers();
    t.DisableAllMarkers();
    for (const VNAMarker& m : t.markers)
    {
        QVERIFY(!m.enabled && !m.delta);
    }
    QVERIFY(!t.GetMarker(16) && !t.GetMarker(-1) && t.GetMarker(15) == &t.GetReferenceMarker());
}

void TestMarkers::updateEachPass()
{
    VNATrace t;
    auto sweep = [&](double start, double step, int n)
    {
        t.x.resize(n);
        t.y.resize(n);
        for (int i = 0; i < n; ++i)
        {
            t.x[i] = start + step * i;
            t.y[i] = -std::fabs(t.x[i] - 1.5e9) / 1e8;
        }
    };
    sweep(1e9, 1e7, 101);
    VNAMarker& plain = t.markers[0];
    VNAMarker& fixed = t.markers[1];
    VNAMarker& tracked = t.markers[2];
    VNAMarker& off = t.markers[3];
    plain = fixed = tracked = VNAMarker{};
    plain.enabled = fixed.enabled = tracked.enabled = true;
    plain.f = plain.x = 1.2e9;
    fixed.fixed = true;
    fixed.y = 42.0;
    tracked.tracking = MarkerTrackingPeak;
    off.y = 17.0;
    t.UpdateMarkers();
    QCOMPARE(plain.index, 20);
    QCOMPARE(plain.y, t.y[20]);
    QCOMPARE(fixed.y, 42.0);
    QCOMPARE(off.y, 17.0);
    QCOMPARE(tracked.index, 50);
    QCOMPARE(tracked.f, 1.5e9);

    // A new sweep: the rectangular marker keeps its frequency, not its index.
    sweep(1e9, 5e6, 121);
    t.UpdateMarkers();
    QCOMPARE(plain.index, 40);
    QCOMPARE(plain.f, 1.2e9);
    QCOMPARE(tracked.index, 100);
    // Outside the sweep it keeps what it had.
    sweep(1.3e9, 5e6, 121);
    const double lastY = plain.y;
    t.UpdateMarkers();
    QCOMPARE(plain.index, 40);
    QCOMPARE(plain.y, lastY);

    // Time domain: the index stays and only y is read.
    t.transformEnabled = true;
    plain.index = 30;
    plain.x = -1.0;
    t.UpdateMarkers();
    QCOMPARE(plain.y, t.y[30]);
    QCOMPARE(plain.x, -1.0);
    // Smith: the index stays and x and y are read.
    t.transformEnabled = false;
    t.SetFormat(SmithRI);
    t.UpdateMarkers();
    QCOMPARE(plain.index, 30);
    QCOMPARE(plain.x, t.x[30]);
    // Tracking finds the largest reflection there, which x dominates here.
    QCOMPARE(tracked.index, t.x.size() - 1);
}

void TestMarkers::bandwidthSearch()
{
    VNAModel model;
    VNAChannel& ch = *model.channels[0];
    const Rlc rlc;
    const int n = 40001;
    FillChannel(ch, 1.8e9, 2.2e9, n, [&](double f) { return rlc.S21(f); });
    int index = 0;
    VNATrace* t = AddTrace(model, S21, LogMag, 0, &index);
    t->bwSearchEnabled = true;
    t->bwSearchTracking = true;
    const double loss = 20 * std::log10(2 * rlc.z0 / (2 * rlc.z0 + rlc.r));
    for (double limit : {-3.0, -1.0, -10.0})
    {
        t->bwSearchLimit = limit;
        model.CalcTraces(0);
        QVERIFY(t->bwFound);
        const double low = rlc.Edge(limit, -1), high = rlc.Edge(limit, +1);
        QVERIFY2(Near(t->bwLowFreq, low, 1e-6), qPrintable(QString::number(t->bwLowFreq - low)));
        QVERIFY(Near(t->bwHighFreq, high, 1e-6));
        QVERIFY(Near(t->BandwidthCenter(), 0.5 * (low + high), 1e-6));
        QVERIFY(Near(t->BandwidthQ(), 0.5 * (low + high) / (high - low), 1e-6));
        QVERIFY(Near(t->bwPeakValue, loss, 1e-6));
        QVERIFY(Near(t->bwPeakFreq, rlc.f0, 1e-9));
        QVERIFY(Near(t->bwLowValue, loss + limit, 1e-6));
        QVERIFY(Near(t->bwHighValue, loss + limit, 1e-6));
        if (limit == -3.0)
        {
            // Half power sits a hair beyond -3 dB: the circuit's loaded Q, to within 1 %.
            QVERIFY(std::fabs(t->BandwidthQ() / rlc.q - 1.0) < 0.01);
        }
    }
    const QStringList lines = t->GetBandwidthReadout();
    QCOMPARE(lines.size(), 6);
    QCOMPARE(lines[4], QStringLiteral("Loss %1 dB").arg(QString::asprintf("%.2f", loss)));

    // Without tracking the chain leaves the result alone; the model's search runs once.
    t->bwSearchTracking = false;
    t->bwFound = false;
    model.CalcTraces(0);
    QVERIFY(!t->bwFound);
    model.markerBWLimitChanged(index, -0.5);  // clamped to -1
    QCOMPARE(t->bwSearchLimit, -1.0);
    model.markerBWEnable(index, true);
    QVERIFY(t->bwFound && t->bwSearchEnabled);
    QVERIFY(Near(t->bwLowFreq, rlc.Edge(-1.0, -1), 1e-6));
    model.markerBWEnable(index, false);
    QVERIFY(!t->bwSearchEnabled);
    QVERIFY(t->GetBandwidthReadout().isEmpty());
    model.markerBWTrackingEnable(index, true);
    QVERIFY(t->bwSearchTracking);

    // Not LogMag: enabled, not found.
    VNATrace lin;
    lin.SetFormat(LinMag);
    lin.x = {1, 2, 3};
    lin.y = {0, 1, 0};
    lin.PerformBandwidthSearch();
    QVERIFY(lin.bwSearchEnabled && !lin.bwFound);
    QCOMPARE(lin.GetBandwidthReadout(), QStringList{QStringLiteral("Bandwidth Not Found")});
    // Peak on the first point: the low side cannot cross.
    lin.SetFormat(LogMag);
    lin.y = {0, -1, -5};
    lin.PerformBandwidthSearch();
    QVERIFY(!lin.bwFound);
    // A crossing exactly on an end point counts.
    lin.y = {-3, 0, -4};
    lin.PerformBandwidthSearch();
    QVERIFY(lin.bwFound);
    QCOMPARE(lin.bwLowFreq, 1.0);
    QCOMPARE(lin.bwHighFreq, 2.75);
}

void TestMarkers::deltaAndReference()
{
    SysErr::ClearErrors();
    VNAModel model;
    FillChannel(*model.channels[0], 1e9, 2e9, 201,
                [](double f)
                { return std::polar(0.1 + 0.8 * std::pow(std::sin(f / 1e8), 2), f / 1e9); });
    int a = 0;
    VNATrace* t = AddTrace(model, S11, LogMag, 0, &a);
    model.CalcTraces(0);
    QSignalSpy plots(&model, &VNAModel::updatePlotsSignal);

    model.markerDelta(a, 15, true);
    QCOMPARE(SysErr::GetErrorCount(), 1);
    const SystemError e = SysErr::GetNextError();
    QCOMPARE(e.code, int(InvalidOperation));
    QCOMPARE(e.detail, QStringLiteral("Cannot set delta on reference marker"));
    QVERIFY(!t->markers[15].delta);

    model.markerSetX(a, 2, 1.5e9);
    QVERIFY(t->markers[2].enabled);
    QCOMPARE(t->markers[2].index, 100);
    model.markerDelta(a, 2, true);
    const VNAMarker& ref = t->GetReferenceMarker();
    QVERIFY(ref.enabled && ref.index == 100 && ref.f == 1.5e9 && ref.y == t->y[100]);
    QVERIFY(plots.count() >= 2);

    // The delta readout is relative to the reference marker.
    model.markerSetX(a, 2, 1.7e9);
    const VNAMarker& m = t->markers[2];
    QCOMPARE(t->GetMarkerLabel(2), QChar(0x0394) + QStringLiteral("3:"));
    QCOMPARE(t->GetMarkerXString(2), QStringLiteral("200.000000 MHz"));
    QCOMPARE(t->GetMarkerValueString(2), QString::asprintf("%.2fdB", m.y - ref.y));
    QCOMPARE(t->GetMarkerReadout(15),
             QStringLiteral("R: 1.500000 GHz ") + QString::asprintf("%.2fdB", ref.y));
    model.markerDelta(a, 2, false);
    QCOMPARE(t->GetMarkerReadout(2),
             QStringLiteral("M3: 1.700000 GHz ") + QString::asprintf("%.2fdB", t->y[140]));

    // With the reference already on, a new delta marker leaves it where it is.
    model.markerSetX(a, 4, 1.2e9);
    model.markerDelta(a, 4, true);
    QCOMPARE(ref.index, 100);
    // markerToRef copies the active marker unless the reference itself is selected.
    model.markerSetActive(a, 4);
    model.markerToRef(a);
    QCOMPARE(ref.index, 40);
    model.markerSetActive(a, 15);
    model.markerToRef(a);
    QCOMPARE(ref.index, 40);
    // Switching the reference off clears every delta flag of the trace.
    model.markerEnable(a, 15, false);
    QVERIFY(!ref.enabled && !t->markers[4].delta);
    QCOMPARE(SysErr::GetErrorCount(), 0);
}

void TestMarkers::placementThroughModel()
{
    VNAModel model;
    FillChannel(*model.channels[0], 1e9, 3e9, 201,
                [](double f)
                { return std::polar(1.0 / (1.0 + std::pow((f - 2.2e9) / 1e8, 2)), 0.0); });
    int a = 0;
    VNATrace* t = AddTrace(model, S21, LogMag, 0, &a);
    model.CalcTraces(0);

    model.markerAddMarker(a);
    QCOMPARE(t->activeMarker, 0);
    QVERIFY(t->markers[0].enabled);
    QCOMPARE(t->markers[0].index, 100);
    QCOMPARE(t->markers[0].f, 2e9);
    model.markerAddMarker(a);
    QCOMPARE(t->activeMarker, 1);
    model.markerPlace(a, 0.25);
    QCOMPARE(t->markers[1].index, 50);
    model.markerMove(a, true);
    QCOMPARE(t->markers[1].index, 49);
    QCOMPARE(t->markers[1].f, 1.49e9);
    model.markerPlace(a, 0.0);
    model.markerMove(a, true);  // clamped at the first point
    QCOMPARE(t->markers[1].index, 0);

    // A fixed marker is neither placed, moved nor set, but a peak search still moves it.
    model.markerFixed(a, 1, true);
    model.markerPlace(a, 0.9);
    model.markerMove(a, false);
    model.markerSetX(a, 1, 2.5e9);
    QCOMPARE(t->markers[1].index, 0);
    model.markerPeakMax(a, 1);
    QCOMPARE(t->markers[1].index, 120);
    model.CalcTraces(0);
    QCOMPARE(t->markers[1].index, 120);
    model.markerExecute(a, 1, MarkerFunctionMinimum);
    QCOMPARE(t->markers[1].index, 0);

    // Tracking: the marker goes to the peak at once and follows it on later passes.
    model.markerTrackingChanged(a, 0, MarkerTrackingPeak);
    QCOMPARE(t->markers[0].index, 120);
    FillChannel(*model.channels[0], 1e9, 3e9, 201,
                [](double f)
                { return std::polar(1.0 / (1.0 + std::pow((f - 1.4e9) / 1e8, 2)), 0.0); });
    model.CalcTraces(0);
    QCOMPARE(t->markers[0].index, 40);
    QCOMPARE(t->markers[0].f, 1.4e9);

    // Values are clamped as the panel's fields are.
    model.markerThresholdChanged(a, 3, -5000.0);
    model.markerExcursionChanged(a, 3, 500.0);
    QCOMPARE(t->markers[3].threshold, -1000.0);
    QCOMPARE(t->markers[3].excursion, 100.0);
    model.markerSetCoupling(MarkerCouplingMethod(7));
    QCOMPARE(model.GetMarkerCoupling(), MarkerCouplingChannel);

    int channel = -1;
    double f = 0.0;
    QVERIFY(model.GetActiveMarkerFreq(a, channel, f));
    QVERIFY(channel == 0 && f == t->markers[1].f);
    VNAMarker copy;
    QVERIFY(model.GetMarkerCopy(a, 0, copy) && copy.index == 40);
    QVERIFY(!model.GetMarkerCopy(a, 16, copy) && !model.GetMarkerCopy(a + 1, 0, copy));

    model.markerDisableAllTrace(a);
    for (const VNAMarker& m : t->markers)
    {
        QVERIFY(!m.enabled);
    }
    // The next free marker is taken even when every one was used.
    for (int i = 0; i < 16; ++i)
    {
        model.markerAddMarker(a);
    }
    QCOMPARE(t->GetNextInactiveMarker(), -1);
    QVERIFY(!t->markers[15].enabled);
}

void TestMarkers::coupling()
{
    VNAModel model;
    model.channels[1]->enabled = true;
    auto response = [](double f) { return std::polar(0.3 + 0.2 * std::sin(f / 3e8), f / 7e8); };
    FillChannel(*model.channels[0], 1e9, 2e9, 101, response);
    FillChannel(*model.channels[1], 1e9, 2e9, 201, response);
    int a = 0, b = 0, smith = 0, other = 0;
    VNATrace* ta = AddTrace(model, S11, LogMag, 0, &a);
    VNATrace* tb = AddTrace(model, S21, PhaseDeg, 0, &b);
    VNATrace* ts = AddTrace(model, S22, SmithRI, 0, &smith);
    VNATrace* to = AddTrace(model, S11, LogMag, 1, &other);
    model.CalcTraces(0);
    model.CalcTraces(1);
    model.selectedTraceIndex = a;
    ta->activeMarker = 4;

    model.markerSetX(a, 4, 1.333e9);  // coupling channel (the start value)
    const int i = NearestIndex(ta->x, 1.333e9);
    const VNAMarker& mb = tb->markers[4];
    QVERIFY(mb.enabled);
    QCOMPARE(mb.index, i);
    QCOMPARE(mb.f, tb->x[i]);
    QCOMPARE(mb.y, tb->y[i]);
    const VNAMarker& ms = ts->markers[4];
    QVERIFY(ms.enabled && ms.index == i && ms.x == ts->x[i] && ms.y == ts->y[i]);
    QCOMPARE(ms.f, model.channels[0]->stimulus.GetFreqVector()[i]);
    QVERIFY(!to->markers[4].enabled);

    // All: the other channel follows by frequency on its own sweep.
    model.markerSetCoupling(MarkerCouplingAll);
    model.markerSetX(a, 4, 1.6e9);
    QVERIFY(to->markers[4].enabled);
    QCOMPARE(to->markers[4].index, NearestIndex(to->x, ta->markers[4].f));
    // The reference marker is never coupled; off couples nothing.
    ta->activeMarker = 15;
    model.markerSetX(a, 15, 1.1e9);
    QVERIFY(!tb->markers[15].enabled);
    model.markerSetCoupling(MarkerCouplingOff);
    ta->activeMarker = 4;
    model.markerSetX(a, 4, 1.9e9);
    QVERIFY(mb.f != ta->markers[4].f);

    // In the chain a tracking marker drags the others, fixed ones and all, but neither a trace
    // in the time domain nor one that tracks a peak of its own.
    model.markerSetCoupling(MarkerCouplingChannel);
    tb->markers[4].fixed = true;
    ts->transformEnabled = true;
    const double smithX = ms.x;
    VNATrace* tt = AddTrace(model, S12, LogMag, 0);
    tt->markers[4].enabled = true;
    tt->markers[4].tracking = MarkerTrackingPeak;
    tt->markers[4].f = 1.05e9;
    model.markerTrackingChanged(a, 4, MarkerTrackingPeak);
    QCOMPARE(tt->markers[4].f, 1.05e9);
    model.CalcTraces(0);
    bool ok = false;
    int peak = 0;
    ta->GetMarkerPeak(ok, peak);
    QVERIFY(ok && peak > 0);
    QCOMPARE(ta->markers[4].index, peak);
    QCOMPARE(mb.index, peak);
    QCOMPARE(ms.x, smithX);
    QCOMPARE(tt->markers[4].index, peak);  // the same response on S12

    // Switching markers off by channel and everywhere.
    model.markerDisableAllChannel(1);
    QVERIFY(!to->markers[4].enabled && ta->markers[4].enabled);
    model.markerDisableAll();
    QVERIFY(!ta->markers[4].enabled && !tb->markers[4].enabled);
}

void TestMarkers::timeDomainReadouts()
{
    VNATrace t;
    t.transformEnabled = true;
    t.x = {-1e-9, 0.0, 2.5e-9, 10e-9};
    t.y = {-30.0, -20.0, -5.0, -40.0};
    t.markers[0].enabled = true;
    t.markers[0].index = 2;
    t.markers[0].x = 2.5e-9;
    t.UpdateMarkers();
    QCOMPARE(t.markers[0].y, -5.0);

    const double c = 299792500.0;
    const struct
    {
        VNATraceMeas meas;
        VNATransformMarkerMode mode;
        double share;
    } cases[] = {{S11, MarkerModeAuto, 0.5},       {S22, MarkerModeAuto, 0.5},
                 {S21, MarkerModeAuto, 1.0},       {S12, MarkerModeAuto, 1.0},
                 {S21, MarkerModeReflection, 0.5}, {S11, MarkerModeTransmission, 1.0}};
    t.transform.velocityFactor = 0.66;
    for (const auto& k : cases)
    {
        t.SetMeas(k.meas);
        t.transform.markerMode = k.mode;
        const double d = 2.5e-9 * c * 0.66 * k.share;
        QCOMPARE(t.GetMarkerDistance(2.5e-9), d);
        t.transform.units = UnitsMeters;
        QCOMPARE(t.GetMarkerXString(0), QString::number(d, 'f', 3) + QStringLiteral(" m"));
        t.transform.units = UnitsFeet;
        QCOMPARE(t.GetMarkerXString(0),
                 QString::number(d / 0.3048, 'f', 3) + QStringLiteral(" ft"));
        t.transform.units = UnitsInches;
        QCOMPARE(t.GetMarkerXString(0),
                 QString::number(d / 0.0254, 'f', 3) + QStringLiteral(" in"));
    }
    t.transform.units = UnitsTime;
    QCOMPARE(t.GetMarkerReadout(0), QStringLiteral("M1: 2.500 ns -5.00dB"));
    QCOMPARE(getTimeString(0.0, 3), QStringLiteral("0.000 ns"));
    QCOMPARE(getTimeString(-3.2e-6, 2), QStringLiteral("-3.20 us"));
    QCOMPARE(getTimeString(1.5, 1), QStringLiteral("1.5 s"));

    // In the time domain the reference and delta markers read as plain numbered markers.
    t.markers[15] = t.markers[0];
    t.markers[0].delta = true;
    QCOMPARE(t.GetMarkerLabel(15), QStringLiteral("M16:"));
    QCOMPARE(t.GetMarkerValueString(0), QStringLiteral("-5.00dB"));

    // A low-pass step on Real adds a line impedance estimate against 50 ohms.
    t.SetFormat(Real);
    t.transform.type = TransformLowpassStep;
    t.markers[0].y = 0.1;
    QCOMPARE(
        t.GetMarkerValueString(0),
        QStringLiteral("0.10, ") + QString::asprintf("%.2f", 50 * std::exp(0.2)) + QChar(0x03A9));
    t.transform.type = TransformLowpassImpulse;
    QCOMPARE(t.GetMarkerValueString(0), QStringLiteral("0.10"));
}

void TestMarkers::smithReadouts()
{
    VNAModel model;
    auto gamma = [](double f) { return cplx(0.2 * std::cos(f / 4e8), 0.6 * std::sin(f / 5e8)); };
    FillChannel(*model.channels[0], 1e9, 2e9, 101, gamma);
    int a = 0;
    VNATrace* t = AddTrace(model, S11, SmithRI, 0, &a);
    model.CalcTraces(0);

    model.markerSetX(a, 0, 1.234e9);  // the closest frequency of the sweep
    const VNAMarker& m = t->markers[0];
    QCOMPARE(m.index, 23);
    QCOMPARE(m.f, 1.23e9);
    const cplx g = gamma(1.23e9);
    QVERIFY(std::fabs(m.x - g.real()) < 1e-12 && std::fabs(m.y - g.imag()) < 1e-12);

    // Impedance and admittance texts from the reflection value in closed form.
    const cplx z = gSystemZ0 * (1.0 + g) / (1.0 - g);
    const double w = 2 * M_PI * m.f;
    QCOMPARE(t->GetMarkerValueString(0), GetOhmString(z.real()) + QStringLiteral(", ") +
                                             GetOhmString(z.imag()) + QStringLiteral(", ") +
                                             GetCapacitanceString(1.0 / (w * z.imag())));
    QCOMPARE(t->GetMarkerReadout(0),
             QStringLiteral("M1: 1.230000 GHz ") + t->GetMarkerValueString(0));
    t->SetFormat(SmithGB);
    model.CalcTraces(0);
    const cplx y = 1.0 / z;
    QCOMPARE(t->GetMarkerValueString(0), GetSiemensString(y.real()) + QStringLiteral(", ") +
                                             GetSiemensString(y.imag()) + QStringLiteral(", ") +
                                             GetCapacitanceString(y.imag() / w));

    // The largest reflection by magnitude; the real part goes into f and x.
    model.markerPeakMax(a, 1);
    int best = 0;
    for (int i = 0; i < t->x.size(); ++i)
    {
        if (std::hypot(t->x[i], t->y[i]) > std::hypot(t->x[best], t->y[best]))
        {
            best = i;
        }
    }
    QCOMPARE(t->markers[1].index, best);
    QCOMPARE(t->markers[1].f, t->x[best]);
    // A change of sweep keeps the Smith marker's index.
    FillChannel(*model.channels[0], 1.5e9, 2.5e9, 101, gamma);
    model.CalcTraces(0);
    QCOMPARE(m.index, 23);
    QVERIFY(std::fabs(m.x - gamma(1.73e9).real()) < 1e-12);
}

void TestMarkers::memoryTraces()
{
    VNAModel model;
    VNAChannel& ch = *model.channels[0];
    FillChannel(ch, 1e9, 2e9, 51, [](double f) { return cplx(f / 4e9, 0.0); });
    int a = 0;
    VNATrace* t = AddTrace(model, S21, LogMag, 0, &a);
    model.CalcTraces(0);
    model.traceStoreMem(t);
    FillChannel(ch, 1e9, 2e9, 51, [](double f) { return cplx(4e9 / f, 0.0); });
    model.markerSetX(a, 0, 1.5e9);
    // Markers read the trace as math leaves it: "Data" shows the memory.
    t->mathOp = MathData;
    model.CalcTraces(0);
    QVERIFY(std::fabs(t->markers[0].y - 20 * std::log10(1.5 / 4)) < 1e-9);
    t->mathOp = MathDivide;
    model.CalcTraces(0);
    QVERIFY(std::fabs(t->markers[0].y - 20 * std::log10((4 / 1.5) / (1.5 / 4))) < 1e-9);
    model.markerPeakMax(a, 1);
    QCOMPARE(t->markers[1].index, 0);
}

QTEST_GUILESS_MAIN(TestMarkers)
#include "test_markers.moc"
