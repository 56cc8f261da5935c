// Port extension and fixture (de-)embedding of a channel's corrected data, and the automatic
// port extension measured from an open or a short.
#pragma once

#include <QString>
#include <QVector>
#include <cstdint>

#include "network_parameters.h"
#include "vna_stimulus.h"

class ApplicationSettings;

// Which of a channel's two fixture objects an operation works on.
enum class FixtureKind
{
    Deembedding = 0,
    Embedding = 1
};

// Per point a 2 by 2 cascade matrix [t0 t1; t2 t3] = [T11 T12; T21 T22], stored column by
// column (T11, T21, T12, T22) like SParameters. Cascades chain left to right, port 1 to port 2.
class TParameters
{
public:
    int Size() const { return t0.size(); }
    void Clear() { Resize(0); }
    void Resize(int n);
    void LoadIdentity(int n);
    // Each point's matrix replaced by its inverse.
    void Invert();
    void FromSParams(const SParameters& s);
    void ToSParams(SParameters& s) const;

    CplxVector t0, t1, t2, t3;
};

// Point-by-point matrix product a * b; sizes must agree (the shorter length is used).
TParameters TParamMult(const TParameters& a, const TParameters& b);

// The settings of a port extension; the defaults are those of VNAPortExtension::Clear().
struct PortExtensionSettings
{
    bool enabled = false;
    double velocityFactor = 1.0;
    double delay[2] = {0.0, 0.0};  // seconds, one way
    bool use1[2] = {false, false};
    double freq1[2] = {1e9, 1e9};  // Hz
    double loss1[2] = {0.0, 0.0};  // dB, one way; positive compensates a loss
    bool use2[2] = {false, false};
    double freq2[2] = {1e9, 1e9};
    double loss2[2] = {0.0, 0.0};
    double lossDC = 0.0;  // dB on both ports

    bool operator==(const PortExtensionSettings& o) const;
    bool operator!=(const PortExtensionSettings& o) const { return !(*this == o); }
};

// Two-port networks at the test ports, each from a Touchstone file, removed (Deembed) or added
// (Embed). The file's data is kept in the object so a saved state needs no file. Not reentrant:
// Deembed and Embed keep the fixtures resampled for the last sweep as their work space.
class VNADeembed
{
public:
    bool Enabled() const { return enabled; }
    void SetEnabled(bool on) { enabled = on; }
    bool P1Loaded() const { return fixture[0].loaded; }
    bool P2Loaded() const { return fixture[1].loaded; }
    QString P1FileName() const { return fixture[0].fileName; }
    QString P2FileName() const { return fixture[1].fileName; }
    // The same by port index, 0 or 1; another index reads as not loaded.
    bool PortLoaded(int port) const;
    QString PortFileName(int port) const;
    const QVector<double>& PortFreqs(int port) const;
    const SParameters& PortParams(int port) const;

    void LoadP1(const QString& name, const QVector<double>& freqs, const SParameters& params);
    void LoadP2(const QString& name, const QVector<double>& freqs, const SParameters& params);
    void LoadPort(int port, const QString& name, const QVector<double>& freqs,
                  const SParameters& params);
    void ClearP1() { ClearPort(0); }
    void ClearP2() { ClearPort(1); }
    void ClearPort(int port);
    // Drops both fixtures and disables the object.
    void Clear();

    void Save(ApplicationSettings& settings, const QString& group) const;
    void Load(ApplicationSettings& settings, const QString& group);

    // An operator's note when a loaded fixture does not match the sweep (ends held, or taken
    // point for point at other frequencies); empty when both fit.
    QString CoverageWarning(const VNAStimulus& stimulus) const;

