// Remote bodies: identity, error queue, local control, images, version and the device.
#include <QCoreApplication>

#include "error_log.h"
#include "mainwindow.h"
#include "mainwindow_scpi.h"

namespace
{
QString Tr(const char* text)
{
    return QCoreApplication::translate("Scpi", text);
}

void IdnQuery(ScpiContext& c)
{
    const VNADevice& d = c.model.device;
    if (!d.Connected())
    {
        c.cmd.SubmitReply(QStringLiteral("Kestrix,,"));
        return;
    }
    c.cmd.SubmitReply(QStringLiteral("Kestrix,%1,%2,%3")
                          .arg(d.GetDeviceName())
                          .arg(d.GetSerialNumber())
                          .arg(d.GetFirmwareVersion()));
}

void OpcQuery(ScpiContext& c)
{
    c.window.WaitForOPC(&c.cmd);
}

void Reset(ScpiContext& c)
{
    c.window.Preset(false);
}

void ErrorCountQuery(ScpiContext& c)
{
    c.cmd.SubmitReply(SysErr::GetErrorCount());
}

void ErrorNextQuery(ScpiContext& c)
{
    c.cmd.SubmitReply(SysErr::GetNextErrorAsString());
}

void ErrorClear(ScpiContext&)
{
    SysErr::ClearErrors();
}

void GoToLocal(ScpiContext& c)
{
    c.window.SCPIReturnToLocal();
}

void ImageSave(ScpiContext& c)
{
    QString file;
    if (c.cmd.GetNextParameterFileName(file))
    {
        c.window.saveAsImage(file);
    }
}

void Print(ScpiContext& c)
{
    c.window.printScreen(false);
}

void Close(ScpiContext& c)
{
    c.window.close();
}

void VersionQuery(ScpiContext& c)
{
    c.cmd.SubmitReply(QStringLiteral("1.0.14"));
}

void DeviceActiveQuery(ScpiContext& c)
{
    c.cmd.SubmitReply(c.model.device.Connected());
}

void DeviceCountQuery(ScpiContext& c)
{
    const VNADevice& d = c.model.device;
    c.cmd.SubmitReply(d.Connected() ? 0 : int(d.GetDeviceList().size()));
}

void DeviceListQuery(ScpiContext& c)
{
    if (c.model.device.Connected())
    {
        SysErr::AddSystemError(InvalidOperation, Tr("Device already open"));
        return;
    }
    for (int serial : c.model.device.GetDeviceList())
    {
        c.cmd.SubmitReply(QString::number(serial));
    }
}

void DeviceCurrentQuery(ScpiContext& c)
{
    c.cmd.SubmitReply(QString::number(c.model.device.GetSerialNumber()));
}

void DeviceConnectQuery(ScpiContext& c)
{
    int serial = 0;
    if (!c.cmd.GetNextParameterInt(serial))
    {
        return;
    }
    const VNADevice& d = c.model.device;
    if (d.Connected())
    {
        c.cmd.SubmitReply(QStringLiteral("0"));
        SysErr::AddSystemError(InvalidOperation, Tr("Device already connected"));
        return;
    }
    const std::vector<int> list = d.GetDeviceList();
    if (std::find(list.begin(), list.end(), serial) == list.end())
    {
        c.cmd.SubmitReply(QStringLiteral("0"));
        SysErr::AddSystemError(InvalidOperation, Tr("Device not found"));
        return;
    }
    c.window.ConnectDevice(serial);
    c.cmd.SubmitReply(d.Connected());
}

void DeviceDisconnectQuery(ScpiContext& c)
{
    c.window.DisconnectDevice();
    c.cmd.SubmitReply(1);
}

void FactoryCalState(ScpiContext& c)
{
    bool use = false;
    if (c.cmd.GetNextParameterBool(use))
    {
        c.window.calUseFactoryCal(use);
    }
}

void FactoryCalStateQuery(ScpiContext& c)
{
    c.cmd.SubmitReply(Preferences::Get().UseFactoryCal());
}
}  // namespace

const ScpiFamily& scpiSystemFamily()
{
    static const ScpiFamily family{"system and device",
                                   "",
                                   {{1, 19}},
                                   {{1, IdnQuery},
                                    {2, OpcQuery},
                                    {3, Reset},
                                    {4, ErrorCountQuery},
                                    {5, ErrorNextQuery},
                                    {6, ErrorClear},
                                    {7, GoToLocal},
                                    {8, ImageSave},
                                    {9, Print},
                                    {10, Close},
                                    {11, VersionQuery},
                                    {12, DeviceActiveQuery},
                                    {13, DeviceCountQuery},
                                    {14, DeviceListQuery},
                                    {15, DeviceCurrentQuery},
                                    {16, DeviceConnectQuery},
                                    {17, DeviceDisconnectQuery},
                                    {18, FactoryCalState},
                                    {19, FactoryCalStateQuery}}};
    return family;
}
