// MainWindow: the remote-control server, the lockout, and the command bodies. Bodies call the
// same operations as the panels, so a remote change is a change by hand.
#include <QCoreApplication>
#include <QDebug>
#include <QHostAddress>
#include <QMutexLocker>
#include <QTcpServer>
#include <QTcpSocket>

#include "error_log.h"
#include "mainwindow.h"
#include "multi_plot_splitter_area.h"
#include "scpi_log.h"
#include "scpi_parameters.h"
#include "touchstone.h"
#include "vna_plot.h"

namespace
{
QString Tr(const char* text)
{
    return QCoreApplication::translate("Scpi", text);
}
}  // namespace

// ---------------------------------------------------------------------------------------------
// Server

void MainWindow::SCPIStartup()
{
    if (!Preferences::Get().scpiEnabled)
    {
        return;
    }
    SCPIShutdown();
    // The loopback address itself: a host name given as text would bind every interface.
    scpiServer->listen(QHostAddress::LocalHost, quint16(Preferences::Get().scpiPort));
}

void MainWindow::SCPIShutdown()
{
    if (scpiSocket)
    {
        disconnect(scpiSocket, &QTcpSocket::disconnected, this, &MainWindow::handleSCPIDisconnect);
        disconnect(scpiSocket, &QTcpSocket::readyRead, this, &MainWindow::readSCPISocket);
        scpiSocket->close();
        scpi.SetSocket(nullptr);
    }
    scpiServer->close();
}

void MainWindow::SCPIUpdatePort()
{
    if (!scpiSocket || scpiSocket->state() != QAbstractSocket::ConnectedState)
    {
        SCPIStartup();
    }
}

quint16 MainWindow::SCPIServerPort() const
{
    return scpiServer->isListening() ? scpiServer->serverPort() : 0;
}

void MainWindow::showSCPILog()
{
    scpiLogDialog->updateEnabledIndicator();
    scpiLogDialog->show();
    scpiLogDialog->raise();
}

void MainWindow::handleSCPIConnection()
{
    qDebug() << "Socket connection";
    if (scpiSocket)
    {
        scpiSocket->deleteLater();
    }
    scpiSocket = scpiServer->nextPendingConnection();
    if (!scpiSocket)
    {
        return;
    }
    scpi.SetSocket(scpiSocket);
    scpi.SetLog(scpiLogDialog);
    // One client at a time: nobody else can connect until this one leaves.
    scpiServer->close();
    connect(scpiSocket, &QTcpSocket::disconnected, this, &MainWindow::handleSCPIDisconnect);
    connect(scpiSocket, &QTcpSocket::readyRead, this, &MainWindow::readSCPISocket);
}

void MainWindow::handleSCPIDisconnect()
{
    qDebug() << "Socket disconnect";
    SCPIStartup();
}

void MainWindow::readSCPISocket()
{
    qDebug() << "Read from SCPI socket";
    QTcpSocket* socket = scpiSocket;
    if (!socket || socket->state() != QAbstractSocket::ConnectedState)
    {
        SCPIStartup();
        return;
    }
    while (socket == scpiSocket && socket->bytesAvailable() > 0)
    {
        const QByteArray data = socket->readAll();
        // Text up to the first NUL of a read; what follows it is dropped.
        const int nul = data.indexOf('\0');
        scpi.SubmitInput(QString::fromLatin1(data.constData(), nul < 0 ? data.size() : nul));
    }
}

void MainWindow::SCPIShowLockout()
{
    if (!Preferences::Get().scpiLockoutDialogEnabled || Hidden::Get() || remoteDialog->isVisible())
    {
        return;
    }
    remoteDialog->show();
    const QPoint centre = mapToGlobal(QPoint(width() / 2, height() / 2));
    remoteDialog->move(centre - QPoint(remoteDialog->width() / 2, remoteDialog->height() / 2));
}

// ---------------------------------------------------------------------------------------------
// Suffix rules shared by all bodies

