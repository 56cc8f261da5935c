// Remote bodies: triggering, channels, and each channel's stimulus and source. Setters read the
// channel, then the value, and call the slot the panels call; limits are the slot's to clamp.
#include "mainwindow.h"
#include "mainwindow_scpi.h"
#include "scpi_parameters.h"

namespace
{
using DoubleSlot = void (MainWindow::*)(int, double);

// A frequency parameter, for slots that take a Frequency or plain hertz.
template <typename Hz>
void SetFreq(ScpiContext& c, void (MainWindow::*slot)(int, Hz))
{
    int ch = 0;
    double value = 0.0;
    if (c.Channel(ch) && c.cmd.GetNextParameterFreq(value))
    {
        (c.window.*slot)(ch, Hz(value));
    }
}

void SetDouble(ScpiContext& c, DoubleSlot slot)
{
    int ch = 0;
    double value = 0.0;
    if (c.Channel(ch) && c.cmd.GetNextParameterDouble(value))
    {
        (c.window.*slot)(ch, value);
    }
}

template <typename T>
void SetFromWord(ScpiContext& c, bool (*read)(Scpi*, T&), void (MainWindow::*slot)(int, int))
{
    int ch = 0;
    T value{};
    if (c.Channel(ch) && read(&c.cmd, value))
    {
        (c.window.*slot)(ch, int(value));
    }
}

// Replies a value read from the channel the suffix names.
template <typename Get>
void ReplyChannel(ScpiContext& c, Get get)
{
    int ch = 0;
    if (c.Channel(ch))
    {
        c.cmd.SubmitReply(get(*c.model.channels[ch]));
    }
}

void SetSweepMode(ScpiContext& c, VNASweepMode::Mode mode)
{
    int ch = 0;
    if (c.Channel(ch))
    {
        c.window.triggerSweepModeChanged(ch, mode);
    }
}

void ChannelState(ScpiContext& c)
{
    int ch = 0;
    bool on = false;
    if (c.Channel(ch) && c.cmd.GetNextParameterBool(on))
    {
        c.window.channelEnabledChanged(ch, on);
    }
}

void ChannelCatalogQuery(ScpiContext& c)
{
    for (const VNAChannel* ch : c.model.channels)
    {
        if (ch->enabled)
        {
            c.cmd.SubmitReply(ch->index + 1);
        }
    }
}

void AverageCount(ScpiContext& c)
{
    int ch = 0;
    int count = 0;
    if (c.Channel(ch) && c.cmd.GetNextParameterInt(count))
    {
        c.window.stimAvgCountChanged(ch, count);
    }
}

void AverageState(ScpiContext& c)
{
    int ch = 0;
    bool on = false;
    if (c.Channel(ch) && c.cmd.GetNextParameterBool(on))
    {
        c.window.stimAvgEnabledChanged(ch, on);
    }
}

void Points(ScpiContext& c)
{
    int ch = 0;
    int points = 0;
    if (c.Channel(ch) && c.cmd.GetNextParameterInt(points))
    {
        c.window.stimPointsChanged(ch, points);
    }
}

void OutputState(ScpiContext& c)
{
    bool on = false;
    if (c.cmd.GetNextParameterBool(on))
    {
        c.window.stimRFOutChanged(on);
    }
}

void ReferenceSource(ScpiContext& c)
{
    VNAReference r = VNAReferenceInternal;
    if (scpiParameterToReference(&c.cmd, r))
    {
        c.window.setReference(r);
    }
}

void SystemImpedance(ScpiContext& c)
{
    double ohms = 0.0;
    if (c.cmd.GetNextParameterDouble(ohms))
    {
        c.window.systemZ0Changed(ohms);
    }
}

void TriggerScope(ScpiContext& c)
{
    bool all = false;
    if (scpiParameterToTriggerScope(&c.cmd, all))
    {
        c.window.triggerScopeChanged(all);
        c.window.UpdateControlPanels();
        if (const VNAChannel* ch = c.model.ActiveChannel())
        {
            // The active channel's mode spreads to the new scope.
            c.window.triggerSweepModeChanged(int(ch->sweepMode.GetMode()));
        }
    }
}
}  // namespace

