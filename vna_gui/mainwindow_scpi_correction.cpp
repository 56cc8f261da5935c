// Remote bodies: the calibration of a channel: state, sets, kits and remote calibration.
#include <QCoreApplication>
#include <QMutexLocker>

#include "application_settings.h"
#include "error_log.h"
#include "mainwindow.h"
#include "mainwindow_scpi.h"
#include "scpi_parameters.h"
#include "vna_calkit_list.h"

namespace
{
QString Tr(const char* text)
{
    return QCoreApplication::translate("Scpi", text);
}

using ChannelBoolSlot = void (MainWindow::*)(int, bool);

void SetChannelBool(ScpiContext& c, ChannelBoolSlot slot)
{
    int ch = 0;
    bool value = false;
    if (c.Channel(ch) && c.cmd.GetNextParameterBool(value))
    {
        (c.window.*slot)(ch, value);
    }
}

// The channel of the suffix, which must be in use.
bool EnabledChannel(ScpiContext& c, int& ch)
{
    if (!c.Channel(ch))
    {
        return false;
    }
    if (!c.model.channels[ch]->enabled)
    {
        SysErr::AddSystemError(InvalidIndex, Tr(scpiStrChannelNotActive));
        return false;
    }
    return true;
}

// Replies a value of an enabled channel's calibration, read under the trace lock (the loop
// swaps in rebuilt records under it).
template <typename Get>
void ReplyCalibration(ScpiContext& c, Get get)
{
    int ch = 0;
    if (!EnabledChannel(c, ch))
    {
        return;
    }
    QMutexLocker lock(&c.model.traceLock);
    const auto value = get(c.model.channels[ch]->calibration);
    lock.unlock();
    c.cmd.SubmitReply(value);
}

QString CalTypeText(const VNACalibration& cal)
{
    if (!cal.CorrectionsLoaded())
    {
        return QStringLiteral("none");
    }
    switch (cal.GetCalType())
    {
        case SOL:
            return QStringLiteral("sol");
        case SOLT:
            return QStringLiteral("solt");
        case SOLR:
            return QStringLiteral("solr");
    }
    return QStringLiteral("none");
}

void ActivateSet(ScpiContext& c)
{
    int ch = 0;
    QString file;
    bool loadStimulus = false;
    if (!c.Channel(ch))
    {
        return;
    }
    // Both parameters are read before either is judged.
    const bool haveFile = c.cmd.GetNextParameterFileName(file);
    const bool haveFlag = c.cmd.GetNextParameterBool(loadStimulus);
    if (!c.model.channels[ch]->enabled)
    {
        SysErr::AddSystemError(InvalidIndex, Tr(scpiStrChannelNotActive));
        return;
    }
    if (haveFile && haveFlag)
    {
        c.window.calLoad(ch, file, true, loadStimulus);
    }
}

void DeactivateSet(ScpiContext& c)
{
    int ch = 0;
    if (EnabledChannel(c, ch))
    {
        c.window.calUnload(ch);
    }
}

// The words map to the error-term index in the order the command language lists them (edf,
// esf, erf, elf, ...), which is not the order of the terms' own names: "erf" gives the
// forward port 2 match and "elf" the reflection tracking, and likewise in reverse. Clients
// rely on that order.
void ErrorTermQuery(ScpiContext& c)
{
    int ch = 0;
    if (!c.Channel(ch))
    {
        return;
    }
    // A missing word is answered like a wrong one.
    QString word;
    bool ok = false;
    int term = 0;
    if (c.cmd.ParameterCount() > 0 && c.cmd.GetNextParameterString(word, true))
    {
        term = ScpiParamToErrTerm(word.trimmed(), ok);
    }
    QMutexLocker lock(&c.model.traceLock);
    const VNACalibration& cal = c.model.channels[ch]->calibration;
    if (!cal.CorrectionsLoaded())
    {
        lock.unlock();
        SysErr::AddSystemError(InvalidOperation, Tr("Calibration not active."));
        return;
    }
    if (!ok)
    {
        lock.unlock();
        SysErr::AddSystemError(InvalidParameter, Tr("Expected error term string."));
        return;
    }
    CplxVector values;
    cal.GetCalSetStd(values, CalSetViewErrorTerms, 0, term);
    lock.unlock();
    c.cmd.SubmitData(values);
}

void KitCatalog(ScpiContext& c)
{
    for (const CalKitListEntry& kit : ReadCalKitList())
    {
        c.cmd.SubmitReply(kit.name);
    }
}

void SelectKit(ScpiContext& c)
{
    QString name;
    if (c.cmd.GetNextParameterString(name, false))
    {
        c.window.calRemoteSelectKit(name.trimmed());
    }
}

void Method(ScpiContext& c)
{
    int ch = 0;
    if (!c.Channel(ch))
    {
        return;
    }
    if (c.window.CalibrationInProgress())
    {
        SysErr::AddSystemError(InvalidOperation, Tr("Remote calibration already in progress."));
        return;
    }
    QString method;
    if (!c.cmd.GetNextParameterString(method, true))
    {
        return;
    }
    method = method.trimmed();
    VNACalType type = SOLT;
    int port = 1;
    if (method == QLatin1String("sol"))
    {
        type = SOL;
        if (!c.cmd.GetNextParameterInt(port, false) || (port != 1 && port != 2))
        {
            SysErr::AddSystemError(InvalidParameter, Tr("Expected valid port number."));
            return;
        }
        --port;
    }
    else if (method == QLatin1String("solr"))
    {
        type = SOLR;
    }
    else if (method != QLatin1String("solt"))
    {
        SysErr::AddSystemError(InvalidParameter, Tr("Expected calibration method."));
        return;
    }
    c.window.calRemoteStart(ch, type, port);
}

// A step answers "1" or "0"; with a port for the reflect steps, and a standard's ID where the
// step takes one.
void Acquire(ScpiContext& c, CalStep step)
{
    int port = 1, id = -1;
    const bool reflect = step == CalStep::Short || step == CalStep::Open || step == CalStep::Load;
    bool ok = true;
    if (reflect)
    {
        ok = c.cmd.GetNextParameterInt(port) && c.cmd.GetNextParameterInt(id);
    }
    else if (step == CalStep::Thru)
    {
        ok = c.cmd.GetNextParameterInt(id);
    }
    c.cmd.SubmitReply(ok && c.window.calRemoteMeasure(step, port, id) ? 1 : 0);
}

void Save(ScpiContext& c)
{
    int ch = 0;
    if (!c.Channel(ch))
    {
        return;
    }
    QString file = GetMyDocumentsPath() + QStringLiteral("RemoteCal.vnacal");
    if (c.cmd.ParameterCount() > 0 && !c.cmd.GetNextParameterFileName(file))
    {
        return;
    }
    c.window.calRemoteSave(ch, file);
}
}  // namespace