bool MainWindow::SCPIChannel(Scpi* cmd, int& channel)
{
    int suffix = -1;
    if (!cmd->GetNextCommandSuffix(suffix, -1))
    {
        SysErr::AddSystemError(InvalidSuffix, Tr(scpiStrSuffixMissing));
        return false;
    }
    channel = (suffix == -1 ? 1 : suffix) - 1;
    if (!model.IsValidChannelIndex(channel))
    {
        SysErr::AddSystemError(InvalidIndex, Tr(scpiStrInvalidChannelNumber));
        return false;
    }
    return true;
}

bool MainWindow::SCPITrace(Scpi* cmd, int channel, int& trace)
{
    int suffix = -1;
    cmd->GetNextCommandSuffix(suffix, -1);
    if (suffix == -1)
    {
        SysErr::AddSystemError(InvalidIndex, Tr("Missing measure suffix"));
        return false;
    }
    QMutexLocker lock(&model.traceLock);
    trace = model.mapper.GetPos(channel, suffix - 1);
    if (!model.IsValidTraceIndex(trace) || !model.traces[trace])
    {
        SysErr::AddSystemError(InvalidIndex, Tr(scpiStrInvalidMeasNumber));
        return false;
    }
    return true;
}

// ---------------------------------------------------------------------------------------------
// Dispatch

void MainWindow::SCPIHandleCommand(Scpi* cmd)
{
    const int id = cmd->GetCommandId();
    qDebug() << "SCPI CMD ID received " << id;
    SCPIShowLockout();
    if (SCPISystemCommand(cmd, id) || SCPIStimulusCommand(cmd, id) || SCPIDisplayCommand(cmd, id) ||
        SCPIMeasurementCommand(cmd, id))
    {
        return;
    }
    // Matched by the language, but its feature has not been built yet.
    SysErr::AddSystemError(Unsupported, cmd->GetCommandHeader());
}

