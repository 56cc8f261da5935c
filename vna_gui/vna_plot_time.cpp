// VNAPlot: what the time domain adds to a plot, the gate drawn over the trace's own time view.
#include <cmath>

#include "vna_plot.h"
#include "vna_trace.h"

namespace
{
// Light enough that the trace and the grid read through the shading.
constexpr int kGateFillAlpha = 0x30;
// The span bar sits this many pixels below the graticule's top edge.
constexpr double kSpanBarInset = 4.0;
}  // namespace

void VNAPlot::DrawGate(VNAPainter& p, const VNATrace& t, const View& v, const QColor& color)
{
    if (!t.transformEnabled || !t.gateEnabled || IsSmithFormat(t.format) ||
        !std::isfinite(t.gateStart) || !std::isfinite(t.gateStop) || !std::isfinite(v.sx))
    {
        return;
    }
    // Drawn in device pixels: a pattern brush under the data view's scale of ~1e11 per second
    // would be stretched out of sight. The clip to the graticule stays.
    const QTransform saved = p.worldTransform();
    const QPen savedPen = p.pen();
    const bool savedAntialias = p.testRenderHint(QPainter::Antialiasing);
    p.LoadIdentity();
    p.setRenderHint(QPainter::Antialiasing, false);
    const QRectF& r = plotRect;
    auto column = [&](double time) { return r.left() + (time - v.xMin) * v.sx; };
    const double x0 = column(t.gateStart);
    const double x1 = column(t.gateStop);
    const double xc = column((t.gateStart + t.gateStop) * 0.5);

    QColor fill = color;
    fill.setAlpha(kGateFillAlpha);
    // A notch removes the stretch it marks, so it is hatched rather than filled.
    const QBrush brush(fill, t.gateType == GateNotch ? Qt::BDiagPattern : Qt::SolidPattern);
    p.fillRect(QRectF(QPointF(std::min(x0, x1), r.top()), QPointF(std::max(x0, x1), r.bottom())),
               brush);

    QPen pen(color);
    pen.setWidthF(1.0);
    pen.setCosmetic(true);
    p.setPen(pen);
    p.drawLine(QPointF(x0, r.top()), QPointF(x0, r.bottom()));
    p.drawLine(QPointF(x1, r.top()), QPointF(x1, r.bottom()));
    const double bar = r.top() + kSpanBarInset;
    p.drawLine(QPointF(x0, bar), QPointF(x1, bar));
    pen.setStyle(Qt::DashLine);
    p.setPen(pen);
    p.drawLine(QPointF(xc, r.top()), QPointF(xc, r.bottom()));

    p.setPen(savedPen);
    p.setRenderHint(QPainter::Antialiasing, savedAntialias);
    p.setWorldTransform(saved);
}
