// Remote bodies: de-embedding and embedding of fixtures. The two families differ only in the
// object they reach, so each body takes the slots of its family.
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

struct FixtureSlots
{
    FixtureKind kind;
    void (MainWindow::*enable)(int, bool);
    bool (MainWindow::*load[2])(int, const QString&);
    void (MainWindow::*clear[2])(int);
};

const FixtureSlots kDeembed{FixtureKind::Deembedding,
                            &MainWindow::calDeembedEnabled,
                            {&MainWindow::calDeembedLoadPort1, &MainWindow::calDeembedLoadPort2},
                            {&MainWindow::calDeembedClearPort1, &MainWindow::calDeembedClearPort2}};
const FixtureSlots kEmbed{FixtureKind::Embedding,
                          &MainWindow::calEmbedEnabled,
                          {&MainWindow::calEmbedLoadPort1, &MainWindow::calEmbedLoadPort2},
                          {&MainWindow::calEmbedClearPort1, &MainWindow::calEmbedClearPort2}};

// The channel, then the port from the second suffix: 1 or 2, anything else (none written
// included) is refused.
bool ChannelPort(ScpiContext& c, int& channel, int& port)
{
    if (!c.Channel(channel))
    {
        return false;
    }
    int suffix = -1;
    c.cmd.GetNextCommandSuffix(suffix, -1);
    if (suffix != 1 && suffix != 2)
    {
        SysErr::AddSystemError(InvalidSuffix, Tr(scpiStrInvalidSuffix));
        return false;
    }
    port = suffix - 1;
    return true;
}

void SetState(ScpiContext& c, const FixtureSlots& s)
{
    int ch = 0;
    bool on = false;
    if (c.Channel(ch) && c.cmd.GetNextParameterBool(on))
    {
        (c.window.*s.enable)(ch, on);
    }
}

void ReplyState(ScpiContext& c, const FixtureSlots& s)
{
    int ch = 0;
    if (c.Channel(ch))
    {
        c.cmd.SubmitReply(c.model.FixtureEnabled(ch, s.kind));
    }
}

// A file that does not load is recorded by the slot; the previous fixture stays.
void Load(ScpiContext& c, const FixtureSlots& s)
{
    int ch = 0, port = 0;
    QString file;
    if (ChannelPort(c, ch, port) && c.cmd.GetNextParameterFileName(file))
    {
        (c.window.*s.load[port])(ch, file);
    }
}

void ReplyLoaded(ScpiContext& c, const FixtureSlots& s)
{
    int ch = 0, port = 0;
    if (ChannelPort(c, ch, port))
    {
        c.cmd.SubmitReply(c.model.FixturePortLoaded(ch, s.kind, port));
    }
}

void Clear(ScpiContext& c, const FixtureSlots& s)
{
    int ch = 0, port = 0;
    if (ChannelPort(c, ch, port))
    {
        (c.window.*s.clear[port])(ch);
    }
}
}  // namespace

const ScpiFamily& scpiFixtureFamily()
{
    using S = ScpiContext;
    static const ScpiFamily family{"fixtures",
                                   "fixtures",
                                   {{69, 78}},
                                   {
                                       {69, [](S& c) { SetState(c, kDeembed); }},
                                       {70, [](S& c) { ReplyState(c, kDeembed); }},
                                       {71, [](S& c) { Load(c, kDeembed); }},
                                       {72, [](S& c) { ReplyLoaded(c, kDeembed); }},
                                       {73, [](S& c) { Clear(c, kDeembed); }},
                                       {74, [](S& c) { SetState(c, kEmbed); }},
                                       {75, [](S& c) { ReplyState(c, kEmbed); }},
                                       {76, [](S& c) { Load(c, kEmbed); }},
                                       {77, [](S& c) { ReplyLoaded(c, kEmbed); }},
                                       {78, [](S& c) { Clear(c, kEmbed); }},
                                   }};
    return family;
}