bool MainWindow::SCPISystemCommand(Scpi* cmd, int id)
{
    switch (id)
    {
        case 1:  // *IDN?
            if (model.device.Connected())
            {
                cmd->SubmitReply(QStringLiteral("Kestrix,%1,%2,%3")
                                     .arg(model.device.GetDeviceName())
                                     .arg(model.device.GetSerialNumber())
                                     .arg(model.device.GetFirmwareVersion()));
            }
            else
            {
                cmd->SubmitReply(QStringLiteral("Kestrix,,,"));
            }
            return true;
        case 2:  // *OPC?
            WaitForOPC();
            cmd->SubmitReply(QStringLiteral("1"));
            return true;
        case 3:  // *RST
            Preset(false);
            return true;
        case 4:
            cmd->SubmitReply(SysErr::GetErrorCount());
            return true;
        case 5:
            cmd->SubmitReply(SysErr::GetNextErrorAsString());
            return true;
        case 6:
            SysErr::ClearErrors();
            return true;
        case 7:  // :SYSTem:COMMunicate:GTLocal
            remoteDialog->done(0);
            return true;
        case 8:  // :SYSTem:IMAGe:SAVe
        {
            QString file;
            if (cmd->GetNextParameterFileName(file))
            {
                saveAsImage(file);
            }
            return true;
        }
        case 9:
            printScreen(false);
            return true;
        case 10:
            close();
            return true;
        case 11:
            cmd->SubmitReply(QStringLiteral("1.0.14"));
            return true;
        case 12:
            cmd->SubmitReply(model.device.Connected());
            return true;
        case 13:
            cmd->SubmitReply(model.device.Connected() ? 0
                                                      : int(model.device.GetDeviceList().size()));
            return true;
        case 14:
            if (model.device.Connected())
            {
                SysErr::AddSystemError(InvalidOperation, Tr("Device already open"));
                return true;
            }
            for (int serial : model.device.GetDeviceList())
            {
                cmd->SubmitReply(QString::number(serial));
            }
            return true;
        case 15:
            cmd->SubmitReply(QString::number(model.device.GetSerialNumber()));
            return true;
        case 16:  // :SYSTem:DEVice:CONnect? serial
        {
            int serial = 0;
            if (!cmd->GetNextParameterInt(serial))
            {
                return true;
            }
            if (model.device.Connected())
            {
                cmd->SubmitReply(QStringLiteral("0"));
                SysErr::AddSystemError(InvalidOperation, Tr("Device already connected"));
                return true;
            }
            const std::vector<int> list = model.device.GetDeviceList();
            if (std::find(list.begin(), list.end(), serial) == list.end())
            {
                cmd->SubmitReply(QStringLiteral("0"));
                SysErr::AddSystemError(InvalidOperation, Tr("Device not found"));
                return true;
            }
            ConnectDevice(serial);
            cmd->SubmitReply(model.device.Connected());
            return true;
        }
        case 17:
            DisconnectDevice();
            cmd->SubmitReply(1);
            return true;
        case 18:
        {
            bool use = false;
            if (cmd->GetNextParameterBool(use))
            {
                Preferences::Get().useFactoryCal = use;
            }
            return true;
        }
        case 19:
            cmd->SubmitReply(Preferences::Get().useFactoryCal);
            return true;
        case 22:  // :INITiate#:CONTinuous (no parameter is read: any form starts it)
        case 24:  // :INITiate#:IMMediate
        {
            int channel = 0;
            if (SCPIChannel(cmd, channel))
            {
                triggerSweepModeChanged(channel,
                                        id == 22 ? VNASweepMode::Continuous : VNASweepMode::Single);
            }
            return true;
        }
        case 23:
        {
            int channel = 0;
            if (SCPIChannel(cmd, channel))
            {
                cmd->SubmitReply(model.channels[channel]->sweepMode.GetMode() ==
                                 VNASweepMode::Continuous);
            }
            return true;
        }
        case 25:
            for (const VNAChannel* c : model.channels)
            {
                if (c->enabled)
                {
                    cmd->SubmitReply(c->index + 1);
                }
            }
            return true;
        case 26:
        {
            int channel = 0;
            bool on = false;
            if (!SCPIChannel(cmd, channel) || !cmd->GetNextParameterBool(on))
            {
                return true;
            }
            if (model.channels[channel]->enabled != on)
            {
                MeasStop();
                model.channels[channel]->enabled = on;
                MeasStart();
                UpdateControlPanels();
            }
            return true;
        }
        case 27:
        {
            int channel = 0;
            if (SCPIChannel(cmd, channel))
            {
                cmd->SubmitReply(model.channels[channel]->enabled);
            }
            return true;
        }
        case 28:  // :SENSe#:EXPort:SNP
        {
            int channel = 0;
            QString file;
            if (!SCPIChannel(cmd, channel) || !cmd->GetNextParameterFileName(file))
            {
                return true;
            }
            const bool s1p = IsS1PFile(file);
            int port = 1;
            if (s1p && !cmd->GetNextParameterInt(port))
            {
                return true;
            }
            port = std::min(std::max(port, 1), 2);
            SParameters data;
            {
                QMutexLocker lock(&model.traceLock);
                data = model.channels[channel]->processed;
            }
            QString error;
            if (!StoreSNPFile(file, model.channels[channel]->stimulus, data, s1p, port - 1, error))
            {
                SysErr::AddSystemError(UnableToSaveFile, error);
            }
            return true;
        }
        default:
            return false;
    }
}

