#include "ecal_workflow.h"

#include <utility>

QVector<CalKitStandardInfo> FindUCalStd(const VNACalKit& kit, CalClass cls, int uCalPort)
{
    QVector<CalKitStandardInfo> found;
    for (const CalKitStandardInfo& s : kit.GetStandardsWithClass(cls))
    {
        if (s.UCalPort == uCalPort)
        {
            found.append(s);
        }
    }
    return found;
}

UCalPortMap ECalPortMap(int vnaPort, int uCalPort)
{
    UCalPortMap map;
    const int other = vnaPort == 0 ? 1 : 0;
    map.vnaPortOfUCalPort[uCalPort == 0 ? 0 : 1] = vnaPort == 0 ? 0 : 1;
    map.vnaPortOfUCalPort[uCalPort == 0 ? 1 : 0] = other;
    return map;
}

int UCalStateOfClass(CalClass cls)
{
    switch (cls)
    {
        case CalClassShort:
            return MauryUCal::Short;
        case CalClassOpen:
            return MauryUCal::Open;
        case CalClassLoad:
            return MauryUCal::Load;
        case CalClassThru:
            return MauryUCal::Thru;
        default:
            return -1;
    }
}

VNACalKit OrientUCalKit(const VNACalKit& kit, const UCalPortMap& map)
{
    VNACalKit out = kit;
    if (!map.IsCrossed())
    {
        return out;
    }
    for (CalKitStandardInfo& s : out.Standards)
    {
        if (s.IsDataBased() && !s.DataReflectOnly)
        {
            std::swap(s.DataS11, s.DataS22);
            std::swap(s.DataS21, s.DataS12);
        }
    }
    return out;
}
