// Where the main window goes at start-up, from the geometry saved at the last close and the
// screens then and now. Plain rectangles, so the rule is checked without real screens.
#pragma once

#include <QRect>
#include <QVector>

// The smallest rectangle holding every screen's available area.
QRect ScreenRealEstate(const QVector<QRect>& screens);

// The stored geometry when the screens are as they were and it still shows at least
// kMinVisible x kMinVisible pixels (all of it, when smaller) on one of them; otherwise centred on the primary screen
// (the first of `screens`) at the stored size clamped to that screen. An empty screen list keeps
// the stored geometry.
QRect PlaceWindow(const QRect& stored, int storedScreenCount, const QRect& storedRealEstate,
                  const QVector<QRect>& screens);

constexpr int kMinVisible = 100;
