// MainWindow: limit and ripple tests of a trace. Each slot changes the trace under the trace
// lock and recalculates its channel, so the verdicts shown follow at once.
#include <QApplication>
#include <QMutexLocker>
#include <chrono>

#include "limit_line_editor.h"
#include "mainwindow.h"
#include "vna_limits.h"

namespace
{
// A trace failing at every sweep is heard once per this interval.
constexpr qint64 kLimitFailSoundIntervalMs = 1000;

qint64 MonotonicMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// Runs edit on a trace under the trace lock; false when there is no such trace.
template <typename Edit>
bool EditTraceTable(VNAModel& model, int index, Edit edit)
{
    QMutexLocker lock(&model.traceLock);
    VNATrace* t = model.traces.value(index, nullptr);
    if (t)
    {
        edit(*t);
    }
    return t != nullptr;
}

// Opens an editor on a copy of the active trace's table, with its format's unit; true with the
// edited table in out when the operator accepts.
template <typename Editor, typename Range>
bool EditActiveTable(VNAModel& model, QWidget* parent, QVector<Range> (VNATrace::*get)() const,
                     QVector<Range>& out)
{
    QString unit;
    {
        QMutexLocker lock(&model.traceLock);
        const VNATrace* t = model.ActiveTrace();
        if (!t)
        {
            return false;
        }
        out = (t->*get)();
        unit = GetUnitString(t->format);
    }
    Editor editor(out, unit, parent);
    if (editor.exec() != QDialog::Accepted)
    {
        return false;
    }
    out = editor.Ranges();
    return true;
}
}  // namespace

void MainWindow::limitTest(int trace, bool on)
{
    EditTrace(trace, [on](VNATrace& t) { t.SetLimitTest(on); });
}

void MainWindow::limitTest(bool on)
{
    limitTest(model.selectedTraceIndex, on);
}

void MainWindow::limitShow(int trace, bool on)
{
    EditTrace(trace, [on](VNATrace& t) { t.SetLimitShow(on); });
}

void MainWindow::limitShow(bool on)
{
    limitShow(model.selectedTraceIndex, on);
}

void MainWindow::limitSound(int trace, bool on)
{
    EditTrace(trace, [on](VNATrace& t) { t.SetLimitSound(on); });
}

void MainWindow::limitSound(bool on)
{
    limitSound(model.selectedTraceIndex, on);
}

void MainWindow::rippleLimitTest(int trace, bool on)
{
    EditTrace(trace, [on](VNATrace& t) { t.SetRippleTest(on); });
}

void MainWindow::rippleLimitTest(bool on)
{
    rippleLimitTest(model.selectedTraceIndex, on);
}

void MainWindow::rippleLimitShow(int trace, bool on)
{
    EditTrace(trace, [on](VNATrace& t) { t.SetRippleShow(on); });
}

void MainWindow::rippleLimitShow(bool on)
{
    rippleLimitShow(model.selectedTraceIndex, on);
}

void MainWindow::limitRangesChanged(int trace, const QVector<VNALimitRange>& ranges)
{
    EditTrace(trace, [&ranges](VNATrace& t) { t.SetLimitRanges(ranges); });
}

void MainWindow::rippleRangesChanged(int trace, const QVector<VNARippleLimitRange>& ranges)
{
    EditTrace(trace, [&ranges](VNATrace& t) { t.SetRippleRanges(ranges); });
}

// A remote table may serve any channel's display: every channel is recalculated.
void MainWindow::limitData(int trace, const QStringList& params)
{
    if (EditTraceTable(model, trace, [&params](VNATrace& t) { t.SetLimitData(params); }))
    {
        UpdateAll();
    }
}

void MainWindow::rippleData(int trace, const QStringList& params)
{
    if (EditTraceTable(model, trace, [&params](VNATrace& t) { t.SetRippleData(params); }))
    {
        UpdateAll();
    }
}

void MainWindow::limitDefine()
{
    const int trace = model.selectedTraceIndex;
    QVector<VNALimitRange> ranges;
    if (EditActiveTable<LimitLineRangeEditor>(model, this, &VNATrace::GetLimitRanges, ranges))
    {
        limitRangesChanged(trace, ranges);
    }
}

void MainWindow::rippleLimitDefine()
{
    const int trace = model.selectedTraceIndex;
    QVector<VNARippleLimitRange> ranges;
    if (EditActiveTable<RippleLimitLineRangeEditor>(model, this, &VNATrace::GetRippleRanges,
                                                    ranges))
    {
        rippleRangesChanged(trace, ranges);
    }
}

void MainWindow::LimitFailSound()
{
    bool due = false;
    {
        QMutexLocker lock(&model.traceLock);
        for (const VNATrace* t : model.traces)
        {
            due = due || (t && t->LimitFailSoundDue());
        }
    }
    if (due && LimitSoundDue(lastLimitFailSoundMs, MonotonicMs(), kLimitFailSoundIntervalMs))
    {
        // Qt's own sound classes need an audio server on Linux; the bell needs nothing.
        QApplication::beep();
        ++limitFailSounds;
    }
}