bool MainWindow::SCPIStimulusCommand(Scpi* cmd, int id)
{
    if (id < 235 || id > 276)
    {
        return false;
    }
    // Commands without a channel suffix.
    switch (id)
    {
        case 235:
        {
            bool on = false;
            if (cmd->GetNextParameterBool(on))
            {
                stimRFOutChanged(on);
            }
            return true;
        }
        case 236:
            cmd->SubmitReply(model.rfEnabled);
            return true;
        case 261:
        {
            VNAReference r = VNAReferenceInternal;
            if (scpiParameterToReference(cmd, r))
            {
                setReference(r);
            }
            return true;
        }
        case 262:
            cmd->SubmitReply(referenceToText(model.reference));
            return true;
        case 263:
        {
            double z0 = 0.0;
            if (cmd->GetNextParameterDouble(z0))
            {
                systemZ0Changed(z0);
            }
            return true;
        }
        case 264:
            cmd->SubmitReply(gSystemZ0);
            return true;
        case 275:
        {
            bool all = false;
            if (scpiParameterToTriggerScope(cmd, all))
            {
                triggerScopeChanged(all);
                UpdateControlPanels();
                if (const VNAChannel* c = model.ActiveChannel())
                {
                    // The active channel's mode spreads to the new scope.
                    triggerSweepModeChanged(int(c->sweepMode.GetMode()));
                }
            }
            return true;
        }
        case 276:
            cmd->SubmitReply(triggerScopeToText(model.triggerScopeAllChannels));
            return true;
        default:
            break;
    }

    int ch = 0;
    if (!SCPIChannel(cmd, ch))
    {
        return true;
    }
    const VNAStimulus& s = model.channels[ch]->stimulus;
    double value = 0.0;
    int count = 0;
    bool flag = false;
    switch (id)
    {
        case 237:
            if (cmd->GetNextParameterInt(count))
            {
                stimAvgCountChanged(ch, count);
            }
            break;
        case 238:
            cmd->SubmitReply(int(s.avgCount));
            break;
        case 239:
            if (cmd->GetNextParameterBool(flag))
            {
                stimAvgEnabledChanged(ch, flag);
            }
            break;
        case 240:
            cmd->SubmitReply(s.avgEnabled);
            break;
        case 241:
        case 243:
            if (cmd->GetNextParameterFreq(value))
            {
                stimIFBWChanged(ch, value);
            }
            break;
        case 242:
        case 244:
            cmd->SubmitReply(s.ifbw);
            break;
        case 245:
            if (cmd->GetNextParameterFreq(value))
            {
                stimCenterFreqChanged(ch, Frequency(value));
            }
            break;
        case 246:
            cmd->SubmitReply(s.center);
            break;
        case 247:
            if (cmd->GetNextParameterFreq(value))
            {
                stimSpanChanged(ch, Frequency(value));
            }
            break;
        case 248:
            cmd->SubmitReply(s.span);
            break;
        case 249:
            if (cmd->GetNextParameterFreq(value))
            {
                stimStartFreqChanged(ch, Frequency(value));
            }
            break;
        case 250:
            cmd->SubmitReply(s.start);
            break;
        case 251:
            if (cmd->GetNextParameterFreq(value))
            {
                stimStopFreqChanged(ch, Frequency(value));
            }
            break;
        case 252:
            cmd->SubmitReply(s.stop);
            break;
        case 253:
            if (cmd->GetNextParameterFreq(value))
            {
                stimStepChanged(ch, Frequency(value));
            }
            break;
        case 254:
            cmd->SubmitReply(s.StepSize());
            break;
        case 255:
            if (cmd->GetNextParameterInt(count))
            {
                stimPointsChanged(ch, count);
            }
            break;
        case 256:
            cmd->SubmitReply(int(s.points));
            break;
        case 257:
        {
            VNASweepMode::Mode mode = VNASweepMode::Continuous;
            if (scpiParameterToSweepMode(cmd, mode))
            {
                triggerSweepModeChanged(ch, int(mode));
            }
            break;
        }
        case 258:
            cmd->SubmitReply(sweepModeToText(model.channels[ch]->sweepMode.GetMode()));
            break;
        case 259:
        {
            VNASweepType type = SweepLinear;
            if (scpiParameterToSweepType(cmd, type))
            {
                EditStimulus(ch, [&](VNAStimulus& st) { st.type = type; });
            }
            break;
        }
        case 260:
            cmd->SubmitReply(sweepTypeToText(s.type));
            break;
        case 265:
            if (cmd->GetNextParameterDouble(value))
            {
                MeasStop();
                model.channels[ch]->velocityFactor = value;
                MeasStart();
                UpdateAll(ch);
            }
            break;
        case 266:
            cmd->SubmitReply(model.channels[ch]->velocityFactor);
            break;
        case 267:
        {
            VNAPowerConfig config = VNAPowerHigh;
            if (scpiParameterToPowerConfig(cmd, config))
            {
                stimPowerConfigChanged(ch, int(config));
            }
            break;
        }
        case 268:
            cmd->SubmitReply(powerConfigToText(s.powerConfig));
            break;
        case 269:
            if (cmd->GetNextParameterDouble(value))
            {
                stimManualAttenChanged(ch, value);
            }
            break;
        case 270:
            cmd->SubmitReply(s.manualAtten);
            break;
        case 271:
            if (cmd->GetNextParameterDouble(value))
            {
                stimManualPowerChanged(ch, value);
            }
            break;
        case 272:
            cmd->SubmitReply(s.manualPower);
            break;
        case 273:
            stimRestartAvg(ch);
            break;
        case 274:
            stimSpanChanged(ch, Frequency(39960000000.0));
            break;
        default:
            return false;
    }
    return true;
}

