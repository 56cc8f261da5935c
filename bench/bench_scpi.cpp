// Parse and dispatch throughput of the remote command language, replies written to memory.
#include <benchmark/benchmark.h>
#include <QBuffer>
#include <QLoggingCategory>
#include <QStringList>

#include "scpi_def.h"

namespace
{
// A parser with a body that answers queries with a short text, as *IDN? would.
struct Setup
{
    Setup()
    {
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
        socket.open(QIODevice::WriteOnly);
        scpi.SetSocket(&socket);
        scpi.SetCallbackFunction(
            [this](Scpi* s)
            {
                ++dispatched;
                int suffix = 0;
                while (s->GetNextCommandSuffix(suffix, 1))
                {
                }
                double value = 0.0;
                if (s->ParameterCount() > 0)
                {
                    s->GetNextParameterFreq(value);
                }
                else
                {
                    s->SubmitReply("Kestrix,NVX400,1234,5");
                }
            });
    }
    // Keeps memory flat over millions of iterations.
    void Drain()
    {
        if (socket.data().size() > (1 << 20))
        {
            socket.buffer().clear();
            socket.seek(0);
        }
    }

    Scpi scpi;
    QBuffer socket;
    long dispatched = 0;
};

void BM_IdnLine(benchmark::State& state)
{
    Setup s;
    const QString line = QStringLiteral("*IDN?\n");
    for (auto _ : state)
    {
        s.scpi.SubmitInput(line);
        s.Drain();
    }
    state.SetItemsProcessed(s.dispatched);
}
BENCHMARK(BM_IdnLine);

// Rows near the end of the table cost the longest walk.
void BM_CompoundLine(benchmark::State& state)
{
    Setup s;
    const QString line = QStringLiteral(
        ":SENS2:FREQ:STAR 1.5 GHz;STOP 2.5ghz;:SENS2:SWE:POIN 401;:CALC1:MEAS2:MARK3:X?;"
        ":SOUR1:POW -10;*OPC?\n");
    for (auto _ : state)
    {
        s.scpi.SubmitInput(line);
        s.Drain();
    }
    state.SetItemsProcessed(s.dispatched);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * line.size());
}
BENCHMARK(BM_CompoundLine);

// Many lines arriving in one read, as a client pipelining queries would send them.
void BM_PipelinedReads(benchmark::State& state)
{
    Setup s;
    QStringList lines;
    for (int i = 0; i < state.range(0); ++i)
    {
        lines.append(QStringLiteral(":SENS1:FREQ:CENT?"));
    }
    const QString chunk = lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
    for (auto _ : state)
    {
        s.scpi.SubmitInput(chunk);
        s.Drain();
    }
    state.SetItemsProcessed(s.dispatched);
}
BENCHMARK(BM_PipelinedReads)->Arg(100);

// A trace-sized vector reply: formatting dominates.
void BM_VectorReply(benchmark::State& state)
{
    Setup s;
    QVector<double> values(static_cast<int>(state.range(0)));
    for (int i = 0; i < values.size(); ++i)
    {
        values[i] = 40e6 + i * 1.234567e6;
    }
    s.scpi.SetCallbackFunction([&values](Scpi* scpi) { scpi->SubmitReply(values); });
    const QString line = QStringLiteral(":CALC1:MEAS1:DATA:X?\n");
    for (auto _ : state)
    {
        s.scpi.SubmitInput(line);
        s.Drain();
    }
    state.SetItemsProcessed(state.iterations() * values.size());
}
BENCHMARK(BM_VectorReply)->Arg(1001)->Arg(10001);
}  // namespace

BENCHMARK_MAIN();
