// MainWindow: port extension and the fixtures of a channel. Each slot calls one model operation,
// which changes the channel under the trace lock, then recalculates the channel.
#include <QFileInfo>

#include "error_log.h"
#include "file_dialogs.h"
#include "kx_widgets.h"
#include "mainwindow.h"
#include "port_extension_dialog.h"

namespace
{
constexpr int kPort1 = 0;
constexpr int kPort2 = 1;

// A file that does not load changes nothing: the previous fixture stays. The reason goes to the
// operator, and to the error log for a remote client, which sees no box.
bool LoadFixture(MainWindow& w, int channel, FixtureKind kind, int port, const QString& path)
{
    QString error;
    if (!w.Model().LoadFixturePort(channel, kind, port, path, error))
    {
        SysErr::AddSystemError(InvalidParameter,
                               QStringLiteral("%1: %2").arg(QFileInfo(path).fileName(), error));
        ShowMessageBoxWarning(&w, MainWindow::tr("Error Parsing SnP File"), error);
        return false;
    }
    w.UpdateAll(channel);
    return true;
}

void AskAndLoadFixture(MainWindow& w, FixtureKind kind, int port)
{
    const QString path =
        GetFileNameOpen(&w, QStringLiteral("DefaultSNPSaveDirectory"),
                        MainWindow::tr("S2P File (*.s2p)"), MainWindow::tr("Specify S2P File"));
    if (!path.isEmpty())
    {
        LoadFixture(w, w.Model().activeChannelIndex, kind, port, path);
    }
}

void ClearFixture(MainWindow& w, int channel, FixtureKind kind, int port)
{
    if (w.Model().IsValidChannelIndex(channel))
    {
        w.Model().ClearFixturePort(channel, kind, port);
        w.UpdateAll(channel);
    }
}

void EnableFixture(MainWindow& w, int channel, FixtureKind kind, bool enabled)
{
    if (w.Model().IsValidChannelIndex(channel))
    {
        w.Model().SetFixtureEnabled(channel, kind, enabled);
        w.UpdateAll(channel);
    }
}
}  // namespace

void MainWindow::calConfigurePortExtension()
{
    const int channel = model.activeChannelIndex;
    if (!model.IsValidChannelIndex(channel))
    {
        return;
    }
    // The dialog measures from the live channel while it is open and hands its settings to the
    // channel only when accepted.
    VNAPortExtensionDialog dialog(model, channel, this);
    if (dialog.exec() == QDialog::Accepted)
    {
        UpdateAll(channel);
    }
}

void MainWindow::calConfigurePortExtensionEnabled(int channel, bool enabled)
{
    if (model.IsValidChannelIndex(channel))
    {
        model.SetPortExtensionEnabled(channel, enabled);
        UpdateAll(channel);
    }
}

void MainWindow::calConfigurePortExtensionEnabled(bool enabled)
{
    calConfigurePortExtensionEnabled(model.activeChannelIndex, enabled);
}

void MainWindow::calDeembedEnabled(int channel, bool enabled)
{
    EnableFixture(*this, channel, FixtureKind::Deembedding, enabled);
}

void MainWindow::calDeembedEnabled(bool enabled)
{
    calDeembedEnabled(model.activeChannelIndex, enabled);
}

bool MainWindow::calDeembedLoadPort1(int channel, const QString& path)
{
    return LoadFixture(*this, channel, FixtureKind::Deembedding, kPort1, path);
}

bool MainWindow::calDeembedLoadPort2(int channel, const QString& path)
{
    return LoadFixture(*this, channel, FixtureKind::Deembedding, kPort2, path);
}

void MainWindow::calDeembedLoadPort1()
{
    AskAndLoadFixture(*this, FixtureKind::Deembedding, kPort1);
}

void MainWindow::calDeembedLoadPort2()
{
    AskAndLoadFixture(*this, FixtureKind::Deembedding, kPort2);
}

void MainWindow::calDeembedClearPort1(int channel)
{
    ClearFixture(*this, channel, FixtureKind::Deembedding, kPort1);
}

void MainWindow::calDeembedClearPort2(int channel)
{
    ClearFixture(*this, channel, FixtureKind::Deembedding, kPort2);
}

void MainWindow::calDeembedClearPort1()
{
    calDeembedClearPort1(model.activeChannelIndex);
}

void MainWindow::calDeembedClearPort2()
{
    calDeembedClearPort2(model.activeChannelIndex);
}

void MainWindow::calEmbedEnabled(int channel, bool enabled)
{
    EnableFixture(*this, channel, FixtureKind::Embedding, enabled);
}

void MainWindow::calEmbedEnabled(bool enabled)
{
    calEmbedEnabled(model.activeChannelIndex, enabled);
}

bool MainWindow::calEmbedLoadPort1(int channel, const QString& path)
{
    return LoadFixture(*this, channel, FixtureKind::Embedding, kPort1, path);
}

bool MainWindow::calEmbedLoadPort2(int channel, const QString& path)
{
    return LoadFixture(*this, channel, FixtureKind::Embedding, kPort2, path);
}

void MainWindow::calEmbedLoadPort1()
{
    AskAndLoadFixture(*this, FixtureKind::Embedding, kPort1);
}

void MainWindow::calEmbedLoadPort2()
{
    AskAndLoadFixture(*this, FixtureKind::Embedding, kPort2);
}

void MainWindow::calEmbedClearPort1(int channel)
{
    ClearFixture(*this, channel, FixtureKind::Embedding, kPort1);
}

void MainWindow::calEmbedClearPort2(int channel)
{
    ClearFixture(*this, channel, FixtureKind::Embedding, kPort2);
}

void MainWindow::calEmbedClearPort1()
{
    calEmbedClearPort1(model.activeChannelIndex);
}

void MainWindow::calEmbedClearPort2()
{
    calEmbedClearPort2(model.activeChannelIndex);
}