const ScpiFamily& scpiCorrectionFamily()
{
    using S = ScpiContext;
    using Cal = VNACalibration;
    static const ScpiFamily family{
        "correction",
        "calibration in use",
        {{29, 50}},
        {{29, [](S& c) { SetChannelBool(c, &MainWindow::calEnabledChanged); }},
         {30,
          [](S& c)
          {
              int ch = 0;
              if (c.Channel(ch))
              {
                  c.cmd.SubmitReply(c.model.channels[ch]->calibrationEnabled);
              }
          }},
         {31, [](S& c) { SetChannelBool(c, &MainWindow::calInterpolateChanged); }},
         {32,
          [](S& c)
          {
              int ch = 0;
              if (c.Channel(ch))
              {
                  c.cmd.SubmitReply(c.model.channels[ch]->interpolationEnabled);
              }
          }},
         {33, ActivateSet},
         {34, DeactivateSet},
         {35, [](S& c)
          { ReplyCalibration(c, [](const Cal& cal) { return cal.CorrectionsLoaded(); }); }},
         {36,
          [](S& c)
          {
              ReplyCalibration(
                  c, [](const Cal& cal)
                  { return cal.CorrectionsLoaded() ? cal.GetName() : QStringLiteral("empty"); });
          }},
         {37,
          [](S& c)
          {
              ReplyCalibration(c,
                               [](const Cal& cal)
                               {
                                   return cal.CorrectionsLoaded()
                                              ? cal.GetDate().toString(Qt::TextDate)
                                              : QStringLiteral("empty");
                               });
          }},
         {38, [](S& c) { ReplyCalibration(c, CalTypeText); }},
         {39, ErrorTermQuery},
         {40, KitCatalog},
         {41, [](S& c) { c.cmd.SubmitReply(int(ReadCalKitList().size())); }},
         // The working record belongs to the window: the channel suffix is not read.
         {42, SelectKit},
         {43, [](S& c) { c.cmd.SubmitReply(c.window.calRemoteKitName()); }},
         {44, Method},
         {45, [](S& c) { Acquire(c, CalStep::Short); }},
         {46, [](S& c) { Acquire(c, CalStep::Open); }},
         {47, [](S& c) { Acquire(c, CalStep::Load); }},
         {48, [](S& c) { Acquire(c, CalStep::Thru); }},
         {49, [](S& c) { Acquire(c, CalStep::Isolation); }},
         {50, Save}}};
    return family;
}