const ScpiFamily& scpiStimulusFamily()
{
    using S = ScpiContext;
    using C = VNAChannel;
    static const ScpiFamily family{
        "sweep, channels and stimulus",
        "",
        {{22, 27}, {235, 276}},
        {// No parameter is read: any form, "OFF" included, starts continuous sweeping.
         {22, [](S& c) { SetSweepMode(c, VNASweepMode::Continuous); }},
         {23,
          [](S& c) { ReplyChannel(c, [](const C& ch) { return ch.sweepMode.GetMode() == 2; }); }},
         {24, [](S& c) { SetSweepMode(c, VNASweepMode::Single); }},
         {25, ChannelCatalogQuery},
         {26, ChannelState},
         {27, [](S& c) { ReplyChannel(c, [](const C& ch) { return ch.enabled; }); }},
         {235, OutputState},
         {236, [](S& c) { c.cmd.SubmitReply(c.model.rfEnabled); }},
         {237, AverageCount},
         {238,
          [](S& c) { ReplyChannel(c, [](const C& ch) { return int(ch.stimulus.avgCount); }); }},
         {239, AverageState},
         {240, [](S& c) { ReplyChannel(c, [](const C& ch) { return ch.stimulus.avgEnabled; }); }},
         {241, [](S& c) { SetFreq(c, &MainWindow::stimIFBWChanged); }},
         {242, [](S& c) { ReplyChannel(c, [](const C& ch) { return ch.stimulus.ifbw; }); }},
         {243, [](S& c) { SetFreq(c, &MainWindow::stimIFBWChanged); }},
         {244, [](S& c) { ReplyChannel(c, [](const C& ch) { return ch.stimulus.ifbw; }); }},
         {245, [](S& c) { SetFreq(c, &MainWindow::stimCenterFreqChanged); }},
         {246, [](S& c) { ReplyChannel(c, [](const C& ch) { return ch.stimulus.center; }); }},
         {247, [](S& c) { SetFreq(c, &MainWindow::stimSpanChanged); }},
         {248, [](S& c) { ReplyChannel(c, [](const C& ch) { return ch.stimulus.span; }); }},
         {249, [](S& c) { SetFreq(c, &MainWindow::stimStartFreqChanged); }},
         {250, [](S& c) { ReplyChannel(c, [](const C& ch) { return ch.stimulus.start; }); }},
         {251, [](S& c) { SetFreq(c, &MainWindow::stimStopFreqChanged); }},
         {252, [](S& c) { ReplyChannel(c, [](const C& ch) { return ch.stimulus.stop; }); }},
         {253, [](S& c) { SetFreq(c, &MainWindow::stimStepChanged); }},
         {254, [](S& c) { ReplyChannel(c, [](const C& ch) { return ch.stimulus.StepSize(); }); }},
         {255, Points},
         {256, [](S& c) { ReplyChannel(c, [](const C& ch) { return int(ch.stimulus.points); }); }},
         {257, [](S& c)
          { SetFromWord(c, scpiParameterToSweepMode, &MainWindow::triggerSweepModeChanged); }},
         {258,
          [](S& c) {
              ReplyChannel(c, [](const C& ch) { return sweepModeToText(ch.sweepMode.GetMode()); });
          }},
         {259, [](S& c)
          { SetFromWord(c, scpiParameterToSweepType, &MainWindow::stimSweepTypeChanged); }},
         {260, [](S& c)
          { ReplyChannel(c, [](const C& ch) { return sweepTypeToText(ch.stimulus.type); }); }},
         {261, ReferenceSource},
         {262, [](S& c) { c.cmd.SubmitReply(referenceToText(c.model.reference)); }},
         {263, SystemImpedance},
         {264, [](S& c) { c.cmd.SubmitReply(gSystemZ0); }},
         {265, [](S& c) { SetDouble(c, &MainWindow::traceVelocityChanged); }},
         {266, [](S& c) { ReplyChannel(c, [](const C& ch) { return ch.velocityFactor; }); }},
         {267, [](S& c)
          { SetFromWord(c, scpiParameterToPowerConfig, &MainWindow::stimPowerConfigChanged); }},
         {268,
          [](S& c) {
              ReplyChannel(c,
                           [](const C& ch) { return powerConfigToText(ch.stimulus.powerConfig); });
          }},
         {269, [](S& c) { SetDouble(c, &MainWindow::stimManualAttenChanged); }},
         {270, [](S& c) { ReplyChannel(c, [](const C& ch) { return ch.stimulus.manualAtten; }); }},
         {271, [](S& c) { SetDouble(c, &MainWindow::stimManualPowerChanged); }},
         {272, [](S& c) { ReplyChannel(c, [](const C& ch) { return ch.stimulus.manualPower; }); }},
         {273,
          [](S& c)
          {
              int ch = 0;
              if (c.Channel(ch))
              {
                  c.window.stimRestartAvg(ch);
              }
          }},
         // 39.96 GHz is the full span.
         {274,
          [](S& c)
          {
              int ch = 0;
              if (c.Channel(ch))
              {
                  c.window.stimSpanChanged(ch, Frequency(39960000000.0));
              }
          }},
         {275, TriggerScope},
         {276,
          [](S& c) { c.cmd.SubmitReply(triggerScopeToText(c.model.triggerScopeAllChannels)); }}}};
    return family;
}
