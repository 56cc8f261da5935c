#include "vna_plot.h"

#include <QMutexLocker>
#include <QPainter>
#include <QPainterPath>

#include "vna_model.h"

namespace
{
const QColor kTraceColors[] = {QColor(255, 255, 0), QColor(0, 200, 255), QColor(255, 80, 200),
                               QColor(80, 255, 80)};
constexpr double kTop = 20.0;
constexpr double kDiv = 10.0;
}  // namespace

VNAPlot::VNAPlot(VNAModel& m, int n, QWidget* parent) : QWidget(parent), model(m), number(n)
{
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void VNAPlot::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.fillRect(rect(), QColor(20, 20, 24));
    const QRectF area = QRectF(rect()).adjusted(50, 30, -10, -20);
    p.setPen(QPen(QColor(90, 90, 90), 1, Qt::DotLine));
    for (int i = 0; i <= 10; ++i)
    {
        const double y = area.top() + area.height() * i / 10.0;
        const double x = area.left() + area.width() * i / 10.0;
        p.drawLine(QPointF(area.left(), y), QPointF(area.right(), y));
        p.drawLine(QPointF(x, area.top()), QPointF(x, area.bottom()));
        p.setPen(QColor(180, 180, 180));
        p.drawText(QRectF(0, y - 8, 46, 16), Qt::AlignRight | Qt::AlignVCenter,
                   QString::number(kTop - kDiv * i));
        p.setPen(QPen(QColor(90, 90, 90), 1, Qt::DotLine));
    }
    QMutexLocker lock(&model.traceLock);
    int shown = 0;
    for (const VNATrace* t : model.traces)
    {
        if (!t || t->plot != number || t->x.size() < 2)
        {
            continue;
        }
        const double x0 = t->x.first(), x1 = t->x.last();
        const double xs = x1 > x0 ? area.width() / (x1 - x0) : 0.0;
        QPainterPath path;
        for (int i = 0; i < t->x.size(); ++i)
        {
            const double px = area.left() + (t->x[i] - x0) * xs;
            const double v = std::max(-1e3, std::min(1e3, (kTop - t->y[i]) / (10.0 * kDiv)));
            const double py = area.top() + area.height() * v;
            i == 0 ? path.moveTo(px, py) : path.lineTo(px, py);
        }
        const QColor color = kTraceColors[shown % 4];
        p.setClipRect(area);
        p.setPen(QPen(color, 1));
        p.drawPath(path);
        p.setClipping(false);
        p.drawText(QPointF(area.left() + 80 * shown, 20), t->GetNameString());
        ++shown;
    }
}