bool MainWindow::SCPIDisplayCommand(Scpi* cmd, int id)
{
    switch (id)
    {
        case 226:
        {
            bool hide = false;
            if (cmd->GetNextParameterBool(hide))
            {
                Hidden::Set(hide);
                setHidden(hide);
            }
            return true;
        }
        case 227:
            cmd->SubmitReply(isHidden());
            return true;
        case 228:
            setWindowState(Qt::WindowMinimized);
            return true;
        case 229:
            setWindowState(Qt::WindowMaximized);
            return true;
        case 230:
        {
            QStringList numbers;
            for (int p = 0; p < plots.size(); ++p)
            {
                if (plots[p])
                {
                    numbers.append(QString::number(p + 1));
                }
            }
            cmd->SubmitReply(plots.isEmpty() ? QStringLiteral("-1")
                                             : numbers.join(QLatin1Char(',')));
            return true;
        }
        case 231:
        case 232:
        case 233:
        case 234:
            break;
        default:
            return false;
    }
    int suffix = -1;
    cmd->GetNextCommandSuffix(suffix, -1);
    if (suffix == -1)
    {
        SysErr::AddSystemError(InvalidIndex, Tr("Missing window suffix"));
        return true;
    }
    const int plot = suffix - 1;
    if (plot < 0 || plot >= VNAModel::kPlotCount)
    {
        SysErr::AddSystemError(InvalidIndex, Tr("Invalid window suffix"));
        return true;
    }
    switch (id)
    {
        case 231:
        {
            bool on = false;
            if (!cmd->GetNextParameterBool(on))
            {
                return true;
            }
            if (on && !plots[plot])
            {
                addPlot(plot);
            }
            else if (!on && plots[plot])
            {
                plotClosing(plot);
            }
            return true;
        }
        case 232:
            cmd->SubmitReply(plots[plot] != nullptr);
            return true;
        case 233:
        {
            QString title;
            if (cmd->GetNextParameterStringNoError(title) && plots[plot])
            {
                plots[plot]->SetTitle(title);
            }
            return true;
        }
        case 234:
            if (plots[plot])
            {
                cmd->SubmitReply(plots[plot]->GetTitle());
            }
            return true;
        default:
            return false;
    }
}

