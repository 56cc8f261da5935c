#include "window_placement.h"

#include <algorithm>

QRect ScreenRealEstate(const QVector<QRect>& screens)
{
    QRect all;
    for (const QRect& s : screens)
    {
        all = all.united(s);
    }
    return all;
}

QRect PlaceWindow(const QRect& stored, int storedScreenCount, const QRect& storedRealEstate,
                  const QVector<QRect>& screens)
{
    if (screens.isEmpty())
    {
        return stored;
    }
    // A window smaller than the minimum counts as visible when it shows whole.
    const int needW = std::min(kMinVisible, stored.width());
    const int needH = std::min(kMinVisible, stored.height());
    bool visible = false;
    for (const QRect& s : screens)
    {
        const QRect common = s.intersected(stored);
        visible =
            visible || (!common.isEmpty() && common.width() >= needW && common.height() >= needH);
    }
    const bool sameScreens =
        storedScreenCount == screens.size() && storedRealEstate == ScreenRealEstate(screens);
    if (sameScreens && visible && stored.isValid())
    {
        return stored;
    }
    const QRect& primary = screens.front();
    QSize size = stored.isValid() ? stored.size() : primary.size();
    size = size.boundedTo(primary.size());
    QRect placed(QPoint(0, 0), size);
    placed.moveCenter(primary.center());
    return placed;
}
