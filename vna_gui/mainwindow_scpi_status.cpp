// Remote bodies: the format of the data replies and the IEEE 488.2 status model (event and
// service request registers, *OPC, *WAI, *TST?).
#include <QCoreApplication>

#include "error_log.h"
#include "mainwindow.h"
#include "mainwindow_scpi.h"
#include "scpi_parameters.h"

namespace
{
using S = ScpiContext;

void SetDataFormat(S& c)
{
    ScpiDataFormat format = ScpiDataFormat::Ascii;
    if (scpiParameterToDataFormat(&c.cmd, format))
    {
        c.cmd.SetDataFormat(format);
    }
}

void SetByteOrder(S& c)
{
    bool swapped = false;
    if (scpiParameterToByteOrder(&c.cmd, swapped))
    {
        c.cmd.SetSwappedByteOrder(swapped);
    }
}

// Reads a register mask of 0 to 255.
bool ReadMask(S& c, int& mask)
{
    if (!c.cmd.GetNextParameterInt(mask))
    {
        return false;
    }
    if (mask < 0 || mask > 255)
    {
        SysErr::AddSystemError(InvalidParameter, QCoreApplication::translate(
                                                     "Scpi", "Expected register value 0 to 255"));
        return false;
    }
    return true;
}

void SetEventEnable(S& c)
{
    int mask = 0;
    if (ReadMask(c, mask))
    {
        c.window.SCPIStatusOf(&c.cmd).SetEventEnable(mask);
    }
}

void SetServiceRequestEnable(S& c)
{
    int mask = 0;
    if (ReadMask(c, mask))
    {
        c.window.SCPIStatusOf(&c.cmd).SetServiceRequestEnable(mask);
    }
}

void StatusByteQuery(S& c)
{
    c.cmd.SubmitReply(c.window.SCPIStatusOf(&c.cmd).StatusByte(SysErr::GetErrorCount() > 0));
}
}  // namespace

const ScpiFamily& scpiStatusFamily()
{
    static const ScpiFamily family{
        "data format and status",
        "",
        {{277, 290}},
        {{277, SetDataFormat},
         {278, [](S& c) { c.cmd.SubmitReply(dataFormatToText(c.cmd.DataFormat())); }},
         {279, SetByteOrder},
         {280, [](S& c) { c.cmd.SubmitReply(byteOrderToText(c.cmd.SwappedByteOrder())); }},
         {281, [](S& c) { c.window.SCPIClearStatus(&c.cmd); }},
         {282, SetEventEnable},
         {283, [](S& c) { c.cmd.SubmitReply(c.window.SCPIStatusOf(&c.cmd).EventEnable()); }},
         {284, [](S& c) { c.cmd.SubmitReply(c.window.SCPIStatusOf(&c.cmd).TakeEvents()); }},
         {285, SetServiceRequestEnable},
         {286,
          [](S& c) { c.cmd.SubmitReply(c.window.SCPIStatusOf(&c.cmd).ServiceRequestEnable()); }},
         {287, StatusByteQuery},
         {288, [](S& c) { c.window.SCPIArmOperationComplete(&c.cmd); }},
         {289, [](S& c) { c.window.SCPIWaitForSweeps(&c.cmd); }},
         {290, [](S& c) { c.cmd.SubmitReply(0); }}}};
    return family;
}
