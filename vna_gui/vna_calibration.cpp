#include "vna_calibration.h"

#include <QCoreApplication>

QString VNACalTypeToString(VNACalType type)
{
    switch (type)
    {
        case SOLT:
            return QCoreApplication::translate("VNACalibration", "SOLT");
        case SOL:
            return QCoreApplication::translate("VNACalibration", "SOL");
        case SOLR:
            return QCoreApplication::translate("VNACalibration", "SOLR (Unknown Thru)");
    }
    return QString();
}

bool Is2PortCal(VNACalType type)
{
    return type == SOLT || type == SOLR;
}

void VNACalibration::Unload()
{
    loaded = built = interpolated = false;
    serialNumber = -1;
}

void VNACalibration::BuildCorrections(const VNAStimulus& applied)
{
    if (!loaded)
    {
        return;
    }
    built = interpolated = false;
    if (applied == stimulus)
    {
        built = true;
    }
    else if (stimulus.start <= applied.start && applied.stop <= stimulus.stop)
    {
        built = interpolated = true;
    }
}

SParameters VNACalibration::ApplyCorrections(const SParametersRaw& raw, bool) const
{
    return raw.ToSParam();
}
