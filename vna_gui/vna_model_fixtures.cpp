// The model's operations on a channel's fixtures and port extension. The chain reads both under
// the trace lock, so they change under it too; files are read before the lock is taken.
#include <QCoreApplication>
#include <QMutexLocker>

#include "vna_model.h"

namespace
{
bool IsValidPort(int port)
{
    return port == 0 || port == 1;
}
}  // namespace

bool VNAModel::LoadFixturePort(int channel, FixtureKind kind, int port, const QString& path,
                               QString& error)
{
    if (!IsValidChannelIndex(channel) || !IsValidPort(port))
    {
        error = QCoreApplication::translate("VNAModel", "Invalid channel or port.");
        return false;
    }
    QVector<double> freqs;
    SParameters params;
    if (!LoadFixtureFile(path, freqs, params, error))
    {
        return false;
    }
    QMutexLocker lock(&traceLock);
    channels[channel]->Fixture(kind).LoadPort(port, path, freqs, params);
    return true;
}

void VNAModel::ClearFixturePort(int channel, FixtureKind kind, int port)
{
    if (!IsValidChannelIndex(channel) || !IsValidPort(port))
    {
        return;
    }
    QMutexLocker lock(&traceLock);
    channels[channel]->Fixture(kind).ClearPort(port);
}

void VNAModel::SetFixtureEnabled(int channel, FixtureKind kind, bool enabled)
{
    if (!IsValidChannelIndex(channel))
    {
        return;
    }
    QMutexLocker lock(&traceLock);
    channels[channel]->Fixture(kind).SetEnabled(enabled);
}

// The readers run on the GUI thread, the only writer, so they need no lock.
bool VNAModel::FixtureEnabled(int channel, FixtureKind kind) const
{
    return IsValidChannelIndex(channel) && channels[channel]->Fixture(kind).Enabled();
}

bool VNAModel::FixturePortLoaded(int channel, FixtureKind kind, int port) const
{
    return IsValidChannelIndex(channel) && channels[channel]->Fixture(kind).PortLoaded(port);
}

QString VNAModel::FixturePortFileName(int channel, FixtureKind kind, int port) const
{
    return IsValidChannelIndex(channel) ? channels[channel]->Fixture(kind).PortFileName(port)
                                        : QString();
}

QString VNAModel::FixtureWarning(int channel, FixtureKind kind) const
{
    if (!IsValidChannelIndex(channel))
    {
        return QString();
    }
    const VNAChannel& ch = *channels[channel];
    return ch.Fixture(kind).CoverageWarning(ch.stimulus);
}

void VNAModel::SetPortExtensionEnabled(int channel, bool enabled)
{
    if (!IsValidChannelIndex(channel))
    {
        return;
    }
    QMutexLocker lock(&traceLock);
    channels[channel]->portExtension.SetEnabled(enabled);
}

void VNAModel::SetPortExtension(int channel, const PortExtensionSettings& settings)
{
    if (!IsValidChannelIndex(channel))
    {
        return;
    }
    QMutexLocker lock(&traceLock);
    channels[channel]->portExtension.SetSettings(settings);
}

PortExtensionSettings VNAModel::GetPortExtension(int channel) const
{
    return IsValidChannelIndex(channel) ? channels[channel]->portExtension.Settings()
                                        : PortExtensionSettings();
}
