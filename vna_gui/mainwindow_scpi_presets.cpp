// Remote bodies: instrument state files.
#include "mainwindow.h"
#include "mainwindow_scpi.h"

namespace
{
void PresetUserSave(ScpiContext& c)
{
    QString file;
    if (c.cmd.GetNextParameterFileName(file))
    {
        c.window.SaveInstrumentState(file);
    }
}

void PresetUserLoad(ScpiContext& c)
{
    QString file;
    if (c.cmd.GetNextParameterFileName(file))
    {
        c.window.LoadInstrumentState(file);
    }
}
}  // namespace

const ScpiFamily& scpiPresetFamily()
{
    static const ScpiFamily family{"presets",
                                   "instrument state files",
                                   {{20, 21}},
                                   {{20, PresetUserSave}, {21, PresetUserLoad}}};
    return family;
}
