// Remote bodies: limit and ripple tests of a measurement.
#include <QMutexLocker>

#include "mainwindow.h"
#include "mainwindow_scpi.h"

namespace
{
// This family names an unknown measurement by its suffix.
const char* const kUnknownMeasure = QT_TRANSLATE_NOOP("Scpi", "Invalid measure suffix");

using TraceBoolSlot = void (MainWindow::*)(int, bool);

bool MeasureTrace(ScpiContext& c, int& trace)
{
    int channel = 0;
    return c.ChannelTrace(channel, trace, kUnknownMeasure);
}

void SetFlag(ScpiContext& c, TraceBoolSlot slot)
{
    int t = 0;
    bool value = false;
    if (MeasureTrace(c, t) && c.cmd.GetNextParameterBool(value))
    {
        (c.window.*slot)(t, value);
    }
}

// Replies a flag of the trace read under the trace lock.
void ReplyFlag(ScpiContext& c, bool (*get)(const VNATrace&))
{
    int t = 0;
    if (!MeasureTrace(c, t))
    {
        return;
    }
    QMutexLocker lock(&c.model.traceLock);
    const bool value = get(*c.model.traces[t]);
    lock.unlock();
    c.cmd.SubmitReply(value);
}

void SetData(ScpiContext& c, void (MainWindow::*slot)(int, const QStringList&))
{
    int t = 0;
    if (MeasureTrace(c, t))
    {
        (c.window.*slot)(t, c.cmd.GetParameters());
    }
}

// No parameters empty the table.
void DeleteTable(ScpiContext& c, void (MainWindow::*slot)(int, const QStringList&))
{
    int t = 0;
    if (MeasureTrace(c, t))
    {
        (c.window.*slot)(t, QStringList());
    }
}
}  // namespace

const ScpiFamily& scpiLimitFamily()
{
    using S = ScpiContext;
    using T = const VNATrace&;
    using MW = MainWindow;
    static const ScpiFamily family{
        "limit tests",
        "",
        {{170, 185}},
        {{170, [](S& c) { SetFlag(c, &MW::limitTest); }},
         {171, [](S& c) { ReplyFlag(c, [](T t) { return t.limitTest; }); }},
         {172, [](S& c) { SetFlag(c, &MW::limitShow); }},
         {173, [](S& c) { ReplyFlag(c, [](T t) { return t.limitShow; }); }},
         {174, [](S& c) { SetFlag(c, &MW::limitSound); }},
         {175, [](S& c) { ReplyFlag(c, [](T t) { return t.limitSound; }); }},
         {176, [](S& c) { SetData(c, &MW::limitData); }},
         {177, [](S& c) { DeleteTable(c, &MW::limitData); }},
         // FAIL? answers 1 when the last pass failed: the verdict flag inverted.
         {178, [](S& c) { ReplyFlag(c, [](T t) { return !t.limitPass; }); }},
         {179, [](S& c) { SetFlag(c, &MW::rippleLimitTest); }},
         {180, [](S& c) { ReplyFlag(c, [](T t) { return t.rippleTest; }); }},
         {181, [](S& c) { SetFlag(c, &MW::rippleLimitShow); }},
         {182, [](S& c) { ReplyFlag(c, [](T t) { return t.rippleShow; }); }},
         {183, [](S& c) { SetData(c, &MW::rippleData); }},
         {184, [](S& c) { DeleteTable(c, &MW::rippleData); }},
         {185, [](S& c) { ReplyFlag(c, [](T t) { return !t.ripplePass; }); }}}};
    return family;
}
