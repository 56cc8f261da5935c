// Remote bodies: the window and its plots.
#include "mainwindow.h"
#include "mainwindow_scpi.h"
#include "vna_plot.h"

namespace
{
void Hide(ScpiContext& c)
{
    bool hide = false;
    if (c.cmd.GetNextParameterBool(hide))
    {
        Hidden::Set(hide);
        c.window.setHidden(hide);
    }
}

void CatalogQuery(ScpiContext& c)
{
    QStringList numbers;
    for (int p = 0; p < VNAModel::kPlotCount; ++p)
    {
        if (c.window.Plot(p))
        {
            numbers.append(QString::number(p + 1));
        }
    }
    // One text, not a list of replies; -1 with no plot slots at all, which never happens here.
    c.cmd.SubmitReply(numbers.join(QLatin1Char(',')));
}

void WindowState(ScpiContext& c)
{
    int plot = 0;
    bool on = false;
    if (!c.Window(plot) || !c.cmd.GetNextParameterBool(on))
    {
        return;
    }
    if (on && !c.window.Plot(plot))
    {
        c.window.addPlot(plot);
    }
    else if (!on && c.window.Plot(plot))
    {
        c.window.plotClosing(plot);
    }
}

void WindowStateQuery(ScpiContext& c)
{
    int plot = 0;
    if (c.Window(plot))
    {
        c.cmd.SubmitReply(c.window.Plot(plot) != nullptr);
    }
}

void Title(ScpiContext& c)
{
    int plot = 0;
    QString title;
    // The text keeps its case; a missing text changes nothing.
    if (c.Window(plot) && c.cmd.GetNextParameterStringNoError(title) && c.window.Plot(plot))
    {
        c.window.Plot(plot)->SetTitle(title);
    }
}

void TitleQuery(ScpiContext& c)
{
    int plot = 0;
    if (c.Window(plot) && c.window.Plot(plot))
    {
        c.cmd.SubmitReply(c.window.Plot(plot)->GetTitle());
    }
}
}  // namespace

const ScpiFamily& scpiDisplayFamily()
{
    using S = ScpiContext;
    static const ScpiFamily family{
        "display",
        "",
        {{226, 234}},
        {{226, Hide},
         {227, [](S& c) { c.cmd.SubmitReply(c.window.isHidden()); }},
         {228, [](S& c) { c.window.setWindowState(Qt::WindowMinimized); }},
         {229, [](S& c) { c.window.setWindowState(Qt::WindowMaximized); }},
         {230, CatalogQuery},
         {231, WindowState},
         {232, WindowStateQuery},
         {233, Title},
         {234, TitleQuery}}};
    return family;
}
