// Equations as the chain runs them at every pass: parsed afresh and evaluated over the sweep.
#include <benchmark/benchmark.h>

#include <QMutexLocker>
#include <cmath>
#include <complex>

#include "equation_tools.h"
#include "vna_model.h"

namespace
{
// Channel 0 holds n points of smooth data; trace 1 shows S21, trace 2 S11 with a memory, and
// trace 1 is active.
void Setup(VNAModel& model, int n)
{
    SParameters& p = model.channels[0]->processed;
    p.Resize(n);
    for (int i = 0; i < n; ++i)
    {
        const double g = 1.0 + 8.0 * i / std::max(1, n - 1);
        p.S11[i] = std::polar(0.1 + 0.02 * std::sin(g), -2.0 * g);
        p.S21[i] = std::polar(0.9 - 0.01 * g, -7.0 * g);
        p.S12[i] = std::polar(0.9 - 0.01 * g, -7.0 * g + 0.1);
        p.S22[i] = std::polar(0.2 + 0.01 * std::cos(3 * g), 1.0 - 3.0 * g);
    }
    QMutexLocker lock(&model.traceLock);
    int index = 0;
    model.InternalCreateTrace(index)->SetMeas(S21);
    VNATrace* t = model.InternalCreateTrace(index);
    t->SetMeas(S11);
    t->mem = p;
    t->hasMem = true;
}

void Evaluate(benchmark::State& state, const char* equation)
{
    VNAModel model;
    const int n = static_cast<int>(state.range(0));
    Setup(model, n);
    CplxVector data(n);
    QMutexLocker lock(&model.traceLock);
    for (auto _ : state)
    {
        if (!EquationTools::EvaluateEquation(QString::fromLatin1(equation), data, &model))
        {
            state.SkipWithError("the equation failed");
            break;
        }
        benchmark::DoNotOptimize(data.constData());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// Ten operators: nine binary ones and a function, over every kind of operand.
void BM_Equation10Operators(benchmark::State& state)
{
    Evaluate(state, "(S21/S11 - Tr1*2 + Tr2_mem) * conj(S12) / (1 - S22*S11) + 0.5");
}

// A power and transcendental functions cost what the C library charges per point.
void BM_EquationTranscendental(benchmark::State& state)
{
    Evaluate(state, "20*log10(mag(S21)) + sin(S11)^2");
}

// One operator between two operands, to see what each costs per point.
void BM_EquationOperator(benchmark::State& state, const char* equation)
{
    Evaluate(state, equation);
}

void BM_EquationParseOnly(benchmark::State& state)
{
    const QString text =
        QStringLiteral("(S21/S11 - Tr1*2 + Tr2_mem) * conj(S12) / (1 - S22*S11) + 0.5");
    for (auto _ : state)
    {
        QString error;
        benchmark::DoNotOptimize(EquationTools::CheckEquation(text, error));
    }
}
}  // namespace

BENCHMARK(BM_Equation10Operators)->Arg(201)->Arg(64001)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_EquationTranscendental)->Arg(64001)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_EquationOperator, copy, "S21")->Arg(64001)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_EquationOperator, add, "S21+S11")->Arg(64001)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_EquationOperator, multiply, "S21*S11")
    ->Arg(64001)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_EquationOperator, divide, "S21/S11")
    ->Arg(64001)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_EquationOperator, power, "S21^S11")->Arg(64001)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_EquationParseOnly)->Unit(benchmark::kMicrosecond);
BENCHMARK_MAIN();
