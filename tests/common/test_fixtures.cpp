#include "test_fixtures.h"

#include <QFile>
#include <QMutexLocker>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <cmath>
#include <limits>

#include "vna_model.h"

namespace testfx
{
void IsolateUserFiles()
{
    QStandardPaths::setTestModeEnabled(true);
    // Test mode leaves the documents and home folders alone, and the program keeps its
    // preferences, presets and factory calibrations there: give each test process a home of its
    // own, so no test reads or writes the user's files, nor another test's running beside it.
    static QTemporaryDir home;
    if (home.isValid())
    {
        qputenv("HOME", home.path().toLocal8Bit());
    }
}

VNAStimulus Stimulus(double start, double stop, int points)
{
    VNAStimulus s;
    s.start = start;
    s.stop = stop;
    s.points = points;
    s.center = (start + stop) / 2.0;
    s.span = stop - start;
    return s;
}

SParameters SmoothSParams(const QVector<double>& freqs)
{
    SParameters s;
    s.Resize(freqs.size());
    for (int i = 0; i < freqs.size(); ++i)
    {
        const double g = freqs[i] / 1e9;
        s.S11[i] = std::polar(0.1 + 0.02 * std::sin(g), -2.0 * g);
        s.S21[i] = std::polar(0.9 - 0.01 * g, -7.0 * g + 0.3);
        s.S12[i] = std::polar(0.9 - 0.01 * g, -7.0 * g + 0.3);
        s.S22[i] = std::polar(0.2 + 0.01 * std::cos(3 * g), 1.0 - 3.0 * g);
    }
    return s;
}

QString WriteFile(const QTemporaryDir& dir, const QString& name, const QByteArray& contents)
{
    const QString path = dir.filePath(name);
    QFile f(path);
    if (f.open(QIODevice::WriteOnly))
    {
        f.write(contents);
    }
    return path;
}

double MaxDifference(const CplxVector& a, const CplxVector& b)
{
    if (a.size() != b.size())
    {
        return std::numeric_limits<double>::infinity();
    }
    double worst = 0.0;
    for (int i = 0; i < a.size(); ++i)
    {
        worst = std::max(worst, std::abs(a[i] - b[i]));
    }
    return worst;
}

double MaxDifference(const SParameters& a, const SParameters& b)
{
    double worst = 0.0;
    for (int k = 0; k < 4; ++k)
    {
        worst = std::max(worst,
                         MaxDifference(a.GetSParam(VNATraceMeas(k)), b.GetSParam(VNATraceMeas(k))));
    }
    return worst;
}

VNATrace* AddTrace(VNAModel& model, int channel, VNATraceMeas meas, VNATraceFormat format)
{
    QMutexLocker lock(&model.traceLock);
    int index = 0;
    VNATrace* t = model.InternalCreateTrace(index);
    t->SetChannel(channel);
    t->SetMeas(meas);
    t->SetFormat(format);
    model.mapper.SetPos(channel, model.mapper.GetNextAvailablePos(channel), index);
    return t;
}

bool WaitFor(const std::function<bool()>& done)
{
    for (int i = 0; i < 3000 && !done(); ++i)
    {
        QThread::msleep(5);
    }
    return done();
}
}  // namespace testfx