    // With an extension, its lines are cascaded at the ports before the fixtures, exactly as if
    // ApplyPortExtension had run first, but without a pass of its own over the data.
    void Deembed(const VNAStimulus& stimulus, SParameters& s,
                 const PortExtensionSettings* extension = nullptr);
    void Embed(const VNAStimulus& stimulus, SParameters& s,
               const PortExtensionSettings* extension = nullptr);

private:
    struct Fixture
    {
        bool loaded = false;
        QString fileName;
        QVector<double> freqs;
        SParameters params;
    };
    // Per point what one pass needs of both fixtures on the sweep's frequencies: their T
    // matrices (inverted for de-embedding) and the product of their determinants, side by side
    // so that a pass streams through one array.
    struct CascadePoint
    {
        std::complex<double> a11, a21, a12, a22;
        std::complex<double> b11, b21, b12, b22;
        std::complex<double> detAB;
    };
    struct Work
    {
        QVector<CascadePoint> points;
        VNAStimulus sweep;
        int size = -1;
        uint64_t revision = 0;
        bool inverted = false;
        bool extended = false;
        PortExtensionSettings extension;
    };

    void Apply(const VNAStimulus& stimulus, SParameters& s, bool invert,
               const PortExtensionSettings* extension);
    void PrepareWork(const VNAStimulus& stimulus, int points, bool invert,
                     const PortExtensionSettings* extension);
    bool WorkMatches(const VNAStimulus& stimulus, int points, bool invert,
                     const PortExtensionSettings* extension) const;
    static void Cascade(const QVector<CascadePoint>& work, SParameters& s);
    QString PortWarning(int port, const VNAStimulus& stimulus) const;

    bool enabled = false;
    Fixture fixture[2];
    // Bumped by every change of fixture data, so the work space knows it is stale.
    uint64_t revision = 1;
    Work work;
};

// Reads a two-port Touchstone file as a fixture: ascending frequencies, at least one point.
// On failure returns false with the reason in error and leaves the outputs unusable.
bool LoadFixtureFile(const QString& path, QVector<double>& freqs, SParameters& params,
                     QString& error);

// Moves each port's reference plane outward by a delay and a loss law, without a calibration.
class VNAPortExtension : public PortExtensionSettings
{
public:
    void Clear();
    bool Enabled() const { return enabled; }
    void SetEnabled(bool on) { enabled = on; }
    // The settings alone, without the work space.
    const PortExtensionSettings& Settings() const { return *this; }
    void SetSettings(const PortExtensionSettings& s) { PortExtensionSettings::operator=(s); }

    void Save(ApplicationSettings& settings) const;
    void Load(ApplicationSettings& settings);

    // The chain's entry: as the free ApplyPortExtension, with the per-point factors kept for as
    // long as the sweep and the settings stay the same.
    void ApplyPortExtension(SParameters& s, const VNAStimulus& stimulus);

private:
    struct Work
    {
        PortExtensionSettings builtFor;
        double start = 0.0;
        double step = 0.0;
        int points = -1;
        CplxVector f11, f21, f22;  // multipliers of S11, of S21 and S12, of S22
    };
    Work work;
};

// The linear loss factor of one port at frequency f: the one- or two-point law and the DC
// offset.
double PortExtensionLoss(const PortExtensionSettings& e, int port, double f);
// In place on s, with f = i * step + start of the stimulus for point i.
void ApplyPortExtension(SParameters& s, const VNAStimulus& stimulus,
                        const PortExtensionSettings& e);

// What one open or short tells about its port: the one-way delay, and the measured return loss
// in dB at a quarter and three quarters of the span.
struct PortExtensionReading
{
    double delay = 0.0;
    double freq1 = 0.0, freq2 = 0.0;
    double db1 = 0.0, db2 = 0.0;
};
PortExtensionReading ReadPortExtensionStandard(const CplxVector& reflection,
                                               const VNAStimulus& stimulus);

// The automatic port extension: keeps the reading of each (port, standard) and turns the latest
// ones into a port's delay and, when asked, its two loss points.
class VNAAutoPortExtension
{
public:
    enum Standard
    {
        Open = 0,
        Short = 1
    };

    // corrected: the channel's corrected sweep with the standard on the port (0 or 1). Writes
    // the port's delay into ext, and with measureLoss its loss pairs and use flags.
    void Measure(int port, int standard, const SParameters& corrected, const VNAStimulus& stimulus,
                 bool measureLoss, PortExtensionSettings& ext);
    bool HasReading(int port, int standard) const;
    void Clear();

private:
    struct Cached
    {
        bool valid = false;
        bool hasLoss = false;
        PortExtensionReading reading;
    };
    Cached cache[2][2];
};
