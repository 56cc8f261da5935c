// Two-port S-parameter records and the interpolation helpers shared by the demo device,
// calibration, trace math and fixtures.
#pragma once

#include <QString>
#include <QVector>
#include <complex>
#include <cstdint>

class ApplicationSettings;

using CplxVector = QVector<std::complex<double>>;

// Which S-parameter a trace shows. Stored as integers in files: never renumber.
enum VNATraceMeas : int32_t
{
    S11 = 0,
    S21 = 1,
    S12 = 2,
    S22 = 3
};

class SParameters
{
public:
    int Size() const { return S11.size(); }
    bool ValidSize() const;
    void Resize(int n);
    void Clear() { Resize(0); }
    CplxVector& GetSParam(VNATraceMeas meas);
    const CplxVector& GetSParam(VNATraceMeas meas) const;

    void Save(ApplicationSettings& settings, const QString& group) const;
    void Load(ApplicationSettings& settings, const QString& group);

    CplxVector S11, S21, S12, S22;
};

class SParametersRaw
{
public:
    static constexpr int kVectorCount = 16;
    static constexpr int kRatioCount = 8;  // S11 .. S22HDR take part in averaging and scaling

    int Size() const { return S11.size(); }
    bool ValidSize() const;
    CplxVector& GetSParam(VNATraceMeas meas);
    const CplxVector& GetSParam(VNATraceMeas meas) const;
    CplxVector* GetReceiver(const QString& name, bool& found);
    const CplxVector* GetReceiver(const QString& name, bool& found) const;
    SParameters ToSParam() const;

    void Resize(int n);
    void Clear();
    void ClearPositionOnly();
    void Scale(double factor);
    void Add(const SParametersRaw& other);
    void PartialCopy(const SParametersRaw& src);
    // The same for a record that already holds src's elements before `from`: a sweep's finished
    // points do not change, so each update need copy only what is new.
    void PartialCopy(const SParametersRaw& src, int from);
    // Elements begin up to end (exclusive) of the vectors firstVector up to lastVector
    // (exclusive), as far as both records reach; positions are left alone.
    void CopyRange(const SParametersRaw& src, int begin, int end, int firstVector, int lastVector);

    // Members by their fixed order, the order of the device library's 16 buffers.
    CplxVector& Vector(int i);
    const CplxVector& Vector(int i) const;
    static const char* VectorKey(int i);

    void Save(ApplicationSettings& settings, const QString& group) const;
    void Load(ApplicationSettings& settings, const QString& group);

    CplxVector S11, S21, S12, S22;
    CplxVector S11HDR, S21HDR, S12HDR, S22HDR;
    CplxVector a1Fwd, a2Fwd, b1Fwd, b2Fwd;
    CplxVector a1Rev, a2Rev, b1Rev, b2Rev;
    int32_t positionStart = 0;
    int32_t positionEnd = 0;
};

std::complex<double> InterpolateCplx(std::complex<double> a, std::complex<double> b, double t);
double InterpolateArray(const QVector<double>& x, const QVector<double>& y, double q);
std::complex<double> InterpolateArray(const QVector<double>& x, const CplxVector& y, double q);
SParameters InterpolateSParams(const SParameters& s, const QVector<double>& from,
                               const QVector<double>& to);
