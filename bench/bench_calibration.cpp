// Solving and applying calibrations at the largest sweep (64001 points), and the last step of a
// remote calibration there.
#include <benchmark/benchmark.h>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include "cal_fixtures.h"
#include "cal_workflow.h"
#include "error_model.h"
#include "test_fixtures.h"
#include "vna_calibration.h"
#include "vna_model.h"

namespace
{
constexpr int kPoints = 64001;

VNAStimulus BigStimulus()
{
    return testfx::Stimulus(40e6, 40e9, kPoints);
}

const VNACalibration& Measured(VNACalType type)
{
    static VNACalibration cals[3];
    static bool made[3] = {false, false, false};
    if (!made[type])
    {
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
        testfx::SyntheticCal setup;
        setup.type = type;
        setup.isolation = type == SOLT;
        setup.thru = testfx::Line(50.0, 82.157e-12, 0.0);
        const testfx::ErrorModel normal = testfx::ErrorModel::Random(7);
        const testfx::ErrorModel hdr = testfx::ErrorModel::Random(8);
        cals[type] = testfx::MeasureCalibration(setup, testfx::ModelKit(), BigStimulus(), normal,
                                                type == SOLR ? normal : hdr);
        made[type] = true;
    }
    return cals[type];
}

void Build(benchmark::State& state, VNACalType type)
{
    VNACalibration cal = Measured(type);
    const VNAStimulus stim = BigStimulus();
    for (auto _ : state)
    {
        cal.BuildCorrections(stim);
        benchmark::DoNotOptimize(cal.ErrorTerm(0).constData());
    }
}

void BM_BuildCorrectionsSOL(benchmark::State& state)
{
    Build(state, SOL);
}
void BM_BuildCorrectionsSOLT(benchmark::State& state)
{
    Build(state, SOLT);
}
void BM_BuildCorrectionsSOLR(benchmark::State& state)
{
    Build(state, SOLR);
}

// state.range(0): transmission level of the device in dB; below -25 dB the HDR path is blended.
void BM_ApplyCorrectionsSOLT(benchmark::State& state)
{
    VNACalibration cal = Measured(SOLT);
    const VNAStimulus stim = BigStimulus();
    cal.BuildCorrections(stim);
    const QVector<double> f = stim.GetFreqVector();
    SParameters dut = testfx::SmoothSParams(f);
    const double k = std::pow(10.0, double(state.range(0)) / 20.0);
    for (int i = 0; i < dut.Size(); ++i)
    {
        dut.S21[i] *= k;
        dut.S12[i] *= k;
    }
    const SParametersRaw raw = testfx::MeasureRaw(
        testfx::ErrorModel::Random(7), testfx::ErrorModel::Random(8), f, testfx::Tabulated(f, dut));
    for (auto _ : state)
    {
        SParameters out = cal.ApplyCorrectionsSOLT(raw);
        benchmark::DoNotOptimize(out.S21.constData());
    }
}

// What :SENSe:CORRection:COLLect:SAVE does once every standard of a SOLT is measured, the
// measuring excluded: the record completed, written to its file, solved for its sweep and put
// into a channel between stopping and restarting the loop. Target: 300 ms.
void BM_RemoteSaveSOLT(benchmark::State& state)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("RemoteCal.vnacal"));
    const VNACalibration& measured = Measured(SOLT);
    VNAModel model;
    for (auto _ : state)
    {
        VNACalibration cal = measured;
        CompleteCalibration(cal, model.device, path);
        QString error;
        if (!SaveAndBuildCalibration(cal, path, error))
        {
            state.SkipWithError(qPrintable(error));
            break;
        }
        InstallCalibration(model, 0, cal, true);
    }
    state.counters["file_MB"] = double(QFileInfo(path).size()) / 1e6;
}
}  // namespace

BENCHMARK(BM_BuildCorrectionsSOL)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BuildCorrectionsSOLT)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BuildCorrectionsSOLR)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ApplyCorrectionsSOLT)->Arg(0)->Arg(-40)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RemoteSaveSOLT)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