bool MainWindow::SCPIMeasurementCommand(Scpi* cmd, int id)
{
    // Measurements, their data, scale, math, offsets, smoothing and statistics.
    if (id < 79 || id > 136)
    {
        return false;
    }
    int ch = 0;
    if (!SCPIChannel(cmd, ch))
    {
        return true;
    }
    if (id == 79)  // :CALCulate#:MEASure:CATalog?
    {
        QVector<int> places;
        {
            QMutexLocker lock(&model.traceLock);
            places = model.mapper.GetSCPITracesOnChannel(ch);
        }
        if (places.isEmpty())
        {
            cmd->SubmitReply(QStringLiteral("EMPTY"));
        }
        for (int p : places)
        {
            cmd->SubmitReply(p + 1);
        }
        return true;
    }
    if (id == 87)  // :CALCulate#:MEASure#:DEFine
    {
        int suffix = -1;
        cmd->GetNextCommandSuffix(suffix, -1);
        if (suffix == -1)
        {
            SysErr::AddSystemError(InvalidIndex, Tr("Missing measure suffix"));
            return true;
        }
        {
            QMutexLocker lock(&model.traceLock);
            if (model.mapper.IsDefined(ch, suffix - 1))
            {
                SysErr::AddSystemError(InvalidIndex, Tr("Measurement number already defined"));
                return true;
            }
            int index = -1;
            VNATrace* t = model.InternalCreateTrace(index);
            t->SetChannel(ch);
            model.mapper.SetPos(ch, suffix - 1, index);
        }
        UpdateAll(ch);
        return true;
    }
    if (id == 89)  // :CALCulate#:MEASure#:DELete:ALL
    {
        traceDeleteAll();
        return true;
    }
    int trace = -1;
    if (!SCPITrace(cmd, ch, trace))
    {
        return true;
    }
    const VNAChannel& c = *model.channels[ch];
    switch (id)
    {
        case 80:
        {
            double seconds = 0.0;
            if (cmd->GetNextParameterTime(seconds))
            {
                traceElecDelayChanged(trace, seconds);
            }
            return true;
        }
        case 88:
            traceDelete(trace);
            return true;
        case 90:
        {
            int plot = 0;
            if (cmd->GetNextParameterInt(plot))
            {
                tracePlotChanged(trace, plot - 1);
            }
            return true;
        }
        case 92:
        {
            VNATraceMeas meas = S11;
            if (scpiParameterToMeas(cmd, meas))
            {
                traceMeasChanged(trace, int(meas));
            }
            return true;
        }
        case 94:
        {
            VNATraceFormat format = LogMag;
            if (scpiParameterToTraceFormat(cmd, format))
            {
                traceFormatChanged(trace, int(format));
            }
            return true;
        }
        case 96:
            traceHoldRestart(trace);
            return true;
        case 97:
        {
            int hold = 0;
            if (scpiParameterToTraceHoldType(cmd, hold))
            {
                traceHoldChanged(trace, hold);
            }
            return true;
        }
        case 99:
        case 101:
        case 103:
        {
            double value = 0.0;
            if (!cmd->GetNextParameterDouble(value))
            {
                return true;
            }
            EditTrace(trace,
                      [&](VNATrace& t)
                      {
                          if (id == 99)
                          {
                              *t.ref() = value;
                          }
                          else if (id == 101)
                          {
                              t.SetDiv(value);
                          }
                          else
                          {
                              *t.refPos() = std::min(std::max(value, 0.0), 10.0);
                          }
                      });
            model.traceScaleCouplingHelper();
            updatePlots();
            return true;
        }
        case 105:
        case 107:
        {
            VNATrace* t = nullptr;
            {
                QMutexLocker lock(&model.traceLock);
                t = model.traces[trace];
            }
            id == 105 ? model.traceAutoScale(t) : model.traceDefaultScale(t);
            model.traceScaleCouplingHelper();
            UpdateControlPanels();
            updatePlots();
            return true;
        }
        case 106:
            traceAutoScaleAll();
            return true;
        case 108:
            traceDefaultScaleAll();
            return true;
        case 109:
        {
            int coupling = 0;
            if (scpiParameterToTraceScaleCoupling(cmd, coupling))
            {
                traceScaleCouplingChanged(coupling);
            }
            return true;
        }
        case 110:
            cmd->SubmitReply(traceScaleCouplingToText(VNATraceScaleCoupling(model.scaleCoupling)));
            return true;
        case 111:
        {
            VNATrace* t = nullptr;
            {
                QMutexLocker lock(&model.traceLock);
                t = model.traces[trace];
            }
            model.traceStoreMem(t);
            UpdateControlPanels();
            updatePlots();
            return true;
        }
        case 112:
        {
            int op = 0;
            if (scpiParameterToTraceMathOp(cmd, op))
            {
                EditTrace(trace, [&](VNATrace& t) { t.mathOp = VNATraceMathOp(op); });
            }
            return true;
        }
        case 114:
        case 116:
        case 124:
        case 128:
        case 130:
        {
            bool on = false;
            if (!cmd->GetNextParameterBool(on))
            {
                return true;
            }
            EditTrace(trace,
                      [&](VNATrace& t)
                      {
                          switch (id)
                          {
                              case 114:
                                  t.mathInterpolate = on;
                                  break;
                              case 116:
                                  t.showMemTrace = on;
                                  break;
                              case 124:
                                  t.SetSmoothing(on);
                                  break;
                              case 128:
                                  t.statsEnabled = on;
                                  break;
                              default:
                                  t.statsAutoRange = on;
                                  break;
                          }
                      });
            return true;
        }
        case 118:
        case 120:
        case 122:
        case 126:
        {
            double value = 0.0;
            if (!cmd->GetNextParameterDouble(value))
            {
                return true;
            }
            EditTrace(trace,
                      [&](VNATrace& t)
                      {
                          double& field = id == 118   ? t.offsetMag
                                          : id == 120 ? t.offsetMagSlope
                                          : id == 122 ? t.offsetPhase
                                                      : t.smoothPercent;
                          field = value;
                      });
            return true;
        }
        case 132:
        case 134:
        {
            double f = 0.0;
            if (cmd->GetNextParameterFreq(f))
            {
                EditTrace(trace,
                          [&](VNATrace& t) { (id == 132 ? t.statsStart : t.statsStop) = f; });
            }
            return true;
        }
        case 136:
        {
            QString word;
            if (!cmd->GetNextParameterString(word, true))
            {
                return true;
            }
            QMutexLocker lock(&model.traceLock);
            const VNATraceStats& st = model.traces[trace]->stats;
            if (word == QLatin1String("min"))
            {
                cmd->SubmitReply(st.min);
            }
            else if (word == QLatin1String("max"))
            {
                cmd->SubmitReply(st.max);
            }
            else if (word == QLatin1String("mean"))
            {
                cmd->SubmitReply(st.mean);
            }
            else if (word == QLatin1String("stdev"))
            {
                cmd->SubmitReply(st.stdDev);
            }
            else
            {
                SysErr::AddSystemError(InvalidParameter, Tr("Expected statistic parameter"));
            }
            return true;
        }
        case 82:  // DATA:X? needs no trace data, but the trace must exist
            cmd->SubmitReply(c.stimulus.GetFreqVector());
            return true;
        case 86:
        {
            QString word;
            if (!cmd->GetNextParameterString(word, true))
            {
                return true;
            }
            bool found = false;
            QMutexLocker lock(&c.measLock);
            SParametersRaw& raw = const_cast<SParametersRaw&>(c.MeasAvg);
            const CplxVector* rx = raw.GetReceiver(word, found);
            if (!found)
            {
                SysErr::AddSystemError(InvalidParameter, Tr("Expected receiver parameter"));
                cmd->SubmitReply(CplxVector());
                return true;
            }
            cmd->SubmitReply(*rx);
            return true;
        }
        default:
            break;
    }
    // The rest read the trace under the trace lock.
    QMutexLocker lock(&model.traceLock);
    const VNATrace* t = model.traces[trace];
    switch (id)
    {
        case 81:
            cmd->SubmitReply(t->elecDelay);
            break;
        case 83:
            if (IsSmithFormat(t->format))
            {
                cmd->SubmitReply(t->x, t->y);
            }
            else
            {
                cmd->SubmitReply(t->y);
            }
            break;
        case 84:
            cmd->SubmitReply(c.MeasCal.GetSParam(t->meas));
            break;
        case 85:
        {
            QMutexLocker measLock(&c.measLock);
            cmd->SubmitReply(c.MeasAvg.GetSParam(t->meas));
            break;
        }
        case 91:
            cmd->SubmitReply(t->plot + 1);
            break;
        case 93:
            cmd->SubmitReply(measToText(t->meas));
            break;
        case 95:
            cmd->SubmitReply(traceFormatToText(t->format));
            break;
        case 98:
            cmd->SubmitReply(traceHoldTypeToText(t->hold));
            break;
        case 100:
            cmd->SubmitReply(*t->ref());
            break;
        case 102:
            cmd->SubmitReply(*t->div());
            break;
        case 104:
            cmd->SubmitReply(*t->refPos());
            break;
        case 113:
            cmd->SubmitReply(traceMathOpToText(t->mathOp));
            break;
        case 115:
            cmd->SubmitReply(t->mathInterpolate);
            break;
        case 117:
            cmd->SubmitReply(t->showMemTrace);
            break;
        case 119:
            cmd->SubmitReply(t->offsetMag);
            break;
        case 121:
            cmd->SubmitReply(t->offsetMagSlope);
            break;
        case 123:
            cmd->SubmitReply(t->offsetPhase);
            break;
        case 125:
            cmd->SubmitReply(t->smoothEnabled);
            break;
        case 127:
            cmd->SubmitReply(t->smoothPercent);
            break;
        case 129:
            cmd->SubmitReply(t->statsEnabled);
            break;
        case 133:
            cmd->SubmitReply(t->statsStart);
            break;
        case 135:
            cmd->SubmitReply(t->statsStop);
            break;
        default:
            return false;
    }
    return true;
}
